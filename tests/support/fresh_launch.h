// fresh_launch.h: how a unit test begins, and small builders for launcher tests.
//
//   TEST(Mpich2Command, RunsLocallyWithoutAHostFile) {
//     fresh_launch();
//     given_file("C:\\mpich2\\bin\\mpiexec.exe");
//     given_variable("MPICH2_HOME", "C:\\mpich2");
//     state.num_procs = 4;
//     ...
#pragma once

#include <string>
#include <vector>

#include "core/launch_state.h"
#include "support/platform_stand_in.h"

namespace stand_in {

// A fresh world and a launcher that has done nothing yet.
void fresh_launch();

// The launcher's argument vector: the program's name and these arguments.
// It stays valid until the next call.
char **given_arguments(const std::vector<std::string> &arguments);

// A settled installation: zephon_inc C:\zephon, release 12.0.16, architecture
// win64, program zephon, product folder C:\zephon\zephon12.0.16, in the launch
// state and in the environment, and the wrapper library of an MPI.
void given_installation(const std::string &mpi_name);

}  // namespace stand_in
