// scenario_main.cpp: runs the scenarios, each in a world of its own.

#include <gtest/gtest.h>
#include <windows.h>

#include <string>

#include "case_player.h"
#include "scenario_bench.h"

namespace {

class world_per_test : public testing::EmptyTestEventListener {
  // A row makes its world itself, on the thread that plays it.
  static bool is_row(const testing::TestInfo &test) {
    return std::string(test.test_suite_name()).ends_with(cases::case_suite_ending);
  }

  void OnTestStart(const testing::TestInfo &test) override {
    if (!is_row(test)) {
      scenario::make_world();
    }
  }
  void OnTestEnd(const testing::TestInfo &test) override {
    if (!is_row(test)) {
      scenario::end_world();
    }
  }
};

// Under Wine a message box takes two seconds to go away when no window manager
// answers for it, as on the display of a test. So Wine is told otherwise, for the
// programs of the tests only.
void prepare_wine() {
  if (GetProcAddress(GetModuleHandleA("ntdll.dll"), "wine_get_version") == nullptr) {
    return;
  }
  for (const std::string program : {"mpirun.exe", "mpirun_console.exe", "show_box.exe"}) {
    const auto settings = "Software\\Wine\\AppDefaults\\" + program;
    const auto windows = settings + "\\X11 Driver";
    RegSetKeyValueA(HKEY_CURRENT_USER, windows.c_str(), "Managed", REG_SZ, "N", 2);
  }
}

}  // namespace

int main(int argc, char **argv) {
  testing::InitGoogleTest(&argc, argv);
  testing::UnitTest::GetInstance()->listeners().Append(new world_per_test);
  scenario::register_rows();
  prepare_wine();
  // Under Wine the first window of all starts the desktop. It must not be started
  // by a launcher: what a launcher starts is ended with its test.
  GetDesktopWindow();
  return RUN_ALL_TESTS();
}
