// launch_request.h: what a command line asks of an MPI, in a form that all the
// MPIs of the bridge share, and how an MPI answers while it reads the line.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace mpi_bridge {

// A host and how many ranks it takes.
struct host_slots {
  std::string name;
  int slots = 1;
};

bool operator==(const host_slots &one, const host_slots &other);

using text_list = std::vector<std::string>;
using variable_list = std::vector<std::pair<std::string, std::string>>;

struct launch_request {
  std::optional<int> num_procs;             // none: as many as the hosts take
  std::optional<std::string> machine_file;  // its name, still to be read
  std::vector<host_slots> hosts;            // empty: this machine alone
  variable_list variables;                  // for the ranks
  std::string working_directory;            // of the ranks; empty: the current one
  bool under_scheduler = false;             // takes its hosts from the scheduler's variables
  bool label_lines = false;                 // the ranks' lines carry their rank
  text_list program;                        // the program and its arguments
};

// A line that was read. When `exit_code` is set, the MPI ends there, after it
// printed what it had to say; otherwise it prints that and starts the ranks.
struct reading {
  launch_request request;
  std::string output;  // for standard output
  std::string error;   // for standard error
  std::optional<int> exit_code;
};

}  // namespace mpi_bridge
