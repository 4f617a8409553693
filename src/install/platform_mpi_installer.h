// platform_mpi_installer.h: runs the Platform MPI setup that comes with a release.
#pragma once

// Runs the setup program without questions, reports in message boxes that close
// by themselves, and ends the program with status 0 whatever became of it.
[[noreturn]] void install_platform_mpi();
