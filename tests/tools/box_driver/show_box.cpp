// show_box.cpp: shows a message box, for the tests of the box driver.
//
//   show_box STYLE CAPTION TEXT    ends with the number of the button

#include <windows.h>

#include <cstdlib>

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int) {
  if (__argc != 4) {
    return 0;
  }
  const auto style = static_cast<UINT>(std::strtoul(__argv[1], nullptr, 0));
  return MessageBoxA(nullptr, __argv[3], __argv[2], style);
}
