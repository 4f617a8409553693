// text_file.cpp: reads and writes text files and tool output in large pieces.
#include "core/text_file.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "core/run_record.h"
#include "platform/rehearsal.h"

namespace {

constexpr std::size_t first_piece = 2048;  // bytes asked of the system at once
constexpr std::size_t piece_size = 65536;  // of a long text

// Gets more bytes behind those not handed out; false at the end.
bool read_more(text_reader &reader) {
  if (reader.ended) {
    return false;
  }
  const bool was_full = reader.filled == reader.buffer.size();
  if (reader.next > 0) {
    std::memmove(reader.buffer.data(), &reader.buffer[reader.next], reader.filled - reader.next);
    reader.filled -= reader.next;
    reader.next = 0;
  }
  if (was_full && reader.buffer.size() < reader.filled + piece_size / 2) {
    const std::size_t room = std::clamp(reader.buffer.size(), first_piece, piece_size);
    reader.buffer.resize(reader.buffer.size() + room);
  }
  const std::size_t got = platform::read_some(reader.handle.get(), &reader.buffer[reader.filled],
                                              reader.buffer.size() - reader.filled);
  const std::string_view more(&reader.buffer[reader.filled], got);
  const std::size_t end = reader.ends_at_ctrl_z ? more.find('\x1A') : std::string_view::npos;
  reader.filled += std::min(end, got);
  reader.ended = got == 0 || end != std::string_view::npos;
  return end != 0 && got > 0;
}

// Opens a file to be read, as a step of the run.
platform::owned_handle open_to_read(const std::string &path, const char *what) {
  const std::size_t step = begin_step(step_kind::file, what + path);
  auto handle = platform::open_file(path, platform::open_mode::read);
  end_step(step, {.exit_code = handle ? 0 : 1, .lines = {}});
  return handle;
}

std::string doing(platform::open_mode mode) {
  return mode == platform::open_mode::append ? "append to " : "write ";
}

// A file that a rehearsal would have written; it has no handle.
std::optional<text_writer> rehearse_text(const std::string &path, platform::open_mode mode) {
  if (!rehearsal::would_open(path, mode)) {
    return std::nullopt;
  }
  text_writer writer(nullptr);
  writer.told = std::make_unique<told_file>(told_file{path, mode});
  return writer;
}

void tell_written(const told_file &file, const text_writer &writer) {
  if (rehearsal::is_on()) {
    tell_step(step_kind::file, doing(file.mode) + file.path, "written to its end", writer.pending);
    rehearsal::write_file(file.path, file.mode, writer.pending);
  } else {
    end_step(file.step, {.exit_code = writer.failed ? 1 : 0, .lines = file.lines});
  }
}

// Appends a text, each newline as CR LF.
void append_with_line_ends(std::string &result, std::string_view text) {
  std::size_t start = 0;
  for (std::size_t newline; (newline = text.find('\n', start)) != std::string_view::npos;
       start = newline + 1) {
    result.append(text, start, newline - start).append("\r\n", 2);
  }
  result.append(text, start);
}

void write_pending(text_writer &writer) {
  if (!writer.pending.empty()) {
    writer.failed |=
        !platform::write_all(writer.handle.get(), writer.pending.data(), writer.pending.size());
    writer.pending.clear();
  }
}

}  // namespace

std::optional<text_reader> open_text(const std::string &path) {
  text_reader reader;
  if (const auto written = rehearsal::written_file(path)) {
    reader.buffer = *written;
    reader.filled = written->size();
    reader.ended = true;
    return reader;
  }
  reader.handle = open_to_read(path, "read ");
  if (!reader.handle) {
    return std::nullopt;
  }
  return reader;
}

bool read_line(text_reader &reader, std::string &line, std::size_t limit) {
  for (;;) {
    // One byte more than the limit decides: a newline there still ends the line,
    // and a CR at the limit may belong to it.
    const std::string_view text(reader.buffer.data() + reader.next,
                                std::min(reader.filled - reader.next, limit + 1));
    const std::size_t newline = text.find('\n');
    if (newline != std::string_view::npos) {
      const bool has_return = newline > 0 && text[newline - 1] == '\r';
      const std::size_t content = has_return ? newline - 1 : newline;
      if (content < limit) {
        line.assign(text, 0, content);
        line += '\n';
        reader.next += newline + 1;
        return true;
      }
    }
    if (text.size() > limit || (text.size() == limit && text.back() != '\r')) {
      line.assign(text, 0, limit);
      reader.next += limit;
      return true;
    }
    if (!read_more(reader)) {
      line.assign(reader.buffer, reader.next, reader.filled - reader.next);  // it has moved
      reader.next = reader.filled;
      reader.at_end = line.size() < limit;  // a piece that fills the limit looks no further
      return !line.empty();
    }
  }
}

text_writer::text_writer(platform::owned_handle file) : handle(std::move(file)) {}

text_writer::~text_writer() {
  if (handle || told) {
    (void)close_text(*this);  // who wants to know has closed it
  }
}

std::optional<text_writer> create_text(const std::string &path, platform::open_mode mode) {
  if (rehearsal::is_on()) {
    return rehearse_text(path, mode);
  }
  const std::size_t step = begin_step(step_kind::file, doing(mode) + path);
  auto file = platform::open_file(path, mode);
  if (!file) {
    end_step(step, {.exit_code = 1, .lines = {}});
    return std::nullopt;
  }
  text_writer writer(std::move(file));
  if (run_is_recorded()) {
    writer.told = std::make_unique<told_file>(told_file{path, mode, step});
  }
  return writer;
}

void write_text(text_writer &writer, std::string_view text) {
  append_with_line_ends(writer.pending, text);
  if (writer.told) {
    writer.told->lines += static_cast<int>(std::count(text.begin(), text.end(), '\n'));
  }
  if (writer.handle && writer.pending.size() >= piece_size) {
    write_pending(writer);
  }
}

bool close_text(text_writer &writer) {
  if (writer.handle) {
    write_pending(writer);
  }
  writer.handle.reset();
  if (const auto told = std::move(writer.told)) {
    tell_written(*told, writer);
  }
  return !writer.failed;
}

void remove_text(const std::string &path) {
  rehearsal::remove_file(path);
  if (!rehearsal::is_on()) {
    platform::remove_file(path);
  }
}

std::string with_line_ends(std::string_view text) {
  std::string result;
  result.reserve(text.size() + 16);
  append_with_line_ends(result, text);
  return result;
}

bool file_is_readable(const std::string &path) {
  return rehearsal::written_file(path) || open_to_read(path, "look for ") != nullptr;
}
