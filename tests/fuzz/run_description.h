// run_description.h: a whole run as a text: arguments, variables, files, tools
// and mishaps, a line each, so that seeds can be read and crashes understood.
//
//   arg TEXT               an argument of the launcher
//   set NAME=VALUE         a variable            unset NAME    takes one away
//   file PATH|TEXT         a file                dir PATH      a folder
//   nofile PATH            takes one away        list PATH|A|B what a folder holds
//   unreadable PATH        unwritable PATH       once PATH     gone after one opening
//   tool PIECE|FLAGS|TEXT  the next answer of the tools whose command holds PIECE;
//                          flags: xN exit code, eN error at the start, dN delay,
//                          s keeps its output open for ever, l closes it and
//                          lives on, c prints character by character
//   box N [DELAY]          the next box is answered with button N
//   nobox                  the next box gets no answer      lostbox   cannot be shown
//   drive X:|SHARE         disk BYTES            reads BYTES   windows NUMBER
//   ctrlc DELAY            block NUMBER          first         (main thread first)
//   without threads|events|pipes|interpreter|directory|streams|mpr|variables|reader
//
// \n, \r, \\ and \x00 to \xFF stand for one byte in texts. Lines that are none of
// these do nothing.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace fuzz {

struct described_run {
  std::vector<std::string> arguments;
  bool may_hang = false;    // something in it never ends
  bool has_ctrl_c = false;  // the program can end at any wait
  bool without_streams = false;
  bool refuses_variables = false;
  bool spares_files = true;  // every file can be written and stays as it is
};

// Reads the description without touching the world.
described_run read_description(std::string_view text);

// Builds the world that it describes, over a settled installation.
void build_world(std::string_view text);

}  // namespace fuzz
