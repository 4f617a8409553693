// mpi_tools_fuzzer.cpp: what the tools of the MPIs print: smpd, mpiexec, the
// password check of Platform MPI, the list of cluster settings, the installers.
// The first line has the number of the step that asks them, the sections of the rest
// are their answers in turn.
#include <algorithm>
#include <array>

#include "backends/mpich2.h"
#include "backends/msmpi.h"
#include "backends/platform_mpi.h"
#include "core/launch_state.h"
#include "core/text.h"
#include "fuzz_support.h"
#include "install/platform_mpi_installer.h"
#include "install/smpd_installer.h"
#include "install/smpd_service.h"
#include "support/fresh_launch.h"

namespace {

void give_answers(const std::vector<std::string> &sections) {
  for (std::size_t i = sections.size(); i-- > 0;) {
    const bool is_last = i + 1 == sections.size();
    stand_in::given_tool_for(
        [is_last, left = 1](const std::string &) mutable { return is_last || left-- > 0; },
        stand_in::prints(sections[i]));
  }
}

void begin(const std::vector<std::string> &sections) {
  fuzz::begin_run();
  stand_in::given_installation("mpich2");
  stand_in::given_variable("ZEPHON_HOSTS_FILE", "C:\\hosts.txt");
  stand_in::given_variable("CACHE_PASSWORD", "1");
  give_answers(sections);
}

std::string first_line_of(const std::string &output) {
  const std::size_t end = output.find('\n');
  return output.substr(0, end == std::string::npos ? end : end + 1).substr(0, 1'023);
}

// A run may end with one of the statuses that its step names.
void check_end(const fuzz::run_result &result, const std::vector<int> &statuses) {
  fuzz::check_run(result);
  fuzz::require(result.end != fuzz::run_end::ended ||
                    std::find(statuses.begin(), statuses.end(), result.status) != statuses.end(),
                "the status " + std::to_string(result.status) + " is one of the stated");
}

using sections_of_output = std::vector<std::string>;

void fuzz_smpd_status(const sections_of_output &sections) {
  check_end(fuzz::run([] { (void)check_intel_smpd("C:\\mpi\\bin"); }), {});
  const std::string line = first_line_of(fuzz::in_text_mode(sections.front()));
  fuzz::require(
      line.empty() || line.size() == 1'023 || contains(stand_in::standard_output(), " " + line),
      "the answer of smpd is echoed");
}

void fuzz_smpd_and_credentials(const sections_of_output & /*sections*/) {
  check_end(fuzz::run([] { require_smpd_and_credentials("C:\\mpi\\bin"); }), {0, 2, 3, 4});
}

void fuzz_version(const sections_of_output &sections) {
  stand_in::given_variable("MPICH2_HOME", "C:\\mpich2");
  stand_in::given_file("C:\\mpich2\\bin\\mpiexec.exe");
  stand_in::given_file("C:\\mpich2\\bin\\smpd.exe");
  check_end(fuzz::run([] { (void)find_mpich2_home(root_choice::local_allowed); }), {});
  const std::string &output = sections.front();
  fuzz::require(contains(output, "smpd options") || contains(output, "%%") ||
                    contains(stand_in::standard_output_bytes(), fuzz::as_echoed(output)),
                "the version is echoed");
}

void fuzz_intel_password(const sections_of_output & /*sections*/) {
  check_end(fuzz::run([] { (void)validate_intel_credentials("C:\\mpi\\bin"); }), {0, 4});
}

void fuzz_platform_mpi_password(const sections_of_output & /*sections*/) {
  stand_in::given_file("C:\\pcmpi\\bin\\mpirun.exe");
  check_end(fuzz::run([] { (void)ensure_platform_mpi_password("C:\\pcmpi", "-cache"); }), {0, 4});
}

void fuzz_cluster_settings(const sections_of_output & /*sections*/) {
  check_end(fuzz::run([] { check_cluster_environment("head"); }), {});
}

void fuzz_smpd_installer(const sections_of_output & /*sections*/) {
  stand_in::given_file("C:\\mpich2\\bin\\smpd.exe");
  const auto result = fuzz::run([] { install_mpich2_smpd("C:\\mpich2"); });
  fuzz::require(result.end == fuzz::run_end::ended, "the installer ends the run");
  check_end(result, {0, 1});
  fuzz::require(contains(stand_in::file_content("install_smpd_log.txt").value_or(""), "- end @"),
                "the installation log has its end");
}

void fuzz_platform_mpi_installer(const sections_of_output & /*sections*/) {
  stand_in::given_file("C:\\zephon\\zephon12.0.16\\netweave\\mpi\\win64\\ibmmpi\\sbin\\setup.exe");
  const auto result = fuzz::run([] { install_platform_mpi(); });
  fuzz::require(result.end == fuzz::run_end::ended, "the setup program ends the run");
  check_end(result, {0});
}

constexpr std::array steps = {
    fuzz_smpd_status,    fuzz_smpd_and_credentials,  fuzz_version,
    fuzz_intel_password, fuzz_platform_mpi_password, fuzz_cluster_settings,
    fuzz_smpd_installer, fuzz_platform_mpi_installer};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  auto text = fuzz::text_of(data, size);
  const std::string first = fuzz::take_line(text);
  std::string_view numbers = first;
  const auto step = static_cast<unsigned>(fuzz::take_number(numbers)) % steps.size();
  const auto sections = fuzz::sections_of(text);
  begin(sections);
  steps.at(step)(sections);
  return 0;
}
