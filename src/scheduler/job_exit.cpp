// job_exit.cpp: lets the job end that kept its nodes for the run.
#include "scheduler/job_exit.h"

#include "core/command_runner.h"
#include "core/environment.h"
#include "core/launch_state.h"
#include "core/messages.h"
#include "core/run_record.h"

void run_job_exit_command() {
  const auto command = env_text("CANCEL_CCP_JOB_EXIT1");
  if (!command) {
    return;
  }
  run_command(*command, acts(), [](const std::string &) { return true; });
  record_job_released();
  if (state.ptrace_mode) {
    print("\n%s\n", command->c_str());
  }
  set_environment("CANCEL_CCP_JOB_EXIT1", "");
}
