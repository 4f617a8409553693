// mpi_rules.h: the switches of each MPI, accepted and refused as that MPI does
// it: with its texts, on the stream it uses, with its exit code.
//
//                     letter case   switch begins     unknown switch
//   MS-MPI            any           -x or /x          refused on standard output, -1
//   MPICH2, Intel     exact         -x or --x         said on standard output, left out
//   Platform MPI      exact         -x                refused on standard error, 1
//
// MPICH's own starter stands behind the bridge, so its switches are its own.
#pragma once

#include "launch_request.h"
#include "surroundings.h"

namespace mpi_bridge {

// Each takes the words after the program's own name.
reading read_msmpi_line(const text_list &words, const surroundings &around);
reading read_mpich2_line(const text_list &words, const surroundings &around);
reading read_intel_line(const text_list &words, const surroundings &around);
reading read_platform_mpi_line(const text_list &words, const surroundings &around);

}  // namespace mpi_bridge
