// messages.h: what the launcher says: on standard output, on standard error, and
// in the message buffer that is shown once, at exit.
//
// A text is written at once, so nothing that the launcher said is lost or comes
// after what a program says that it starts next.
#pragma once

#include <string>
#include <string_view>

#include "core/text.h"
#include "platform/platform.h"

// Writes a formatted text to standard output or standard error.
void print(const char *format, ...) LAUNCHER_FORMAT(1, 2);
void print_error(const char *format, ...) LAUNCHER_FORMAT(1, 2);

// Writes a text as it stands, whatever bytes it holds. False when not all of it
// could be written, for example because the reader has gone.
bool print_text(platform::standard_stream stream, std::string_view text);

// Adds a formatted message to the message buffer, without a separator.
void add_message(const char *format, ...) LAUNCHER_FORMAT(1, 2);

// Writes a formatted text to standard error and ends the program.
[[noreturn]] void fatal(int status, const char *format, ...) LAUNCHER_FORMAT(2, 3);

// Shows the message buffer in a message box, or on standard output when the
// launcher runs on behalf of a node or through a remote shell, or when nobody can
// see a box, and empties it.
void flush_messages();
