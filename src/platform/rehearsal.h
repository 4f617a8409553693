// rehearsal.h: the door in a rehearsal, which looks and does not touch.
//
// Looking goes through platform.h as always. What would leave something behind
// does not get there: its caller asks is_on() and tells it instead. Files are the
// one thing that a run reads again after it wrote it, so those that a rehearsal
// would have written are kept here, and reading looks here first.
#pragma once

#include <optional>
#include <string>

#include "platform/platform.h"

namespace rehearsal {

// Whether this run is a rehearsal.
bool is_on();

// Makes this run a rehearsal, or ends it and forgets its files.
void begin();
void end();

// Whether Windows would open the file for writing, as far as looking tells: not
// where there is no such folder, nor an existing file that is write-protected.
bool would_open(const std::string &path, platform::open_mode mode);

// Keeps what a file would hold. Appending adds to what was kept.
void write_file(const std::string &path, platform::open_mode mode, const std::string &content);

// What was kept under this very name; nothing when it was not written here.
std::optional<std::string> written_file(const std::string &path);

void remove_file(const std::string &path);

}  // namespace rehearsal
