// console_reader.cpp: reads the console of another process, or presses Ctrl-C there.
//
//   console_reader read PROCESS     writes the console's lines to standard output
//   console_reader press PROCESS    presses Ctrl-C in it
//
// It is a process of its own because attaching to a console changes the standard
// handles and the handling of Ctrl-C. It ends with 1 when there is no such console.

#include <windows.h>

#include <cstdlib>
#include <string>
#include <string_view>

namespace {

// The lines from the top to the cursor, without the blanks behind them.
std::string screen_text() {
  HANDLE const screen =
      CreateFileA("CONOUT$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                  nullptr, OPEN_EXISTING, 0, nullptr);
  CONSOLE_SCREEN_BUFFER_INFO about{};
  (void)GetConsoleScreenBufferInfo(screen, &about);
  std::string text;
  for (SHORT row = 0; row <= about.dwCursorPosition.Y; ++row) {
    std::string line(static_cast<std::size_t>(about.dwSize.X), ' ');
    DWORD count = 0;
    (void)ReadConsoleOutputCharacterA(screen, line.data(), static_cast<DWORD>(line.size()),
                                      COORD{0, row}, &count);
    text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
  }
  CloseHandle(screen);
  return text;
}

}  // namespace

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int) {
  const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
  (void)FreeConsole();  // Wine gives one to every program that a console program starts
  if (__argc < 3 || !AttachConsole(std::strtoul(__argv[2], nullptr, 10))) {
    return 1;
  }
  if (std::string_view(__argv[1]) == "press") {
    (void)SetConsoleCtrlHandler(nullptr, TRUE);
    return GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0) ? 0 : 1;
  }
  const std::string text = screen_text();
  DWORD written = 0;
  (void)WriteFile(output, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
  return 0;
}
