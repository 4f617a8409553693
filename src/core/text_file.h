// text_file.h: text files and tool output, read and written in text mode.
//
// Text mode means what Windows' own programs mean by it: CR LF in the file is
// one newline in memory, a newline in memory is CR LF in the file. Every other
// byte passes as it is, zero bytes too. Ctrl-Z ends a file that says so, and passes
// elsewhere.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/platform.h"

// The longest piece that one read of a tool's output gives.
constexpr std::size_t output_line_limit = 1023;

struct text_reader {
  platform::owned_handle handle;  // a file or the read end of a pipe
  std::string buffer;             // room for bytes read from it
  std::size_t next = 0;           // where the bytes not handed out yet begin in it
  std::size_t filled = 0;         // where they end
  bool ended = false;             // there is nothing behind them
  bool ends_at_ctrl_z = false;    // what stands behind a Ctrl-Z does not belong to it
  bool at_end = false;            // a read has run into the end
};

// Opens a file for reading; nothing when it cannot be opened.
[[nodiscard]] std::optional<text_reader> open_text(const std::string &path);

// Reads the next line with its newline, or `limit` characters of a longer one;
// the rest of it comes with the next reads. False when there is nothing left.
bool read_line(text_reader &reader, std::string &line, std::size_t limit = output_line_limit);

// What a run record and a rehearsal tell of a file that is being written.
struct told_file {
  std::string path;
  platform::open_mode mode = platform::open_mode::write;
  std::size_t step = 0;
  int lines = 0;
};

// A file that is being written. When it goes away it is closed, with all that it holds.
struct text_writer {
  platform::owned_handle handle;
  std::string pending;              // written, but not in the file yet
  bool failed = false;              // something could not be written
  std::unique_ptr<told_file> told;  // null: nobody wants to know

  explicit text_writer(platform::owned_handle file);
  text_writer(text_writer &&) = default;
  text_writer &operator=(text_writer &&) = delete;
  ~text_writer();
};

// Opens a file for writing; nothing when it cannot be opened.
[[nodiscard]] std::optional<text_writer> create_text(const std::string &path,
                                                     platform::open_mode mode);

// Adds text to the file.
void write_text(text_writer &writer, std::string_view text);

// Writes what is pending and closes the file. False when not all of the text
// got into the file, for example because the disk is full. For a file that must be
// complete; another one closes itself.
[[nodiscard]] bool close_text(text_writer &writer);

// Removes a file or the link of that name; a rehearsal removes only what it kept.
void remove_text(const std::string &path);

// The text as it stands in a file: each newline as CR LF.
std::string with_line_ends(std::string_view text);

// Whether the file can be opened for reading.
bool file_is_readable(const std::string &path);
