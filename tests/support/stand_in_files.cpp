// stand_in_files.cpp: files and directories in memory, standard output and error.
#include <algorithm>

#include "support/stand_in_world.h"

namespace stand_in {

namespace {

constexpr int most_links = 8;  // links to links, before Windows refuses the path
constexpr char output_address = 0;
constexpr char error_address = 0;

bool is_a_path(const std::string &path) {
  return !path.empty() && std::none_of(path.begin(), path.end(), [](char letter) {
    return std::string_view("*?\"<>|").find(letter) != std::string_view::npos ||
           (letter >= 0 && letter < ' ');
  });
}

bool is_on_share(std::string_view path) {
  return path.starts_with("\\\\");
}

bool is_drive(const std::string &path) {
  return path.size() >= 2 && path[1] == ':';
}

std::shared_ptr<file> find_file(const std::string &compared) {
  const auto found = the_world().files.find(compared);
  return found == the_world().files.end() ? nullptr : found->second;
}

file &put_file(const std::string &path) {
  auto &entry = the_world().files[compared_path(path)];
  entry = std::make_shared<file>();
  entry->path = full_path(path);
  return *entry;
}

// Where a path leads when it is a link; nothing when it leads in a circle.
std::optional<std::string> follow_links(std::string compared) {
  for (int link = 0; link < most_links; ++link) {
    const auto entry = find_file(compared);
    if (entry == nullptr || !entry->link_target) {
      return compared;
    }
    compared = compared_path(*entry->link_target);
  }
  return std::nullopt;
}

bool uses_up_an_opening(const std::string &compared) {
  auto &left = the_world().openings_left;
  const auto found = left.find(compared);
  if (found == left.end()) {
    return true;
  }
  if (found->second == 0) {
    the_world().files.erase(compared);
    return false;
  }
  --found->second;
  return true;
}

// One name against a pattern with * and ?; *.* means every name, as in Windows.
bool matches_pattern(std::string_view name, std::string_view pattern) {
  if (pattern.empty()) {
    return name.empty();
  }
  if (pattern == "*.*") {
    return true;
  }
  if (pattern[0] == '*') {
    for (std::size_t skipped = 0; skipped <= name.size(); ++skipped) {
      if (matches_pattern(name.substr(skipped), pattern.substr(1))) {
        return true;
      }
    }
    return false;
  }
  return !name.empty() && (pattern[0] == '?' || pattern[0] == name[0]) &&
         matches_pattern(name.substr(1), pattern.substr(1));
}

// The names in a folder as its files tell; nothing when there is no such folder.
std::optional<std::vector<std::string>> names_in(const std::string &folder) {
  const std::string beginning = folder + "\\";
  std::map<std::string, std::string> names;  // by small letters
  const auto itself = find_file(folder);
  bool exists = (itself != nullptr && itself->is_directory) || folder == compared_path(".");
  for (const auto &[compared, entry] : the_world().files) {
    if (compared.starts_with(beginning)) {
      exists = true;
      const std::size_t end = compared.find('\\', beginning.size());
      const std::string name = entry->path.substr(
          beginning.size(), end == std::string::npos ? end : end - beginning.size());
      names.emplace(small_letters(name), name);
    }
  }
  if (!exists) {
    return std::nullopt;
  }
  std::vector<std::string> result = {".", ".."};
  for (const auto &[small, name] : names) {
    result.push_back(name);
  }
  return result;
}

std::size_t read_file(open_file &opened, char *buffer, std::size_t size) {
  const std::string &content = opened.content->content;
  if (opened.mode != platform::open_mode::read || opened.position >= content.size()) {
    return 0;
  }
  const std::size_t count = std::min(size, content.size() - opened.position);
  content.copy(buffer, count, opened.position);
  opened.position += count;
  return count;
}

// The pipe is kept while another thread may close its handle.
std::size_t read_pipe(std::shared_ptr<pipe> of, char *buffer, std::size_t size) {
  wait request;
  request.what = of->launcher_ends > 0
                     ? "reads from a pipe whose write end the launcher itself holds open"
                     : "reads a pipe";
  request.ready = [of = of.get()] {
    return !of->data.empty() || of->launcher_ends + of->child_ends == 0;
  };
  request.in_a_read_or_write = true;
  wait_until(request);
  const std::size_t count = std::min(size, of->data.size());
  of->data.copy(buffer, count);
  of->data.erase(0, count);
  pipe_was_read(*of);
  return count;
}

bool is_gone(std::string_view path) {
  return the_world().share_is_gone && is_on_share(path);
}

bool write_file(open_file &opened, std::string_view text) {
  world &here = the_world();
  if (opened.mode == platform::open_mode::read) {
    return false;
  }
  const bool may_vanish = here.share_space && is_on_share(opened.content->path);
  auto &space = may_vanish ? here.share_space : here.disk_space;
  const std::size_t room = space.value_or(text.size());
  const std::string_view fits = text.substr(0, room);
  std::string &content = opened.content->content;
  if (opened.mode == platform::open_mode::append) {
    opened.position = content.size();
  }
  if (content.size() < opened.position) {
    content.resize(opened.position);  // emptied by another opening
  }
  content.replace(opened.position, fits.size(), fits);
  opened.position += fits.size();
  if (space) {
    *space -= fits.size();
  }
  const bool is_whole = fits.size() == text.size();
  here.share_is_gone = here.share_is_gone || (may_vanish && !is_whole);
  return is_whole;
}

bool write_standard_from_launcher(standard_place place, std::string_view text) {
  world &here = the_world();
  if (place == standard_place::error) {
    write_standard(place, text);
    return true;
  }
  if (here.output_is_broken) {
    return false;
  }
  if (!here.output_hangs_after || text.size() <= *here.output_hangs_after) {
    write_standard(place, text);
    if (here.output_hangs_after) {
      *here.output_hangs_after -= text.size();
    }
    return true;
  }
  write_standard(place, text.substr(0, *here.output_hangs_after));
  here.output_hangs_after = 0;
  wait request{.what = "writes to standard output, which nobody reads",
               .ready = [] { return false; }};
  request.in_a_read_or_write = true;
  wait_until(request);
  return false;
}

}  // namespace

// ---- Paths --------------------------------------------------------------------------------

std::string full_path(const std::string &path) {
  std::string with_backslashes = path;
  std::replace(with_backslashes.begin(), with_backslashes.end(), '/', '\\');
  const std::string current = the_world().current_directory.value_or("C:\\work");
  if (!with_backslashes.starts_with("\\")) {
    with_backslashes.insert(0, is_drive(with_backslashes) ? "" : current + "\\");
  } else if (!is_on_share(with_backslashes)) {
    with_backslashes.insert(0, current, 0, 2);
  }
  std::string result = is_on_share(with_backslashes) ? "\\" : "";
  const std::size_t root = result.size();
  std::size_t start = 0;
  while (start <= with_backslashes.size()) {
    const std::size_t end = std::min(with_backslashes.find('\\', start), with_backslashes.size());
    const auto part = std::string_view(with_backslashes).substr(start, end - start);
    if (part == "..") {
      const std::size_t parent = result.rfind('\\');
      result.erase(std::max(parent == std::string::npos ? 0 : parent, root));
    } else if (!part.empty() && part != ".") {
      result.append(result.empty() ? "" : "\\").append(part);
    }
    start = end + 1;
  }
  return result;
}

std::string compared_path(const std::string &path) {
  return small_letters(full_path(path));
}

// ---- What tests say and ask ---------------------------------------------------------------

void given_file(const std::string &path, const std::string &content) {
  put_file(path).content = content;
  the_world().unreadable.erase(compared_path(path));
}

void given_directory(const std::string &path) {
  put_file(path).is_directory = true;
}

void given_link(const std::string &path, const std::string &target) {
  put_file(path).link_target = target;
}

void given_no_file(const std::string &path) {
  the_world().files.erase(compared_path(path));
}

void given_unreadable_file(const std::string &path, const std::string &content) {
  given_file(path, content);
  the_world().unreadable.insert(compared_path(path));
}

void given_unwritable_path(const std::string &path) {
  the_world().unwritable.insert(compared_path(path));
}

void given_last_opening(const std::string &path, std::size_t openings) {
  the_world().openings_left[compared_path(path)] = openings;
}

void given_full_disk_after(std::size_t bytes) {
  the_world().disk_space = bytes;
}

void given_share_that_vanishes_after(std::size_t bytes) {
  the_world().share_space = bytes;
}

void given_current_directory(const std::string &path) {
  the_world().current_directory = path;
}
void given_no_current_directory() {
  the_world().current_directory.reset();
}

void given_listing(const std::string &folder, const std::vector<std::string> &names) {
  the_world().listings[compared_path(folder)] = names;
}

void given_no_listing(const std::string &folder) {
  the_world().listings[compared_path(folder)] = std::nullopt;
}

void given_short_reads(std::size_t bytes) {
  the_world().most_bytes_read = bytes;
}

std::optional<std::string> file_content(const std::string &path) {
  const auto target = follow_links(compared_path(path));
  const auto entry = target ? find_file(*target) : nullptr;
  return entry == nullptr || entry->is_directory ? std::nullopt : std::optional(entry->content);
}

bool file_exists(const std::string &path) {
  return file_content(path).has_value();
}

std::size_t times_opened(const std::string &path) {
  const auto found = the_world().openings.find(compared_path(path));
  return found == the_world().openings.end() ? 0 : found->second;
}

std::vector<std::string> written_files() {
  return the_world().written;
}
std::vector<std::string> removed_files() {
  return the_world().removed;
}

// ---- Standard output and error ------------------------------------------------------------

std::string standard_output() {
  return in_text_mode(the_world().output);
}
std::string standard_error() {
  return in_text_mode(the_world().error);
}
std::string both_streams() {
  return in_text_mode(the_world().both);
}
std::string standard_output_bytes() {
  return the_world().output;
}
std::string standard_error_bytes() {
  return the_world().error;
}

void given_no_standard_handles() {
  the_world().no_standard_handles = true;
}
void given_broken_standard_output() {
  the_world().output_is_broken = true;
}

void given_standard_output_that_hangs_after(std::size_t bytes) {
  the_world().output_hangs_after = bytes;
}

std::optional<standard_place> standard_place_of(const void *handle) {
  if (handle == &output_address) {
    return standard_place::output;
  }
  return handle == &error_address ? std::optional(standard_place::error) : std::nullopt;
}

bool is_null_input(const void *handle) {
  const auto opened = handle_as<open_file>(handle, "start_process");
  return opened != nullptr && opened->content->path == "NUL";
}

void write_standard(standard_place place, std::string_view text) {
  world &here = the_world();
  (place == standard_place::output ? here.output : here.error) += text;
  here.both += text;
}

}  // namespace stand_in

