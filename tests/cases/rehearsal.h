// rehearsal.h: a row played once more as a rehearsal, held against its real run.
#pragma once

#include <string>

#include "cases/launch_case.h"

namespace cases {

// The number that a rehearsal takes for that of a job that it would make.
extern const std::string assumed_job;

// The complete row as a rehearsal: in the same world, with no box to answer.
launch_case as_rehearsal(launch_case row);

// What a rehearsal did that it may not do: started, asked, written, shown; and whether the
// pieces of its launch are the command. Empty: nothing is wrong.
std::string faults_of_rehearsal(const seen &rehearsed);

// What a real run did that the rehearsal does not tell, or the other way round; empty: nothing.
std::string rehearsal_differences(const seen &real, const seen &rehearsed);

// The complete row in the world that the rehearsal took for granted: the tools answer as it
// assumed, the password that is entered is the right one, the boxes are answered so that the
// run goes on. Where the row's own tools and users answer otherwise, the real run of this
// row has to do what the rehearsal told.
launch_case as_assumed(launch_case row, const seen &rehearsed);

}  // namespace cases
