// environment_fuzzer.cpp: the variables that the launcher reads. The first line
// names the MPI and the number of processes, each further one sets a variable.
#include "core/launch_state.h"
#include "fuzz_support.h"
#include "support/fresh_launch.h"

namespace {

constexpr std::size_t most_waits = 60;  // each round of the watch asks for all states

void give_variables(std::string_view text) {
  for (std::string line : fuzz::lines_of(text)) {
    std::erase(line, '\0');
    const std::size_t equals = line.find('=');
    if (equals != std::string::npos && equals > 0) {
      stand_in::given_variable(line.substr(0, equals), line.substr(equals + 1));
    }
  }
}

void give_tools() {
  stand_in::given_tool_with("", stand_in::prints("fine\r\n"));
  stand_in::given_tool_with("-pwcheck", stand_in::prints("Cached password is valid\r\n"));
  stand_in::given_tool_with("-validate", stand_in::prints("SUCCESS\r\n"));
  stand_in::given_tool_with(" new /", stand_in::prints("Created job, ID: 7\r\n"));
  stand_in::given_tool_with(" submit /", stand_in::prints("Job has been submitted. ID: 7.\r\n"));
  const auto view = stand_in::prints(
      "State : Queued\r\nStatus : Running\r\nAllocatedNodes : a b c\r\nState : Finished\r\n");
  stand_in::given_tool_with(" view ", view);
}

// What the environment says comes through whole: a value is never cut, never a
// format, and never read past its end.
void check_user_flags() {
  if (const auto flags = stand_in::variable("CCP_USER_FLAGS")) {
    for (const auto &command : stand_in::commands()) {
      if (command.starts_with("job new /scheduler:")) {  // a value may hold the rest of it
        fuzz::require(command.find(" " + *flags + " ") != std::string::npos,
                      "the user's scheduler flags stand in the command");
      }
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  auto text = fuzz::text_of(data, size);
  std::string first = fuzz::take_line(text);
  std::erase(first, '\0');
  fuzz::begin_run();
  stand_in::give_up_after(most_waits);
  for (const char *name : {"mpich", "mpich2", "intel", "msmpi", "ibmmpi"}) {
    stand_in::given_installation(name);
  }
  give_tools();
  give_variables(text);
  stand_in::given_full_disk_after(2'000);  // processes without end fill it

  const std::size_t blank = first.find(' ');
  const std::string count = blank == std::string::npos ? "4" : first.substr(blank + 1);
  const auto result =
      fuzz::run_launcher({"--mpi=" + first.substr(0, blank), "--np=" + count, "case.jou"});
  check_user_flags();
  fuzz::check_run(result);
  return 0;
}
