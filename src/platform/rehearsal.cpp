// rehearsal.cpp: the files that a rehearsal would have written.
#include "platform/rehearsal.h"

#include <map>

namespace rehearsal {

namespace {

bool on = false;
// The files by the names they were opened with: what they would hold, or nothing
// for one that would be gone.
std::map<std::string, std::optional<std::string>> files;

}  // namespace

bool is_on() {
  return on;
}

void begin() {
  on = true;
}

void end() {
  on = false;
  files.clear();
}

bool would_open(const std::string &path, platform::open_mode mode) {
  const bool is_removed = files.contains(path) && !files[path];
  const bool is_there =
      !is_removed && platform::open_file(path, platform::open_mode::read) != nullptr;
  if (is_there) {
    // Opened for appending and closed, a file stays as it was.
    return mode != platform::open_mode::create &&
           platform::open_file(path, platform::open_mode::append) != nullptr;
  }
  const std::size_t name = path.find_last_of("\\/") + 1;
  return name < path.size() && platform::list_directory(path.substr(0, name) + "*").has_value();
}

void write_file(const std::string &path, platform::open_mode mode, const std::string &content) {
  const bool adds = mode == platform::open_mode::append;
  files[path] = (adds ? files[path].value_or("") : "") + content;
}

std::optional<std::string> written_file(const std::string &path) {
  const auto found = files.find(path);
  return found == files.end() ? std::nullopt : found->second;
}

void remove_file(const std::string &path) {
  files[path].reset();
}

}  // namespace rehearsal
