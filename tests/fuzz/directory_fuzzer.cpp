// directory_fuzzer.cpp: the names in an installation root, a name a line.
#include <algorithm>

#include "fuzz_support.h"
#include "install/releases.h"
#include "support/fresh_launch.h"

namespace {

using numbers = std::vector<std::string>;

// The numbers of a version without the zeros before them.
numbers numbers_of(const std::string &version) {
  numbers parts(1);
  for (const char letter : version) {
    if (letter == '.') {
      parts.emplace_back();
    } else if (!(parts.back().empty() && letter == '0')) {
      parts.back() += letter;
    }
  }
  while (!parts.empty() && parts.back().empty()) {
    parts.pop_back();
  }
  return parts;
}

bool is_older(const numbers &one, const numbers &other) {
  return std::lexicographical_compare(one.begin(), one.end(), other.begin(), other.end(),
                                      [](const std::string &a, const std::string &b) {
                                        return a.size() != b.size() ? a.size() < b.size() : a < b;
                                      });
}

bool is_a_version(const std::string &text) {
  return text.size() <= 15 && text.find_first_not_of("0123456789.") == std::string::npos &&
         !text.starts_with('.') && !text.ends_with('.') && text.find("..") == std::string::npos;
}

bool has_a_huge_number(const std::string &version) {
  const numbers parts = numbers_of(version);
  return std::any_of(parts.begin(), parts.end(),
                     [](const std::string &part) { return part.size() > 9; });
}

void check_newest(const std::vector<std::string> &releases, const std::string &newest) {
  for (const std::string &release : releases) {
    fuzz::require(is_a_version(release), "what was found is a version");
    if (has_a_huge_number(release)) {
      return;  // numbers above the largest are all the same
    }
  }
  const numbers newest_numbers = numbers_of(newest);
  for (const std::string &release : releases) {
    fuzz::require(!is_older(newest_numbers, numbers_of(release)), "no release is newer");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  auto names = fuzz::lines_of(fuzz::text_of(data, size));
  for (std::string &name : names) {
    std::erase(name, '\0');
  }
  fuzz::begin_run();
  stand_in::given_listing("C:\\zephon", names);
  std::vector<std::string> releases;
  std::optional<std::string> newest;
  const auto result = fuzz::run([&] {
    (void)find_releases("C:\\zephon", "zephon", releases);
    newest = latest_release(releases);
  });
  fuzz::check_run(result);
  fuzz::require(result.end == fuzz::run_end::came_back || result.status == 254,
                "only a listing or a name that is no good ends the run");
  fuzz::require(releases.size() <= names.size(), "a name is one release at most");
  if (newest) {
    check_newest(releases, *newest);
  }
  return 0;
}
