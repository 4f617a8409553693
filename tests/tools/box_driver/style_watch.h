// style_watch.h: what a program asks of Windows when it shows a message box.
//
// The screen does not tell every style bit (Wine drops the topmost one). So a
// test can run the program under Windows' debugging calls: a breakpoint on
// MessageBoxA writes down what was passed to it, the box itself is shown as ever.
//
// The thread that starts the program, with the creation flag DEBUG_ONLY_THIS_PROCESS,
// must also be the one that follows it: Windows tells a debugged program's events
// to that thread only, and the program stands still at each event until it is followed.
#pragma once

#include <string>
#include <vector>

namespace box_driver {

struct asked_box {
  std::string caption;
  std::string text;
  unsigned style = 0;
};

struct style_watch {
  std::vector<asked_box> asked;  // every call of MessageBoxA so far
  void *process = nullptr;       // of the followed program, from its first event on
  void *breakpoint = nullptr;    // where MessageBoxA stands in it; null: not loaded yet
  unsigned char covered = 0;     // the instruction byte under the breakpoint
};

// Handles the program's events until none comes for that many milliseconds.
void follow(style_watch &watch, unsigned long milliseconds);

}  // namespace box_driver
