// json.cpp: the few forms of JSON that the launcher writes.
#include "core/json.h"

#include <ctime>

#include "core/text.h"
#include "platform/platform.h"

namespace {

constexpr std::int64_t microseconds_per_second = 1'000'000;

void append_escaped(std::string &text, char letter) {
  switch (letter) {
    case '"':
    case '\\':
      text.append(1, '\\').append(1, letter);
      return;
    case '\n':
      text += "\\n";
      return;
    case '\r':
      text += "\\r";
      return;
    case '\t':
      text += "\\t";
      return;
    default:
      break;
  }
  if (static_cast<unsigned char>(letter) < ' ' || letter == '\x7F') {
    append_format(text, "\\u%04x", static_cast<unsigned>(letter));
  } else {
    text += letter;
  }
}

}  // namespace

std::string json_text(std::string_view text) {
  std::string result = "\"";
  for (const char letter : platform::utf8_of(std::string(text))) {
    append_escaped(result, letter);
  }
  return result += '"';
}

std::string json_text_or_null(const std::optional<std::string> &text) {
  return text ? json_text(std::string_view(*text)) : "null";
}

std::string json_number(std::int64_t number) {
  return std::to_string(number);
}

std::string json_number(const std::optional<std::int64_t> &number) {
  return number ? json_number(*number) : "null";
}

std::string json_bool(bool value) {
  return value ? "true" : "false";
}

std::string json_seconds(const std::optional<std::int64_t> &microseconds) {
  if (!microseconds) {
    return "null";
  }
  // In whole numbers: a decimal point is a point, whatever the locale.
  std::string text =
      format_text("%lld.%06lld", static_cast<long long>(*microseconds / microseconds_per_second),
                  static_cast<long long>(*microseconds % microseconds_per_second));
  text.erase(text.find_last_not_of('0') + 1);
  return text.ends_with('.') ? text + "0" : text;
}

std::string json_moment(const std::optional<std::int64_t> &microseconds) {
  if (!microseconds) {
    return "null";
  }
  const std::time_t seconds = static_cast<std::time_t>(*microseconds / microseconds_per_second);
  const auto milliseconds = static_cast<int>(*microseconds % microseconds_per_second / 1000);
  const std::tm *const utc = std::gmtime(&seconds);
  if (utc == nullptr) {
    return "null";
  }
  char text[32];
  text[std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", utc)] = '\0';
  return format_text("\"%s.%03dZ\"", text, milliseconds);
}

void add_element(std::string &elements, std::string_view value) {
  elements.append(elements.empty() ? "" : ", ").append(value);
}

void add_member(std::string &members, std::string_view name, std::string_view value) {
  add_element(members, json_text(name).append(": ").append(value));
}

std::string json_object(const std::string &members) {
  return "{" + members + "}";
}

std::string json_array(const std::string &elements) {
  return "[" + elements + "]";
}
