// releases.cpp: scans the installation root for release folders.
#include "install/releases.h"

#include <array>
#include <cstddef>

#include "core/exit_status.h"
#include "core/launch_state.h"
#include "core/messages.h"
#include "core/text.h"
#include "install/install_log.h"
#include "platform/platform.h"

namespace {

constexpr std::size_t version_limit = 15;  // characters of a release's version
constexpr std::size_t part_limit = 16;     // numbers in it

using version_parts = std::array<int, part_limit>;

bool digit_follows(const std::string &text, std::size_t position) {
  return position + 1 < text.size() && is_digit(text[position + 1]);
}

// A name with something else than a number behind its last dot is a copy or a backup.
//   zephon12.0.1 -> yes      zephon6.3.26.bak -> no      zephon -> yes
bool is_release_folder(const std::string &name, const std::string &prefix) {
  const std::size_t last_dot = name.rfind('.');
  return name.starts_with(prefix) &&
         (last_dot == std::string::npos || digit_follows(name, last_dot));
}

// The digits of a name, and its dots that have a digit behind them.
//   zephon12.0.1 -> 12.0.1      zephon-v6b3.26 -> 63.26
std::string version_of(const std::string &name) {
  std::string version;
  for (std::size_t i = name.find_first_of("0123456789"); i < name.size(); ++i) {
    if (is_digit(name[i]) || (name[i] == '.' && digit_follows(name, i))) {
      version += name[i];
    }
  }
  if (version.size() > version_limit) {
    const std::string message =
        format_text("\n Error:  Release name is too long: %s\n", name.c_str());
    install_log_write(message);
    fatal(exit_cannot_list, "%s", message.c_str());
  }
  return version;
}

// The numbers of a version; gives back how many there are.
std::size_t split_version(const std::string &version, version_parts &parts) {
  std::size_t count = 0;
  const char *rest = version.c_str();
  while (count < part_limit && (rest = scan_number(rest, parts[count])) != nullptr) {
    ++count;
    if (*rest == '.') {
      ++rest;
    }
  }
  return count;
}

bool is_newer(const version_parts &parts, std::size_t count, const version_parts &best) {
  for (std::size_t i = 0; i < count; ++i) {
    if (parts[i] != best[i]) {
      return parts[i] > best[i];
    }
  }
  return false;
}

}  // namespace

bool find_releases(const std::string &root, const std::string &prefix,
                   std::vector<std::string> &releases) {
  const auto names = platform::list_directory(root + "\\*.*");
  if (!names) {
    const std::string message = format_text("Cannot read directory:%s\n", root.c_str());
    install_log_write(message);
    add_message("%s", message.c_str());
    platform::exit_program(exit_cannot_list);
  }
  for (const std::string &name : *names) {
    if (name != "." && name != ".." && is_release_folder(name, prefix)) {
      releases.push_back(version_of(name));
    }
  }
  return !releases.empty();
}

std::optional<std::string> latest_release(const std::vector<std::string> &releases) {
  if (releases.empty()) {
    return std::nullopt;
  }
  std::size_t best = 0;
  version_parts best_parts{};
  for (std::size_t i = 0; i < releases.size(); ++i) {
    version_parts parts{};
    const std::size_t count = split_version(releases[i], parts);
    if (is_newer(parts, count, best_parts)) {
      best = i;
      best_parts = parts;
    }
  }
  return releases[best];
}

std::optional<std::string> requested_or_latest_release() {
  if (state.release) {
    return state.release;
  }
  std::vector<std::string> releases;
  find_releases(state.zephon_inc.value_or(""), "zephon", releases);
  return latest_release(releases);
}
