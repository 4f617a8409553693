// intel_mpi.h: the back-end of Intel MPI.
#pragma once

// Builds the launch command of Intel MPI: as a task of the scheduler, on the
// hosts of a host file, or on this machine alone. Gives back 1. Ends the program
// with status 0, 2, 3 or 4 when service, password or host file are not in order.
int build_intel_mpi_command();
