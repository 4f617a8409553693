// launch_checks.h: what zprun looks at before every run: cheap, and enough to keep a
// run from starting with the wrong thing or destroying a file.
#pragma once

#include <string>

#include "front/findings.h"
#include "front/site.h"
#include "front/typed_launch.h"

// The words as they were typed: mended ones, and what the code page cannot hold.
void check_arguments(finding_list &list, const typed_launch &launch);

// The folder of the releases, the release and its program. Gives back the release;
// empty with a fault.
std::string check_release(finding_list &list, const installed_site &site,
                          const typed_launch &launch);

// The wrapper library of the MPI, and its program; without an MPI that there is one process.
void check_mpi(finding_list &list, const installed_site &site, const std::string &release,
               const std::string &mpi, int processes);

// The host file as this MPI reads it, and its hosts.
void check_hosts(finding_list &list, const std::string &path, const std::string &mpi);

// Files that the run would write over.
void check_reports(finding_list &list, const typed_launch &launch);

// The name of the program that is launched.
std::string program_name(const typed_launch &launch);
