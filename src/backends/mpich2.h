// mpich2.h: the back-end of MPICH2.
#pragma once

#include <string>

#include "install/mpi_directory.h"

// Builds the launch command of MPICH2, on the hosts of a host file or on this
// machine alone. Gives back 1. Ends the program with status 0, 2, 3 or 4 when
// service or password are not in order.
int build_mpich2_command();

// The MPICH2 installation: MPICH2_HOME when it holds an mpiexec.exe, else the one
// of the release below the chosen root. The first time MPICH2_HOME is taken, it is
// shown with its version.
std::string find_mpich2_home(root_choice choice);
