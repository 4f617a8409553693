// solver_launch.h: starts the launch command, waits for it and reports the times.
#pragma once

// Joins the launch command with the solver's arguments and starts it, or leaves
// it to the scheduler. Ends the program with status 255 when it cannot be started.
void launch_solver();
