// box_driver.h: finds, reads and presses the message boxes of other programs.
//
// A box is found as it stands on the screen, so a display is needed.
#pragma once

#include <string>
#include <vector>

namespace box_driver {

struct button {
  int number = 0;       // Windows' own: 1 OK, 2 Cancel, 6 Yes, 7 No
  std::string caption;  // without the mark of its shortcut key
};

struct message_box {
  void *window = nullptr;
  unsigned long process = 0;  // whose box it is
  std::string caption;
  std::string text;
  std::vector<button> buttons;  // from left to right
  bool icon = false;            // it shows an icon
};

// The message boxes that these processes show now, in no order.
std::vector<message_box> find_boxes(const std::vector<unsigned long> &processes);

// Presses a button by its number and comes back at once; false when the box has none
// of that number.
bool press(const message_box &box, int button_number);

// Whether the box is still on the screen.
bool is_open(const message_box &box);

}  // namespace box_driver
