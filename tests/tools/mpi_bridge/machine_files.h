// machine_files.h: the host files, as each MPI reads them.
//
// They look alike and are not: what is a count to one MPI is part of the name,
// or an error, to another.
//
//                 alpha        alpha 2      alpha:2
//   MS-MPI        alpha, 1     alpha, 2     the name "alpha:2"
//   MPICH2        alpha, 1     alpha, 2     alpha, 2
//   Platform MPI  alpha, 1     refused      alpha, 2
//
// MPICH's own starter reads its file itself.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "launch_request.h"

namespace mpi_bridge {

// The hosts of a file, given as its text. Lines end in LF or CR LF; "#" begins
// a comment; empty lines count for nothing.
std::vector<host_slots> read_msmpi_hosts(const std::string &text);
std::vector<host_slots> read_mpich2_hosts(const std::string &text);

// Nothing when a line is not of the form host or host:count.
std::optional<std::vector<host_slots>> read_platform_mpi_hosts(const std::string &text);

// The hosts of the scheduler's variable CCP_NODES: a count, then pairs of host
// and processors. Nothing when it is not of that form.
//   2 alpha 4 beta 4  ->  alpha, 4; beta, 4
std::optional<std::vector<host_slots>> read_scheduler_nodes(const std::string &text);

// The hosts of a job, from what the scheduler's "job view" prints about it: the
// words of its line of allocated nodes, whatever its letter case.
std::vector<host_slots> read_allocated_nodes(const std::string &text);

// A text as a number of ranks: digits only, at least 1, at most `most_ranks`.
constexpr int most_ranks = 32768;
std::optional<int> read_count(const std::string &text);

}  // namespace mpi_bridge
