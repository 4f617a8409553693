// forwarding.h: what several back-ends hand on to the remote processes, and how.
#pragma once

#include <string>

#include "core/command_line.h"

// Whether --ic= asked for InfiniBand, by either of its names, in small letters.
bool interconnect_is_infiniband();

// A value between double quotes, and between single quotes inside them when it
// holds a blank.
//   C:\mpi  ->  "C:\mpi"        C:\my mpi  ->  "'C:\my mpi'"
std::string forwarded_value(const std::string &value);

// Appends the number of processes behind an option such as " -np ", with a blank.
void append_processes(command_line &line, const std::string &option);

// Appends ZEPHON_WORK_SIZE and ZEPHON_WORK_UNIT, as they are set, when they are
// positive numbers: " -env NAME VALUE ", or " -e NAME=VALUE " for Platform MPI.
void append_work_size(command_line &line);

// Appends QMX_ROOT, QMX_ARCH and ZEPHON_PROD_DIR when they are set, each as
// option, name, separator and quoted value, such as " -env QMX_ROOT \"C:\\qmx\"".
// QMX_ARCH never gets the single quotes.
void append_solver_variables(command_line &line, const std::string &option,
                             const std::string &separator);
