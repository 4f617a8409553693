// progress.h: the status line of a wait, on standard error.
#pragma once

#include <string>

// Shows what is going on. On a console the line takes the place of the one before;
// elsewhere a line is written when `key` is another one than before. `detail` changes
// with time, such as since when.
void show_progress(const std::string &key, const std::string &detail);

// Takes the line away from the console before something else is written.
void clear_progress();

// Seconds as people read them: 42 s, 3 min 5 s, 2 h 0 min.
std::string duration_text(long long seconds);
