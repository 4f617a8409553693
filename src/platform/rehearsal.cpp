// rehearsal.cpp: the files that a rehearsal would have written.
#include "platform/rehearsal.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "platform/code_page.h"

namespace rehearsal {

namespace {

bool on = false;
// The files by the names they were opened with: what they would hold, or nothing
// for one that would be gone.
std::vector<std::pair<std::string, std::optional<std::string>>> files;

// The file of that name; null when nothing was done to it.
std::optional<std::string> *find_file(const std::string &path) {
  const auto found =
      std::find_if(files.begin(), files.end(), [&](const auto &one) { return one.first == path; });
  return found == files.end() ? nullptr : &found->second;
}

std::optional<std::string> &file_of(const std::string &path) {
  if (find_file(path) == nullptr) {
    files.emplace_back(path, std::nullopt);
  }
  return *find_file(path);
}

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
  const auto *known = find_file(path);
  const bool is_removed = known != nullptr && !*known;
  const bool is_there =
      !is_removed && platform::open_file(path, platform::open_mode::read) != nullptr;
  if (is_there) {
    // Opened for appending and closed, a file stays as it was.
    return mode != platform::open_mode::create &&
           platform::open_file(path, platform::open_mode::append) != nullptr;
  }
  const std::size_t name = without_double_bytes(path).find_last_of("\\/") + 1;
  return name < path.size() && platform::list_directory(path.substr(0, name) + "*").has_value();
}

void write_file(const std::string &path, platform::open_mode mode, const std::string &content) {
  const bool adds = mode == platform::open_mode::append;
  std::optional<std::string> &file = file_of(path);
  file = (adds ? file.value_or("") : "") + content;
}

std::optional<std::string> written_file(const std::string &path) {
  const auto *known = find_file(path);
  return known == nullptr ? std::nullopt : *known;
}

void remove_file(const std::string &path) {
  file_of(path).reset();
}

}  // namespace rehearsal
