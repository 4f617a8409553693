// script.cpp: reads the script of a scripted tool and picks the answer.
#include "scripted_tool/script.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <optional>

namespace scripted_tool {

namespace {

constexpr std::array<std::string_view, 14> verbs = {
    "out", "err",   "repeat", "pause",         "wait_file",      "make_file", "close",
    "run", "start", "handle", "run_as_window", "outlive_ctrl_c", "exit",      "ignore_ctrl_c"};

// Cuts the first line off the text; a line end of either kind is left out.
std::string_view take_line(std::string_view &text) {
  const auto end = text.find('\n');
  auto line = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  if (line.ends_with('\r')) {
    line.remove_suffix(1);
  }
  return line;
}

// The byte of "\x41" at the start of the text; nothing when none stands there.
std::optional<char> hex_byte(std::string_view text) {
  constexpr std::size_t size = 4;
  unsigned byte = 0;
  if (text.size() < size || text[1] != 'x' ||
      std::from_chars(text.data() + 2, text.data() + size, byte, 16).ptr != text.data() + size) {
    return std::nullopt;
  }
  return static_cast<char>(byte);
}

void add_line(parsed_script &script, std::string_view line) {
  const auto blank = line.find(' ');
  const auto verb = line.substr(0, blank);
  const auto text = blank == std::string_view::npos ? "" : line.substr(blank + 1);

  if (verb == "when") {
    script.blocks.emplace_back();
  }
  if (script.blocks.empty()) {
    script.blocks.emplace_back();  // steps before the first "when" answer everything
  }
  auto &block = script.blocks.back();
  if (verb == "when" || verb == "and") {
    block.contains.push_back(unescape(text));
  } else if (verb == "times") {
    block.times = std::strtoul(std::string(text).c_str(), nullptr, 10);
  } else if (std::find(verbs.begin(), verbs.end(), verb) != verbs.end()) {
    block.steps.push_back({std::string(verb), std::string(text)});
  } else {
    script.fault = "unknown verb: " + std::string(line);
  }
}

}  // namespace

parsed_script parse_script(std::string_view text) {
  parsed_script script;
  while (!text.empty()) {
    const auto line = take_line(text);
    if (!line.empty() && !line.starts_with('#')) {
      add_line(script, line);
    }
  }
  return script;
}

std::size_t choose_block(const std::vector<script_block> &blocks, std::string_view command_line,
                         const std::vector<unsigned long> &played) {
  for (std::size_t index = 0; index < blocks.size(); ++index) {
    const auto &block = blocks[index];
    const bool fits = std::all_of(
        block.contains.begin(), block.contains.end(),
        [&](const auto &text) { return command_line.find(text) != std::string_view::npos; });
    const auto before = index < played.size() ? played[index] : 0;
    if (fits && before < block.times) {
      return index;
    }
  }
  return blocks.size();
}

std::string unescape(std::string_view text) {
  std::string bytes;
  bytes.reserve(text.size());
  while (!text.empty()) {
    const char kind = text[0] == '\\' && text.size() > 1 ? text[1] : '\0';
    std::size_t used = 2;
    if (kind == 'n') {
      bytes += '\n';
    } else if (kind == 'r') {
      bytes += '\r';
    } else if (kind == 't') {
      bytes += '\t';
    } else if (kind == '\\') {
      bytes += '\\';
    } else if (const auto byte = hex_byte(text); kind == 'x' && byte) {
      bytes += *byte;
      used = 4;
    } else {
      bytes += text[0];
      used = 1;
    }
    text.remove_prefix(used);
  }
  return bytes;
}

std::string escape(std::string_view bytes) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string text;
  for (const char byte : bytes) {
    const auto code = static_cast<unsigned char>(byte);
    if (byte == '\\') {
      text += "\\\\";
    } else if (code >= 32 && code < 127) {
      text += byte;
    } else {
      text += {'\\', 'x', digits[code / 16U], digits[code % 16U]};
    }
  }
  return text;
}

}  // namespace scripted_tool
