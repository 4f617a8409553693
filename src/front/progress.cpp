// progress.cpp: one line that renews itself, or lines that do not.
#include "front/progress.h"

#include <cstddef>

#include "core/messages.h"
#include "core/text.h"
#include "platform/platform.h"

namespace {

constexpr std::size_t console_width = 79;  // one less than the narrowest console: no line break

std::size_t shown_width = 0;  // of the line on the console
std::string shown_key;        // of the last line elsewhere

}  // namespace

void show_progress(const std::string &key, const std::string &detail) {
  if (!platform::stream_is_console(platform::standard_stream::error)) {
    if (key != shown_key) {
      shown_key = key;
      print_error("%s\n", key.c_str());
    }
    return;
  }
  std::string line = (key + detail).substr(0, console_width);
  const std::size_t width = line.size();
  line.append(shown_width > width ? shown_width - width : 0, ' ');
  shown_width = width;
  print_error("\r%s", line.c_str());
}

void clear_progress() {
  if (shown_width > 0) {
    print_error("\r%s\r", std::string(shown_width, ' ').c_str());
    shown_width = 0;
  }
}

std::string duration_text(long long seconds) {
  constexpr long long minute = 60;
  constexpr long long hour = 3600;
  if (seconds < minute) {
    return std::to_string(seconds) + " s";
  }
  if (seconds < hour) {
    return std::to_string(seconds / minute) + " min " + std::to_string(seconds % minute) + " s";
  }
  return std::to_string(seconds / hour) + " h " + std::to_string(seconds % hour / minute) + " min";
}
