// node_list_fuzzer.cpp: node lists of the scheduler. The first line holds the
// number of processes and of processes per node; the next is the value of
// CCP_NODES, the rest is what `job view` prints.
#include <algorithm>

#include "backends/msmpi.h"
#include "core/launch_state.h"
#include "core/text.h"
#include "fuzz_support.h"
#include "support/fresh_launch.h"

namespace {

constexpr int most_processes = 1'000;  // more are written in the same way
constexpr const char *machine_file = "C:\\machines.txt";

std::size_t words_in(const std::string &text) {
  std::size_t words = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    words += text[i] != ' ' && (i == 0 || text[i - 1] == ' ') ? 1 : 0;
  }
  return words;
}

void fuzz_reduced_list(const std::string &nodes, int processes) {
  const std::string reduced = reduce_node_list(nodes, processes);
  if (reduced == nodes) {
    return;
  }
  fuzz::require(to_number(nodes) >= processes, "only a list of enough nodes is cut down");
  fuzz::require(to_number(reduced) == processes, "a list that is cut down counts the processes");
  if (processes >= 0) {
    fuzz::require((words_in(reduced) - 1) / 2 <= static_cast<std::size_t>(processes),
                  "a list that is cut down has one node for each process at most");
  }
}

void fuzz_machine_file(const std::string &output, int processes, int per_node) {
  fuzz::begin_run();
  stand_in::given_full_disk_after(2'000);  // processes without end fill it
  stand_in::given_tool_with("job view", stand_in::prints(output));
  std::optional<std::string> file;
  const auto result = fuzz::run(
      [&] { file = write_allocated_machine_file("head", 7, processes, per_node, machine_file); });
  fuzz::check_run(result);
  const auto written = stand_in::file_content(machine_file);
  fuzz::require(written || !file, "the machine file is there");
  if (written && result.end == fuzz::run_end::came_back) {
    const auto lines = std::count(written->begin(), written->end(), '\n');
    fuzz::require(lines <= std::max(processes, 0), "no more slots than processes are written");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  auto text = fuzz::text_of(data, size);
  const std::string first = fuzz::take_line(text);
  std::string_view numbers = first;
  const int processes = std::min(fuzz::take_number(numbers), most_processes);
  const int per_node = fuzz::take_number(numbers);
  fuzz::begin_run();
  std::string nodes = fuzz::take_line(text);
  std::erase(nodes, '\0');
  fuzz_reduced_list(nodes, processes);
  fuzz_machine_file(std::string(text), processes, per_node);
  return 0;
}
