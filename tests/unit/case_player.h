// case_player.h: plays a row of tests/cases over the scripted door, from the entry to the end.
#pragma once

#include "cases/launch_case.h"

namespace cases {

// Plays a complete row in a fresh world of the stand-in and leaves that as it is then.
seen play_scripted(const launch_case &row);

// Makes a test of each row of each family.
void register_rows();

}  // namespace cases