// ---- Behind the door ----------------------------------------------------------------------

namespace platform {

using stand_in::the_world;

owned_handle open_file(const std::string &path, open_mode mode) {
  stand_in::world &here = the_world();
  const std::string given = stand_in::compared_path(path);
  ++here.openings[given];
  if (!stand_in::is_a_path(path) || !stand_in::uses_up_an_opening(given) ||
      stand_in::is_gone(given)) {
    return nullptr;
  }
  if (mode == open_mode::create && stand_in::find_file(given) != nullptr) {
    return nullptr;
  }
  const auto target = stand_in::follow_links(given);
  if (!target) {
    return nullptr;
  }
  auto content = stand_in::find_file(*target);
  const auto &refused = mode == open_mode::read ? here.unreadable : here.unwritable;
  if (refused.contains(*target) || (content != nullptr && content->is_directory) ||
      (content == nullptr && mode == open_mode::read)) {
    return nullptr;
  }
  if (mode != open_mode::read) {
    here.written.push_back(path);
    if (content == nullptr) {
      content = std::make_shared<stand_in::file>();
      content->path = *target == given ? stand_in::full_path(path) : *target;
      here.files[*target] = content;
    } else if (mode == open_mode::write) {
      content->content.clear();
    }
  }
  const auto opened = std::make_shared<stand_in::open_file>();
  opened->content = content;
  opened->mode = mode;
  return owned_handle(stand_in::new_handle(opened));
}

std::size_t read_some(void *handle, char *buffer, std::size_t size) {
  const stand_in::handle_target *target = stand_in::find_handle(handle, "read_some");
  if (target == nullptr || size == 0) {
    return 0;
  }
  const std::size_t most = std::min(size, the_world().most_bytes_read);
  if (const auto *opened = std::get_if<std::shared_ptr<stand_in::open_file>>(target)) {
    return stand_in::read_file(**opened, buffer, most);
  }
  if (const auto *reading = std::get_if<stand_in::read_end>(target)) {
    return stand_in::read_pipe(reading->of, buffer, most);
  }
  return 0;
}

bool write_all(void *handle, const char *text, std::size_t size) {
  const std::string_view bytes(text, size);
  if (const auto place = stand_in::standard_place_of(handle)) {
    return stand_in::write_standard_from_launcher(*place, bytes);
  }
  const stand_in::handle_target *target = stand_in::find_handle(handle, "write_all");
  if (target == nullptr) {
    return false;
  }
  if (const auto *opened = std::get_if<std::shared_ptr<stand_in::open_file>>(target)) {
    return stand_in::write_file(**opened, bytes);
  }
  if (const auto *writing = std::get_if<stand_in::write_end>(target)) {
    writing->of->data += bytes;
    return writing->of->read_end_open;
  }
  return false;
}

void remove_file(const std::string &path) {
  the_world().removed.push_back(path);
  const std::string compared = stand_in::compared_path(path);
  const auto entry = stand_in::find_file(compared);
  if (entry != nullptr && !entry->is_directory && !stand_in::is_gone(compared)) {
    the_world().files.erase(compared);
  }
}

bool replace_file(const std::string &path, const std::string &new_path) {
  const std::string compared = stand_in::compared_path(path);
  const std::string target = stand_in::compared_path(new_path);
  const auto entry = stand_in::find_file(compared);
  const auto replaced = stand_in::find_file(target);
  if (entry == nullptr || stand_in::is_gone(target) || the_world().unwritable.contains(target) ||
      (replaced != nullptr && replaced->is_directory)) {
    return false;
  }
  the_world().files.erase(compared);
  entry->path = stand_in::full_path(new_path);
  the_world().files[target] = entry;
  return true;
}

owned_handle open_null_input() {
  const auto opened = std::make_shared<stand_in::open_file>();
  opened->content = std::make_shared<stand_in::file>();
  opened->content->path = "NUL";
  return owned_handle(stand_in::new_handle(opened));
}

std::string windows_directory() {
  return "C:\\Windows";
}

std::optional<std::string> current_directory() {
  return the_world().current_directory;
}

std::optional<std::vector<std::string>> list_directory(const std::string &pattern) {
  const std::size_t last = pattern.find_last_of("\\/");
  const std::string folder =
      stand_in::compared_path(last == std::string::npos ? "." : pattern.substr(0, last + 1));
  const std::string mask =
      stand_in::small_letters(last == std::string::npos ? pattern : pattern.substr(last + 1));
  const auto &listings = the_world().listings;
  const auto given = listings.find(folder);
  const auto names = given != listings.end() ? given->second : stand_in::names_in(folder);
  if (!names) {
    return std::nullopt;
  }
  std::vector<std::string> matching;
  for (const std::string &name : *names) {
    if (stand_in::matches_pattern(stand_in::small_letters(name), mask)) {
      matching.push_back(name);
    }
  }
  return matching.empty() ? std::nullopt : std::optional(matching);
}

void *standard_handle(standard_stream stream) {
  if (the_world().no_standard_handles) {
    return nullptr;
  }
  // Only the addresses count; nobody writes through them.
  return const_cast<char *>(stream == standard_stream::output ? &stand_in::output_address
                                                              : &stand_in::error_address);
}

}  // namespace platform
