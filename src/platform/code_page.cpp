// code_page.cpp: tells signs from halves of letters.
#include "platform/code_page.h"

#include "platform/platform.h"

std::string without_double_bytes(std::string_view text) {
  std::string signs(text);
  for (std::size_t i = 0; i + 1 < signs.size(); ++i) {
    if (platform::is_lead_byte(signs[i])) {
      signs.replace(i, 2, "xx");
      ++i;
    }
  }
  return signs;
}
