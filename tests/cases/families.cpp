// families.cpp: the list of all families.
#include "cases/families.h"

namespace cases {

std::vector<launch_family> all_families() {
  return {discovery_family(),
          mpi_choice_family(),
          host_file_family(),
          installer_family(),
          intel_mpi_family(),
          intel_mpi_service_family(),
          intel_mpi_task_family(),
          job_creation_family(),
          job_submission_family(),
          mpich_family(),
          mpich2_family(),
          mpich2_home_family(),
          msmpi_family(),
          msmpi_task_family(),
          msmpi_machines_family(),
          option_family(),
          platform_mpi_family(),
          platform_mpi_password_family(),
          platform_mpi_task_family(),
          solver_family(),
          zprun_family(),
          zprun_finding_family()};
}

}  // namespace cases
