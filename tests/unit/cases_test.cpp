// Plays every row of tests/cases over the scripted door: in a folder without a blank in
// its name, and in one with a blank.
#include <gtest/gtest.h>

#include <string>

#include "support/platform_stand_in.h"
#include "unit/case_player.h"

namespace {

void play_in(const cases::launch_family &family, const cases::launch_case &row,
             const std::string &world) {
  const auto complete = cases::complete_row(family, row, world, platform::system_message);
  EXPECT_EQ("", cases::differences(complete, cases::play_scripted(complete))) << "in " << world;
}

class row_test : public testing::Test {
 public:
  row_test(const cases::launch_family &family, const cases::launch_case &row)
      : family_(family), row_(row) {}

 private:
  void TestBody() override {
    play_in(family_, row_, "C:\\world");
    if (row_.needs_no_blank.empty() && family_.given.needs_no_blank.empty()) {
      stand_in::check_world();
      play_in(family_, row_, "C:\\my world");
    }
  }

  const cases::launch_family &family_;
  const cases::launch_case &row_;
};

}  // namespace

void cases::register_rows() {
  static const auto families = cases::all_families();
  for (const auto &family : families) {
    for (const auto &row : family.rows) {
      if (row.only_real.empty()) {
        testing::RegisterTest((family.name + case_suite_ending).c_str(), row.name.c_str(), nullptr,
                              nullptr, __FILE__, __LINE__,
                              [&]() -> testing::Test * { return new row_test(family, row); });
      }
    }
  }
}
