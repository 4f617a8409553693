// families.h: the families of rows, each in a file of its own.
#pragma once

#include "cases/launch_case.h"

namespace cases {

launch_family discovery_family();
launch_family mpi_choice_family();
launch_family host_file_family();
launch_family installer_family();
launch_family intel_mpi_family();
launch_family intel_mpi_service_family();
launch_family intel_mpi_task_family();
launch_family job_creation_family();
launch_family job_submission_family();
launch_family mpich_family();
launch_family mpich2_family();
launch_family mpich2_home_family();
launch_family msmpi_family();
launch_family msmpi_task_family();
launch_family msmpi_machines_family();
launch_family option_family();
launch_family platform_mpi_family();
launch_family platform_mpi_password_family();
launch_family platform_mpi_task_family();
launch_family solver_family();
launch_family zprun_family();
launch_family zprun_finding_family();

}  // namespace cases
