// zprun.h: the front of the launcher for people.
#pragma once

// Reads what was typed, checks it, runs the launcher with it and ends the program with
// the solver's status.
[[noreturn]] void start_zprun(int count, char **arguments);
