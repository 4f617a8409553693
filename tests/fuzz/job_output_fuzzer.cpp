// job_output_fuzzer.cpp: what the scheduler's `job` tool prints. The first line
// says how it is printed (bytes at once, delay in milliseconds, exit code) and who
// reads it, the sections behind it are the answers in turn, the last one again and
// again.
#include <algorithm>

#include "backends/platform_mpi.h"
#include "core/launch_state.h"
#include "core/text.h"
#include "fuzz_support.h"
#include "scheduler/job_creation.h"
#include "scheduler/job_identifier.h"
#include "scheduler/job_state.h"
#include "scheduler/job_submission.h"
#include "support/fresh_launch.h"

namespace {

constexpr int most_pieces = 8;
constexpr std::size_t most_waits = 40;  // each round of the watch asks for all states

struct manner {
  std::size_t piece = 0;  // bytes written at once; 0: all of them
  stand_in::milliseconds delay = 0;
  unsigned long code = 0;
};

stand_in::tool_answer answer_of(const std::string &output, const manner &how) {
  stand_in::tool_answer answer;
  const std::size_t piece =
      how.piece == 0 ? output.size() : std::max(how.piece, output.size() / most_pieces + 1);
  for (std::size_t start = 0; start < output.size(); start += piece) {
    answer.pieces.push_back(
        {platform::standard_stream::output, output.substr(start, piece), how.delay});
  }
  answer.exit_code = how.code;
  return answer;
}

// The answers in turn; the last one stays.
void give_answers(const std::vector<std::string> &sections, const manner &how) {
  for (std::size_t i = sections.size(); i-- > 0;) {
    const bool is_last = i + 1 == sections.size();
    stand_in::given_tool_for(
        [is_last, left = 1](const std::string &command) mutable {
          return contains(command, "job ") && (is_last || left-- > 0);
        },
        answer_of(sections[i], how));
  }
}

void begin(const std::vector<std::string> &sections, const manner &how, const char *mpi) {
  fuzz::begin_run();
  stand_in::give_up_after(most_waits);
  stand_in::given_installation(mpi);
  stand_in::given_variable("USE_CCP", "head");
  stand_in::given_variable("ZEPHON_CRED_CHECK", "no");
  state.mpi_selected = true;
  state.num_procs = 4;
  give_answers(sections, how);
}

// A run that was given up for its waits may not have come to the echo.
bool echoes(const fuzz::run_result &result, const std::string &output) {
  return result.end == fuzz::run_end::gave_up ||
         contains(stand_in::standard_output_bytes(), fuzz::as_echoed(output));
}

void fuzz_identifiers(const std::string &output) {
  for (const std::string &line : fuzz::lines_of(output)) {
    fuzz::require(parse_job_id(line) >= -1 || line.find('-') != std::string::npos,
                  "an identifier is not below -1 by itself");
    (void)parse_new_job_id(line);
  }
}

void fuzz_state(const std::string &output, const manner &how) {
  begin({output}, how, "msmpi");
  std::string detail;
  const auto result = fuzz::run([&] { (void)job_state_is("head", 7, "Running", &detail); });
  fuzz::check_run(result);
  fuzz::require(detail.empty() || contains(fuzz::in_text_mode(output), detail),
                "the detail of a state stands in the tool's output");
}

void fuzz_creation(const std::vector<std::string> &sections, const manner &how) {
  begin(sections, how, "msmpi");
  stand_in::given_variable("CCP_JOB_ID", "-1");
  const auto result = fuzz::run([&] { (void)create_scheduler_job(); });
  fuzz::check_run(result);
  fuzz::require(echoes(result, sections.front()), "what `job new` printed is echoed");
}

void fuzz_platform_mpi_creation(const std::vector<std::string> &sections, const manner &how) {
  begin(sections, how, "ibmmpi");
  const auto result = fuzz::run([&] { (void)platform_mpi_job_new(); });
  fuzz::check_run(result);
  fuzz::require(echoes(result, sections.front()),
                "what `job new` printed is echoed for Platform MPI");
}

void fuzz_submission(const std::vector<std::string> &sections, const manner &how) {
  begin(sections, how, "msmpi");
  stand_in::given_variable("CCP_JOB_SUBMIT_WAIT_TIME", "2");
  command_line command{"job submit /scheduler:head mpiexec solver", {}};
  const auto result = fuzz::run([&] { (void)submit_scheduler_job(command); });
  fuzz::check_run(result);
}

void fuzz_platform_mpi_submission(const std::vector<std::string> &sections, const manner &how) {
  begin(sections, how, "ibmmpi");
  state.scheduler_job_id = 7;
  command_line command{"job add 7 mpirun solver", {}};
  const auto result = fuzz::run([&] { (void)submit_scheduler_job(command); });
  fuzz::check_run(result);
  fuzz::require(echoes(result, sections.front()), "what `job add` printed is echoed");
  fuzz::require(sections.size() < 2 || echoes(result, sections[1]),
                "what `job submit` printed is echoed");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  auto text = fuzz::text_of(data, size);
  const std::string first = fuzz::take_line(text);
  std::string_view numbers = first;
  manner how;
  how.piece = static_cast<std::size_t>(std::max(0, fuzz::take_number(numbers)));
  how.delay = static_cast<stand_in::milliseconds>(std::clamp(fuzz::take_number(numbers), 0, 2'000));
  how.code = static_cast<unsigned long>(std::max(0, fuzz::take_number(numbers)));
  const auto sections = fuzz::sections_of(text);
  fuzz_identifiers(sections.front());
  switch (fuzz::take_number(numbers)) {
    case 1:
      fuzz_creation(sections, how);
      break;
    case 2:
      fuzz_platform_mpi_creation(sections, how);
      break;
    case 3:
      fuzz_submission(sections, how);
      break;
    case 4:
      fuzz_platform_mpi_submission(sections, how);
      break;
    default:
      fuzz_state(sections.front(), how);
  }
  return 0;
}
