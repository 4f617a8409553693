// platform_mpi.h: the back-end of Platform MPI.
#pragma once

#include <string>

// Builds the launch command of Platform MPI: as a task of the scheduler, inside a
// job, on the hosts of a host file, or on this machine. Gives back 1. Ends the
// program with status 0 when no job could be had or the user declines, 2 when
// the host file is not in order, 4 when the password was wrong three times.
int platform_mpi_backend();

// ---- Steps of it --------------------------------------------------------------------------

// Creates a scheduler job for the run; gives back its identifier, or -1.
int platform_mpi_job_new();

// Gives back 1 once Platform MPI holds a valid password for the user, or when the
// run needs none. `mpi_root` is the installation, `cache_switch` the option that
// has it ask for the password. Ends the program with status 0 or 4.
int ensure_platform_mpi_password(const std::string &mpi_root, const std::string &cache_switch);

// 1 when Platform MPI says that it holds a valid password, else 0.
int platform_mpi_password_is_cached(const std::string &mpi_root);

// Has Platform MPI ask for the password in the console. Gives back 1 when it was
// run, 0 when its mpirun.exe is missing.
int platform_mpi_cache_password(const std::string &mpi_root, const std::string &cache_switch);

// Rewrites a path below the installation root's network form to begin with a dot.
void relativize_install_path(std::string &path);
