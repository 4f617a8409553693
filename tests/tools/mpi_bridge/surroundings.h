// surroundings.h: what an MPI looks at besides its command line. The rules of
// each MPI get it handed, so that they can be tested on any machine.
#pragma once

#include <functional>
#include <optional>
#include <string>

namespace mpi_bridge {

struct surroundings {
  // The value of an environment variable; nothing when it is not set.
  std::function<std::optional<std::string>(const std::string &)> variable;

  // The text of a file; nothing when it cannot be read.
  std::function<std::optional<std::string>(const std::string &)> file_text;

  // What a Windows command prints on its standard output; nothing when it cannot
  // be started or does not end with 0.
  std::function<std::optional<std::string>(const std::string &)> answer_of;

  std::string computer;             // this machine's name
  std::string account;              // the user's
  bool service_running = false;     // the MPI's own service on this machine
  bool credentials_stored = false;  // the user's password was given to the MPI
};

}  // namespace mpi_bridge
