// solver_launch.h: starts the launch command, waits for it and reports the times.
#pragma once

#include "core/command_line.h"

// The launch command with the solver's arguments behind it. Warns of an MPI that
// was asked for by name and has no launch command.
command_line join_solver_arguments();

// Starts the command, waits for it where that is wanted and writes the timing file.
// Ends the program with status 255 when it cannot be started.
void launch_solver(const command_line &command);

// For an attended run, from any thread: whether its program runs; waits for its end,
// true when it came; ends it and all that it started on this computer.
bool solver_runs();
bool wait_for_solver(unsigned long milliseconds);
void stop_solver();
