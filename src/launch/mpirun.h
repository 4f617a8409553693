// mpirun.h: the launcher from its entry to its end.
#pragma once

// The window entry: what the system hands to a program without a console.
// `instance` and `show_command` are stored; the rest is the process's own
// argument count and vector. Ends the program.
[[noreturn]] void start_from_window(void *instance, int show_command, int count, char **arguments);

// The console entry. Gives back the exit status; messages are not shown at exit.
int start_from_console(int count, char **arguments);
