// host_file_fuzzer.cpp: host files and host lists. The first line holds the number
// of processes, the slots that meshing holds, how many bytes come with one read and
// what is done with the rest, the file or the list.
#include <algorithm>
#include <limits>

#include "backends/host_files.h"
#include "backends/mpich2.h"
#include "core/environment.h"
#include "core/launch_state.h"
#include "core/text.h"
#include "fuzz_support.h"
#include "support/fresh_launch.h"

namespace {

constexpr const char *user_file = "C:\\hosts.txt";

// The processes that a written host file places: the sum of its counts.
long long processes_placed(const std::string &content) {
  long long placed = 0;
  for (const std::string &line : fuzz::lines_of(fuzz::in_text_mode(content))) {
    const std::size_t colon = line.rfind(':');
    fuzz::require(colon != std::string::npos, "each line of a written host file has a count");
    placed += to_number(line.substr(colon + 1));
  }
  return placed;
}

bool has_blank_line(std::string_view content) {
  const auto lines = fuzz::lines_of(fuzz::in_text_mode(content));
  return std::any_of(lines.begin(), lines.end(), [](const std::string &line) {
    return line.find_first_not_of(' ') == std::string::npos;
  });
}

bool has_long_line(std::string_view content) {
  const auto lines = fuzz::lines_of(fuzz::in_text_mode(content));
  return std::any_of(lines.begin(), lines.end(),
                     [](const std::string &line) { return line.size() > 254; });
}

void fuzz_process_host_file(const std::string &content) {
  stand_in::given_variable("ZEPHON_HOSTS_FILE", user_file);
  std::optional<std::string> written;
  const auto result = fuzz::run([&] { written = write_process_host_file(user_file); });
  fuzz::check_run(result);
  fuzz::require(result.end == fuzz::run_end::came_back, "a good host file does not end the run");
  const auto named = stand_in::variable("ZEPHON_HOSTS_FILE");
  fuzz::require(written.value_or(user_file) == named, "a written host file is used");
  if (written && !has_blank_line(content) && !has_long_line(content)) {
    const long long placed = processes_placed(stand_in::file_content(*named).value_or(""));
    fuzz::require(placed == state.num_procs, "all processes are placed");
  }
}

void fuzz_scheduler_host_file(const std::string &hosts) {
  std::optional<std::string> name;
  const auto result = fuzz::run([&] { name = write_scheduler_host_file(hosts); });
  fuzz::check_run(result);
  fuzz::require(name && stand_in::file_content(*name), "the host file is written");
}

void fuzz_questions(const std::string &hosts_file) {
  stand_in::given_variable("ZEPHON_HOSTS_FILE", hosts_file);
  std::optional<std::string> list;
  const auto result = fuzz::run([&] {
    list = read_host_list();
    (void)host_file_is_single_host(hosts_file, state.num_procs);
    (void)first_host_is_this_computer(hosts_file);
  });
  fuzz::check_run(result);
  fuzz::require(result.end == fuzz::run_end::came_back, "a question about a file ends no run");
  if (list && hosts_file == user_file) {
    fuzz::require(list->find(",,") == std::string::npos || list->find('\r') != std::string::npos ||
                      stand_in::file_content(user_file)->find(',') != std::string::npos,
                  "no entry of the list is empty");
  }
}

void begin(const std::string &content, int processes, int skip) {
  fuzz::begin_run();
  stand_in::given_file(user_file, content);
  stand_in::given_variable("TEMP", "C:\\temp");
  stand_in::given_variable("COMPUTERNAME", "desk");
  stand_in::given_variable("PARA_MESH_NPROCS", std::to_string(skip));
  state.num_procs = processes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  auto text = fuzz::text_of(data, size);
  const std::string first = fuzz::take_line(text);
  std::string_view numbers = first;
  const int processes = fuzz::take_number(numbers);
  const int skip = fuzz::take_number(numbers);
  const int bytes_read = fuzz::take_number(numbers);
  const int use = fuzz::take_number(numbers);
  const std::string content(text);

  begin(content, processes, skip);
  stand_in::given_short_reads(bytes_read > 0 ? static_cast<std::size_t>(bytes_read)
                                             : std::numeric_limits<std::size_t>::max());
  std::string as_list = content;
  std::erase(as_list, '\0');
  switch (use) {
    case 1:
      fuzz_scheduler_host_file(user_file);
      break;
    case 2:
      fuzz_scheduler_host_file(as_list);
      break;
    case 3:
      fuzz_questions(user_file);
      break;
    case 4:
      fuzz_questions(as_list);
      break;
    default:
      fuzz_process_host_file(content);
  }
  return 0;
}
