// stress_main.cpp: runs the stress tests under a watchdog.

#include <gtest/gtest.h>
#include <windows.h>

#include "stress_bench.h"

namespace {

class watched_tests : public testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo &test) override { stress::feed_watchdog(test.name()); }
};

// Under Wine a message box takes two seconds to go away when no window manager
// answers for it, as on the display of a test.
void prepare_wine() {
  if (GetProcAddress(GetModuleHandleA("ntdll.dll"), "wine_get_version") != nullptr) {
    RegSetKeyValueA(HKEY_CURRENT_USER, "Software\\Wine\\AppDefaults\\stress_tests.exe\\X11 Driver",
                    "Managed", REG_SZ, "N", 2);
  }
}

}  // namespace

int main(int argc, char **argv) {
  testing::InitGoogleTest(&argc, argv);
  testing::UnitTest::GetInstance()->listeners().Append(new watched_tests);
  prepare_wine();
  stress::start_watchdog();
  const int status = RUN_ALL_TESTS();
  stress::remove_folder();
  return status;
}
