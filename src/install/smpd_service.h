// smpd_service.h: the SMPD service and the password that multi-host runs of
// Intel MPI and MPICH2 need.
#pragma once

#include <string>

// Makes sure that the service runs and the password is valid, or shows that the
// user switched the check off with ZEPHON_CRED_CHECK=no. `tools_directory` holds
// smpd.exe and mpiexec.exe. Ends the program with status 2 or 3 when it cannot.
void require_smpd_and_credentials(const std::string &tools_directory);

// 1 when the service runs or its state cannot be read, 2 after an attempt to
// start it, whether or not that succeeded.
int check_intel_smpd(const std::string &tools_directory);

// Gives back 1 once the MPI takes the user's password. The first time it does
// not, the password is asked for in the console; twice more when the user agrees.
// Ends the program with status 0 when the user declines, 4 after three times.
int validate_intel_credentials(const std::string &tools_directory);
