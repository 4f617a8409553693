// install_log.h: the log of installations, install_smpd_log.txt in the current
// directory. It only grows: two installers at once both get their lines in.
#pragma once

#include <string>

// Opens the log and writes the start mark. Without a log (when it cannot be
// opened) everything below does nothing. The end mark is written when the log is
// closed, or else on whatever way the program ends.
void install_log_open();
void install_log_write(const std::string &message);
void install_log_close();
