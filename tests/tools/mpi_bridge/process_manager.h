// process_manager.h: the services and passwords around the MPIs: what smpd, and
// mpiexec and mpirun with their maintenance switches, answer.
#pragma once

#include <string>

#include "launch_request.h"
#include "surroundings.h"

namespace mpi_bridge {

// What has to be done beside the answer, by the part that knows the machine.
enum class manager_action {
  none,
  run_service,      // stay as the service
  start_service,    // start it, detached from this program
  ask_credentials,  // ask for account and password on the console, keep them
  run_program       // ask as above, then run the program in `program`
};

struct manager_answer {
  std::string output;
  int exit_code = 0;
  manager_action action = manager_action::none;
  text_list program;
};

// The answer of the service program itself. It gets the words after its name.
manager_answer answer_smpd(const text_list &words, const surroundings &around);

// Answers of the starter when its first switch is one of maintenance; nothing
// when it is not, and the line is one that starts ranks.
std::optional<manager_answer> answer_mpich2_starter(const text_list &words,
                                                    const surroundings &around);
std::optional<manager_answer> answer_platform_mpi_starter(const text_list &words,
                                                          const surroundings &around);

}  // namespace mpi_bridge
