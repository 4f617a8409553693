// text_file.cpp: reads and writes text files and tool output in large pieces.
#include "core/text_file.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

constexpr std::size_t piece_size = 65536;  // bytes asked of the system at once

// Gets more bytes behind those not handed out; false at the end.
bool read_more(text_reader &reader) {
  if (reader.ended) {
    return false;
  }
  if (reader.next > 0) {
    std::memmove(reader.buffer.data(), &reader.buffer[reader.next], reader.filled - reader.next);
    reader.filled -= reader.next;
    reader.next = 0;
  }
  if (reader.buffer.size() < reader.filled + piece_size / 2) {
    reader.buffer.resize(reader.buffer.size() + piece_size);
  }
  const std::size_t got = platform::read_some(reader.handle.get(), &reader.buffer[reader.filled],
                                              reader.buffer.size() - reader.filled);
  reader.filled += got;
  reader.ended = got == 0;
  return got > 0;
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
  reader.handle = platform::open_file(path, platform::open_mode::read);
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
  if (handle) {
    write_pending(*this);
  }
}

std::optional<text_writer> create_text(const std::string &path, platform::open_mode mode) {
  auto file = platform::open_file(path, mode);
  if (!file) {
    return std::nullopt;
  }
  return text_writer(std::move(file));
}

void write_text(text_writer &writer, std::string_view text) {
  append_with_line_ends(writer.pending, text);
  if (writer.pending.size() >= piece_size) {
    write_pending(writer);
  }
}

bool close_text(text_writer &writer) {
  write_pending(writer);
  writer.handle.reset();
  return !writer.failed;
}

std::string with_line_ends(std::string_view text) {
  std::string result;
  result.reserve(text.size() + 16);
  append_with_line_ends(result, text);
  return result;
}

bool file_is_readable(const std::string &path) {
  return platform::open_file(path, platform::open_mode::read) != nullptr;
}
