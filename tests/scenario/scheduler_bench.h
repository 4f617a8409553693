// scheduler_bench.h: a cluster as the launcher sees it: the scheduler's tools, an MS-MPI.
#pragma once

#include <string>

#include "scenario_bench.h"

namespace scenario {

// An installed release with MS-MPI, named from the current folder on, so that no
// blank of the world's folder is in it; `job` with this script and a `cluscfg`
// without settings beside the launcher; the head node "head", a user jdoe, and no
// check of credentials.
void given_cluster(const std::string &job_script);

// Script text: the answer to a sub-command of `job`.
std::string answers(const std::string &sub_command, const std::string &output);

}  // namespace scenario
