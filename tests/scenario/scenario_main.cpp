// scenario_main.cpp: runs the scenarios, each in a world of its own.

#include <gtest/gtest.h>
#include <windows.h>

#include <string>

#include "scenario_bench.h"

namespace {

class world_per_test : public testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo &) override { scenario::make_world(); }
  void OnTestEnd(const testing::TestInfo &) override { scenario::end_world(); }
};

// Under Wine a message box takes two seconds to go away when no window manager
// answers for it, as on the display of a test. So Wine is told, for the programs
// whose boxes are tested, that there is none.
void tell_wine_of_the_bare_display() {
  if (GetProcAddress(GetModuleHandleA("ntdll.dll"), "wine_get_version") == nullptr) {
    return;
  }
  for (const std::string program : {"mpirun.exe", "mpirun_console.exe", "show_box.exe"}) {
    const auto key = "Software\\Wine\\AppDefaults\\" + program + "\\X11 Driver";
    RegSetKeyValueA(HKEY_CURRENT_USER, key.c_str(), "Managed", REG_SZ, "N", 2);
  }
}

}  // namespace

int main(int argc, char **argv) {
  testing::InitGoogleTest(&argc, argv);
  testing::UnitTest::GetInstance()->listeners().Append(new world_per_test);
  tell_wine_of_the_bare_display();
  // Under Wine the first window of all starts the desktop. It must not be started
  // by a launcher: what a launcher starts is ended with its test.
  GetDesktopWindow();
  return RUN_ALL_TESTS();
}
