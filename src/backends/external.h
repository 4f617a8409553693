// external.h: the back-end for a launch command from outside.
#pragma once

// Builds the launch command from external_mpirun. Gives back 1. Ends the program
// with status 2 when the host file is not set or there is no external command.
int external_backend();
