// tool_log.cpp: writes and reads the log of a scripted tool.
#include "scripted_tool/tool_log.h"

#include <windows.h>

#include <charconv>
#include <cstdint>
#include <cstdio>

namespace scripted_tool {

namespace {

// The next field of a log; nothing when it is not complete.
std::optional<field> take_field(std::string_view &text) {
  const auto line_end = text.find('\n');
  const auto blank = text.find(' ');
  if (line_end == std::string_view::npos || blank > line_end) {
    return std::nullopt;
  }
  std::size_t size = 0;
  std::from_chars(text.data() + blank + 1, text.data() + line_end, size);
  if (text.size() - line_end - 1 < size + 1) {
    return std::nullopt;
  }
  field taken = {std::string(text.substr(0, blank)), std::string(text.substr(line_end + 1, size))};
  text.remove_prefix(line_end + 1 + size + 1);
  return taken;
}

// A mutex name that only this log has: names must not hold a backslash, so the
// path goes into it as a number.
std::string mutex_name(const std::string &log_path) {
  std::uint64_t number = 14695981039346656037ULL;
  for (const char letter : log_path) {
    number = (number ^ static_cast<unsigned char>(letter)) * 1099511628211ULL;
  }
  return "Local\\scripted_tool_" + std::to_string(number);
}

HANDLE open_for(const std::string &path, DWORD access, DWORD disposition) {
  return CreateFileA(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                     nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
}

bool write_and_close(HANDLE file, std::string_view text) {
  if (file == INVALID_HANDLE_VALUE) {
    return false;
  }
  DWORD written = 0;
  const bool done =
      WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
  CloseHandle(file);
  return done && written == text.size();
}

}  // namespace

std::string record_text(const record &fields) {
  std::string text;
  for (const auto &[name, bytes] : fields) {
    text.append(name).append(" ").append(std::to_string(bytes.size())).append("\n");
    text.append(bytes).append("\n");
  }
  return text + "done 0\n\n";
}

std::vector<record> parse_log(std::string_view text) {
  std::vector<record> records;
  record current;
  while (auto next = take_field(text)) {
    if (next->name == "done") {
      records.push_back(std::move(current));
      current.clear();
    } else {
      current.push_back(std::move(*next));
    }
  }
  return records;
}

std::optional<std::string> find_field(const record &fields, std::string_view name) {
  for (const auto &candidate : fields) {
    if (candidate.name == name) {
      return candidate.bytes;
    }
  }
  return std::nullopt;
}

std::optional<std::string> read_file(const std::string &path) {
  const HANDLE file = open_for(path, GENERIC_READ, OPEN_EXISTING);
  if (file == INVALID_HANDLE_VALUE) {
    return std::nullopt;
  }
  std::string text;
  std::string piece(65536, '\0');
  DWORD size = 0;
  while (ReadFile(file, piece.data(), static_cast<DWORD>(piece.size()), &size, nullptr) &&
         size > 0) {
    text.append(piece, 0, size);
  }
  CloseHandle(file);
  return text;
}

bool write_file(const std::string &path, std::string_view text) {
  return write_and_close(open_for(path, GENERIC_WRITE, CREATE_ALWAYS), text);
}

bool append_file(const std::string &path, std::string_view text) {
  return write_and_close(open_for(path, FILE_APPEND_DATA, OPEN_ALWAYS), text);
}

log_lock::log_lock(const std::string &log_path)
    : mutex_(CreateMutexA(nullptr, FALSE, mutex_name(log_path).c_str())) {
  // A process that was ended while it had the lock leaves it to us.
  WaitForSingleObject(mutex_, INFINITE);
}

log_lock::~log_lock() {
  ReleaseMutex(mutex_);
  CloseHandle(mutex_);
}

}  // namespace scripted_tool
