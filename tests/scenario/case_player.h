// case_player.h: plays a row of tests/cases with the real launcher among real programs.
#pragma once

#include "cases/launch_case.h"

namespace scenario {

// Plays a complete row in the world of this thread, whose folder is the row's. Windows' own
// interpreter runs what the launcher asks; the tools know with which command it was started.
cases::seen play_for_real(const cases::launch_case &row);

// Makes a test of each row of each family.
void register_rows();

}  // namespace scenario
