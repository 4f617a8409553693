// discovery.h: finds what the run needs in the installed release.
#pragma once

// Hands installation requests to their installers, which end the program; checks
// that the MPI wrapper library of the chosen MPI exists (status 2 when not) and
// adds its folder to the PATH of the remote processes.
void discover_installation();
