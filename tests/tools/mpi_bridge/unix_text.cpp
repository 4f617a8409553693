// unix_text.cpp: turns the words of a Windows command line into Unix ones.
#include "unix_text.h"

#include <algorithm>
#include <cctype>

namespace mpi_bridge {

namespace {

bool is_separator(char letter) {
  return letter == '\\' || letter == '/';
}

// C:\..., \\server\share or .\...
bool is_windows_path(const std::string &text) {
  if (text.size() >= 3 && std::isalpha(static_cast<unsigned char>(text[0])) != 0 &&
      text[1] == ':' && is_separator(text[2])) {
    return true;
  }
  return text.compare(0, 2, "\\\\") == 0 || text.compare(0, 2, ".\\") == 0;
}

// One path or a list of them with semicolons.
std::string unix_list(const std::string &list, const path_converter &unix_path) {
  std::string result;
  std::size_t begin = 0;
  while (begin <= list.size()) {
    const std::size_t end = std::min(list.find(';', begin), list.size());
    const std::string path = list.substr(begin, end - begin);
    if (!path.empty()) {
      result += result.empty() ? "" : ":";
      result += is_windows_path(path) ? unix_path(path) : path;
    }
    begin = end + 1;
  }
  return result;
}

}  // namespace

std::string unquoted(const std::string &text) {
  if (text.size() >= 2 && text.front() == '\'' && text.back() == '\'') {
    return text.substr(1, text.size() - 2);
  }
  return text;
}

std::string unix_text(const std::string &word, const path_converter &unix_path) {
  if (is_windows_path(unquoted(word))) {
    return unix_list(unquoted(word), unix_path);
  }
  const auto equals = word.find('=');
  if (equals != std::string::npos && is_windows_path(unquoted(word.substr(equals + 1)))) {
    return word.substr(0, equals + 1) + unix_list(unquoted(word.substr(equals + 1)), unix_path);
  }
  return word;
}

std::string shell_quoted(const std::string &word) {
  std::string result = "'";
  for (const char letter : word) {
    if (letter == '\'') {
      result += "'\\''";
    } else {
      result += letter;
    }
  }
  return result + "'";
}

}  // namespace mpi_bridge
