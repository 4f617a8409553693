// typed_launch.cpp: what a launch comes to.
#include "front/typed_launch.h"

bool is_installation(const typed_launch &launch) {
  return launch.install_smpd || launch.start_smpd || launch.install_ibmmpi;
}

std::string mpi_of(const typed_launch &launch) {
  if (!launch.mpi) {
    return launch.processes ? "ibmmpi" : "net";
  }
  return launch.mpi->empty() || launch.mpi == "pcmpi" ? "ibmmpi" : *launch.mpi;
}
