// scheduler_bench.cpp: makes the cluster of scheduler scenarios.
#include "scheduler_bench.h"

namespace scenario {

void given_cluster(const std::string &job_script) {
  given_release_without_blanks("msmpi");
  given_variable("MSMPI_HOME", "..\\ms");
  given_tool("job.exe", job_script);
  given_tool("cluscfg.exe");
  given_variable("USE_CCP", "head");
  given_variable("USERNAME", "jdoe");
  given_variable("ZEPHON_CRED_CHECK", "no");
}

std::string answers(const std::string &sub_command, const std::string &output) {
  return "when job " + sub_command + "\nout " + escape(output) + "\n";
}

}  // namespace scenario
