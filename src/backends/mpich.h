// mpich.h: the back-end of MPICH, also under the names "smpi" and "nmpi".
#pragma once

// Builds the launch command of MPICH. Gives back 1. Ends the program with status 2
// when the host file or MPI_HOME is not set.
int mpich_backend();
