// text.cpp: formatting, comparing and reading small texts.
#include "core/text.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

char small_letter(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

}  // namespace

std::string format_list(const char *format, std::va_list values) {
  std::va_list again;
  va_copy(again, values);
  std::string text;
  const int length = std::vsnprintf(nullptr, 0, format, values);
  if (length > 0) {
    const std::size_t size = static_cast<std::size_t>(length);
    text.resize(size + 1);  // one more for the zero that vsnprintf writes
    (void)std::vsnprintf(text.data(), size + 1, format, again);
    text.resize(size);
  }
  va_end(again);
  return text;
}

std::string format_text(const char *format, ...) {
  std::va_list values;
  va_start(values, format);
  std::string text = format_list(format, values);
  va_end(values);
  return text;
}

void append_format(std::string &text, const char *format, ...) {
  std::va_list values;
  va_start(values, format);
  text += format_list(format, values);
  va_end(values);
}

std::string with_one_line_end(const std::string &text) {
  return text.substr(0, text.find_last_not_of("\r\n") + 1) + "\n";
}

const char *chars_of(const std::optional<std::string> &text) {
  return text ? text->c_str() : "";
}

bool contains_blank(std::string_view text) {
  return contains(text, " ");
}

bool contains(std::string_view text, std::string_view piece) {
  return text.find(piece) != std::string_view::npos;
}

std::string small_letters(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), small_letter);
  return text;
}

bool equal_ignoring_case(std::string_view one, std::string_view other) {
  return one.size() == other.size() && begins_ignoring_case(one, other);
}

bool begins_ignoring_case(std::string_view text, std::string_view beginning) {
  return text.size() >= beginning.size() &&
         std::equal(beginning.begin(), beginning.end(), text.begin(),
                    [](char a, char b) { return small_letter(a) == small_letter(b); });
}

const char *scan_number(const char *text, int &number) {
  char *end = nullptr;
  const long long value = std::strtoll(text, &end, 10);
  if (end == text) {
    return nullptr;
  }
  number = static_cast<int>(std::clamp<long long>(value, INT_MIN, INT_MAX));
  return end;
}

std::optional<double> to_decimal(const std::string &text) {
  // Only what is found here is converted: not every runtime reads the same words as numbers.
  const char *const begin = text.c_str();
  const char *end = begin;
  const auto skip = [&end](const char *letters) { end += std::strspn(end, letters); };
  const auto skip_one_of = [&end](const char *letters) {
    end += *end != '\0' && std::strchr(letters, *end) != nullptr ? 1 : 0;
  };
  constexpr const char *digits = "0123456789";
  skip(" \t\n\v\f\r");
  skip_one_of("+-");
  const char *const first = end;
  skip(digits);
  if (*end == '.') {
    ++end;
    skip(digits);
  }
  if (std::none_of(first, end, [](char one) { return one != '.'; })) {
    return std::nullopt;
  }
  const char *const mantissa = end;
  skip_one_of("eE");
  if (end != mantissa) {
    skip_one_of("+-");
    const char *const exponent = end;
    skip(digits);
    end = end == exponent ? mantissa : end;
  }
  return std::strtod(std::string(begin, end).c_str(), nullptr);
}

int to_number(const std::string &text) {
  int number = 0;
  (void)scan_number(text.c_str(), number);  // no digits: the number stays 0
  return number;
}

std::string calendar_text(std::time_t time) {
  const char *text = std::ctime(&time);
  return text != nullptr ? text : "\n";
}

std::vector<std::string> split_at(std::string_view text, std::string_view separators) {
  std::vector<std::string> pieces;
  for (std::size_t start = 0;
       (start = text.find_first_not_of(separators, start)) != std::string_view::npos;) {
    const std::size_t end = std::min(text.find_first_of(separators, start), text.size());
    pieces.emplace_back(text.substr(start, end - start));
    start = end;
  }
  return pieces;
}

std::string_view without_line_end(std::string_view text) {
  return text.substr(0, text.find_last_not_of("\r\n") + 1);
}

std::string quote(std::string_view text) {
  return std::string("\"").append(text).append("\"");
}

std::string quote_argument(const std::string &argument) {
  return contains_blank(argument) ? quote(argument) : argument;
}

std::string quote_path(const std::string &path) {
  return contains_blank(path) && !contains(path, "\"") ? quote(path) : path;
}

void append_to_path_list(std::string &list, const std::string &folder) {
  if (!folder.empty()) {
    list += ";" + folder;
  }
}
