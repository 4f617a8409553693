// surroundings.h: what -check looks at besides: services, passwords, the scheduler,
// folders, variables. Asks tools that only tell something.
#pragma once

#include <string>
#include <vector>

#include "front/findings.h"
#include "front/site.h"
#include "front/typed_launch.h"

struct checked_launch {
  const typed_launch &typed;
  const installed_site &site;
  std::string release;
  std::string mpi;
  int processes = 1;
};

// Variables that were set before zprun and take part in the run. Has to be called
// before zprun sets its own.
void check_variables(finding_list &list);

void check_surroundings(finding_list &list, const checked_launch &launch);

// The command that is started or, on a cluster, given to the scheduler's tool.
void check_command(finding_list &list, const std::string &command, bool scheduled);
