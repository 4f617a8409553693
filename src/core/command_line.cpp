// command_line.cpp: keeps the text of a command line and its pieces together.
#include "core/command_line.h"

#include <algorithm>

void append(command_line &line, std::string_view text, std::string_view reason) {
  if (text.empty()) {
    return;
  }
  line.text += text;
  line.pieces.push_back({std::string(text), std::string(reason)});
}

void prepend(command_line &line, const command_line &before) {
  line.text.insert(0, before.text);
  line.pieces.insert(line.pieces.begin(), before.pieces.begin(), before.pieces.end());
}

void remove_leading_blanks(command_line &line) {
  std::size_t blanks = std::min(line.text.find_first_not_of(' '), line.text.size());
  line.text.erase(0, blanks);
  while (blanks > 0 && !line.pieces.empty()) {
    std::string &first = line.pieces.front().text;
    const std::size_t here = std::min(blanks, first.size());
    first.erase(0, here);
    blanks -= here;
    if (first.empty()) {
      line.pieces.erase(line.pieces.begin());
    }
  }
}
