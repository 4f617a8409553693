// script.h: what a scripted tool is told to do; scripted_tool.cpp describes the language.
#pragma once

#include <cstddef>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace scripted_tool {

struct script_step {
  std::string verb;  // "out", "wait", ...
  std::string text;  // the rest of the line, without the blank after the verb
};

// One answer: its steps are played when every text of `contains` stands in the tool's command
// line and the block was played fewer than `times` times before.
struct script_block {
  std::vector<std::string> contains;
  unsigned long times = std::numeric_limits<unsigned long>::max();
  std::vector<script_step> steps;
};

struct parsed_script {
  std::vector<script_block> blocks;
  std::string fault;  // what is wrong with the script; empty: nothing
};

// Reads a script. A script with an unknown verb has a fault and is not to be played.
parsed_script parse_script(std::string_view text);

// The first block that answers this command line, given how often each block was
// played before (missing counts are 0); blocks.size() when none does.
std::size_t choose_block(const std::vector<script_block> &blocks, std::string_view command_line,
                         const std::vector<unsigned long> &played);

// The bytes that a text of the script stands for.
//   \n -> line feed   \r \t \\ likewise   \x41 -> A   any other backslash stands for itself
std::string unescape(std::string_view text);

// The other way round: a text for the script that stands for exactly these bytes.
std::string escape(std::string_view bytes);

}  // namespace scripted_tool
