// discovery.h: installs what was asked for, finds what the run needs in the release.
#pragma once

// Runs the installer that an option asked for, which ends the program. Without a
// request it does nothing.
void install_on_request();

// Checks that the MPI wrapper library of the chosen MPI exists (status 2 when not)
// and adds its folder to the PATH of the remote processes.
void discover_installation();
