// fuzz_support.h: what the fuzzers share: texts cut into pieces, a run of the
// launcher in a world of its own, and what must hold after every run.
//
// A property that does not hold is printed with what the launcher did, and the
// program aborts, which the fuzzer takes for a crash.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace fuzz {

// The input as a text.
std::string_view text_of(const std::uint8_t *data, std::size_t size);

// The lines of a text without their line ends; an unended last line counts too.
std::vector<std::string> lines_of(std::string_view text);

// The pieces of a text between lines that hold "----" alone.
std::vector<std::string> sections_of(std::string_view text);

// Cuts the first line off and gives it back without its line end.
std::string take_line(std::string_view &text);

// Takes the next number of a line of numbers; 0 when there is none.
int take_number(std::string_view &line);

// Fails unless the property holds.
void require(bool holds, std::string_view property);

enum class run_end { came_back, ended, gave_up, hung };

struct run_result {
  run_end end = run_end::came_back;
  int status = 0;  // when it ended the program
};

// Begins a fresh launch whose waits are limited, so that a job which never starts
// does not take forever. `may_hang`: a wait that nothing can end is no failure.
void begin_run(bool may_hang = false);

// Runs a piece of the launcher to whatever end it takes.
run_result run(const std::function<void()> &piece);

// Runs the launcher from its entry to its end with these arguments.
run_result run_launcher(const std::vector<std::string> &arguments);

// What holds after every run: the environment block ends in two zeros, and a run
// that came to its end has closed every tool it started and every handle it had.
// `may_be_interrupted`: the program may end at any point, in the middle of a step.
void check_run(const run_result &result, bool may_be_interrupted = false);

// Bytes as a reader in text mode sees them: CR LF is one newline.
std::string in_text_mode(std::string_view bytes);

// The bytes that an echo of this output has: each line end as CR LF.
std::string as_echoed(std::string_view output);

}  // namespace fuzz
