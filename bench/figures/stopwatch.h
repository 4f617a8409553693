// stopwatch.h: starts programs and takes the time until they have ended.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace bench {

using variables = std::map<std::string, std::string>;

struct started {
  double milliseconds = 0;  // from the start to the end
  unsigned long status = 0;
  std::size_t output_bytes = 0;  // read from its standard output
};

// A command line with the whole environment of the program.
struct command {
  std::string line;
  variables environment;
  unsigned long expected_status = 0;
  bool without_console = false;  // for a console program: starting one would cover all else
};

// Runs a command with a pipe as its output, which is read and dropped. Ends the
// bench when it cannot be started or ends with another status than expected.
started run(const command &one);

// Starts a command so many times at once and waits for all of them.
double run_at_once(const command &one, std::size_t count);

double median(std::vector<double> values);
double smallest(const std::vector<double> &values);

// Says why there are no figures, and ends the bench.
[[noreturn]] void give_up(const std::string &reason);

}  // namespace bench
