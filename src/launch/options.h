// options.h: reads the launcher's command line into the launch state and the
// environment. Whatever is not an option of the launcher belongs to the solver.
#pragma once

// Reads all arguments. `arguments` are the process's own, the first of them the
// program's name. Ends the program with status 0 when the head node is not given
// and the user does not want the local host.
void parse_options(int count, char **arguments);
