// backend_selection.h: picks the back-end that builds the launch command.
//
// What every back-end keeps to: it takes no arguments, reads the launch state and
// the environment, may set environment variables, leaves its command line in
// launch_command and gives back 1. A fatal fault is one message on standard error
// and the end of the program with status 2 (3 or 4 for credentials).
#pragma once

// Runs the back-end of mpi_name, or none when no name matches. Gives back 1, as
// every back-end does; a back-end that cannot build its command ends the program.
int select_backend();
