// text_reader_fuzzer.cpp: any text, read from a file or from a tool. The first line
// holds the longest line to read, how many bytes come with one read, and 1 for a tool.
#include <algorithm>

#include "core/command_runner.h"
#include "core/text_file.h"
#include "fuzz_support.h"
#include "support/fresh_launch.h"

namespace {

// Lines end where they must, and together they are the whole text.
void check_lines(const std::vector<std::string> &lines, const std::string &content,
                 std::size_t limit) {
  std::string together;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const std::string &line = lines[i];
    const std::size_t newline = line.find('\n');
    fuzz::require(!line.empty() && line.size() <= limit, "no line is empty or too long");
    fuzz::require(newline == std::string::npos || newline + 1 == line.size(),
                  "a line ends with its newline");
    fuzz::require(newline != std::string::npos || line.size() == limit || i + 1 == lines.size(),
                  "a line goes on to its end, or to the limit");
    together += line;
  }
  fuzz::require(together == fuzz::in_text_mode(content), "all of the text is read");
}

void fuzz_file(const std::string &content, std::size_t limit) {
  stand_in::given_file("C:\\text.txt", content);
  std::vector<std::string> lines;
  std::string line;
  auto file = open_text("C:\\text.txt");
  while (read_line(*file, line, limit)) {
    lines.push_back(line);
  }
  check_lines(lines, content, limit);
}

void fuzz_tool(const std::string &content) {
  stand_in::given_tool("tool", stand_in::prints(content));
  std::vector<std::string> lines;
  const auto result = fuzz::run([&] {
    (void)run_command("tool", asks(), [&](const std::string &line) {
      lines.push_back(line);
      return true;
    });
  });
  check_lines(lines, content, output_line_limit);
  fuzz::check_run(result);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  auto text = fuzz::text_of(data, size);
  const std::string first = fuzz::take_line(text);
  std::string_view numbers = first;
  const int limit = std::clamp(fuzz::take_number(numbers), 1, 5'000);
  const int bytes_read = std::clamp(fuzz::take_number(numbers), 1, 70'000);
  fuzz::begin_run();
  stand_in::give_up_after(1'000'000);  // each read from the tool is a wait
  stand_in::given_short_reads(static_cast<std::size_t>(bytes_read));
  if (fuzz::take_number(numbers) == 1) {
    fuzz_tool(std::string(text));
  } else {
    fuzz_file(std::string(text), static_cast<std::size_t>(limit));
  }
  return 0;
}
