// box_driver.cpp: finds, reads and presses the message boxes of other programs.
#include "box_driver/box_driver.h"

#include <windows.h>

#include <algorithm>
#include <string_view>

namespace box_driver {

namespace {

constexpr std::string_view box_class = "#32770";  // the class of every Windows dialog
constexpr int text_control = 0xFFFF;              // the number of a box's text
constexpr UINT answer_time = 2000;                // how long a window may take to answer, in ms

struct search {
  const std::vector<unsigned long> &processes;
  std::vector<HWND> windows;
};

std::string class_name(HWND window) {
  std::string name(256, '\0');
  name.resize(
      static_cast<std::size_t>(GetClassNameA(window, name.data(), static_cast<int>(name.size()))));
  return name;
}

// Asks the program that owns a window; 0 also when it does not answer.
std::size_t ask(HWND window, UINT question, std::size_t first = 0, void *second = nullptr) {
  DWORD_PTR answer = 0;
  const auto answered =
      SendMessageTimeoutA(window, question, first, reinterpret_cast<LPARAM>(second),
                          SMTO_ABORTIFHUNG, answer_time, &answer);
  return answered == 0 ? 0 : answer;
}

std::string window_text(HWND window) {
  std::string text(ask(window, WM_GETTEXTLENGTH) + 1, '\0');
  text.resize(std::min(ask(window, WM_GETTEXT, text.size(), text.data()), text.size() - 1));
  return text;
}

BOOL CALLBACK collect_box(HWND window, LPARAM argument) {
  auto &wanted = *reinterpret_cast<search *>(argument);
  DWORD process = 0;
  GetWindowThreadProcessId(window, &process);
  const auto &all = wanted.processes;
  if (std::find(all.begin(), all.end(), process) != all.end() && IsWindowVisible(window) &&
      class_name(window) == box_class) {
    wanted.windows.push_back(window);
  }
  return TRUE;
}

BOOL CALLBACK collect_child(HWND window, LPARAM argument) {
  reinterpret_cast<std::vector<HWND> *>(argument)->push_back(window);
  return TRUE;
}

long left_edge(HWND window) {
  RECT place = {};
  GetWindowRect(window, &place);
  return place.left;
}

std::vector<HWND> children_from_left(HWND window) {
  std::vector<HWND> children;
  EnumChildWindows(window, collect_child, reinterpret_cast<LPARAM>(&children));
  std::stable_sort(children.begin(), children.end(),
                   [](HWND one, HWND other) { return left_edge(one) < left_edge(other); });
  return children;
}

std::string without_shortcut_mark(std::string caption) {
  std::erase(caption, '&');
  return caption;
}

void read_child(message_box &box, HWND child) {
  const auto kind = class_name(child);
  const auto style = GetWindowLongPtrA(child, GWL_STYLE);
  const int number = GetDlgCtrlID(child);
  if ((style & WS_VISIBLE) == 0) {
    return;
  }
  if (kind == "Button") {
    box.buttons.push_back({number, without_shortcut_mark(window_text(child))});
  } else if (kind == "Static" && (number & 0xFFFF) == text_control) {
    box.text = window_text(child);
  } else if (kind == "Static" && (style & SS_TYPEMASK) == SS_ICON) {
    box.icon = ask(child, STM_GETICON) != 0;  // without an icon the place for it stays empty
  }
}

message_box read_box(HWND window) {
  message_box box;
  box.window = window;
  GetWindowThreadProcessId(window, &box.process);
  box.caption = window_text(window);
  for (const HWND child : children_from_left(window)) {
    read_child(box, child);
  }
  return box;
}

}  // namespace

std::vector<message_box> find_boxes(const std::vector<unsigned long> &processes) {
  search wanted = {processes, {}};
  EnumWindows(collect_box, reinterpret_cast<LPARAM>(&wanted));
  std::vector<message_box> boxes;
  for (const HWND window : wanted.windows) {
    boxes.push_back(read_box(window));
  }
  return boxes;
}

bool press(const message_box &box, int button_number) {
  const auto window = static_cast<HWND>(box.window);
  const HWND pressed = GetDlgItem(window, button_number);
  if (pressed == nullptr) {
    return false;
  }
  // Posted, not sent: a sent command would wait until the box has closed itself.
  return PostMessageA(window, WM_COMMAND, MAKEWPARAM(button_number, BN_CLICKED),
                      reinterpret_cast<LPARAM>(pressed)) != 0;
}

bool is_open(const message_box &box) {
  return IsWindow(static_cast<HWND>(box.window)) != 0;
}

}  // namespace box_driver
