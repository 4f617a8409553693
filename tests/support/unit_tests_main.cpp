// unit_tests_main.cpp: runs tests over the stand-in. Every test begins with a fresh
// launch and fails when the launcher leaves handles behind.
#include <gtest/gtest.h>

#include "support/fresh_launch.h"
#ifdef WITH_ROWS
#include "unit/case_player.h"
#endif

namespace {

void fail_the_test(const std::string &failure) {
  ADD_FAILURE() << failure;
}

class world_keeper : public testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo & /*test*/) override { stand_in::fresh_launch(); }
  void OnTestEnd(const testing::TestInfo & /*test*/) override {
    stand_in::check_world();
    stand_in::fresh_launch();
  }
};

}  // namespace

int main(int argc, char **argv) {
  testing::InitGoogleTest(&argc, argv);
  stand_in::report_failures_to(fail_the_test);
  testing::UnitTest::GetInstance()->listeners().Append(new world_keeper);  // owned by the list
#ifdef WITH_ROWS
  cases::register_rows();
#endif
  return RUN_ALL_TESTS();
}
