// backend_selection.cpp: from the MPI's name to its back-end.
#include "launch/backend_selection.h"

#include "backends/external.h"
#include "backends/intel_mpi.h"
#include "backends/mpich.h"
#include "backends/mpich2.h"
#include "backends/msmpi.h"
#include "backends/platform_mpi.h"
#include "core/launch_state.h"

int select_backend() {
  const std::string &name = state.mpi_name;
  if (state.external_mpirun) {
    return external_backend();
  }
  if (name == "smpi" || name == "nmpi" || name == "mpich") {
    return mpich_backend();
  }
  if (name == "vmpi" || name == "msmpi") {
    return msmpi_backend();
  }
  if (name == "mpich2") {
    return build_mpich2_command();
  }
  if (name == "ibmmpi") {
    return platform_mpi_backend();
  }
  if (name == "intel") {
    return build_intel_mpi_command();
  }
  return 1;  // no back-end: the program is started without a launch command
}
