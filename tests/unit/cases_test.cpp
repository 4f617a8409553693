// Plays every row of tests/cases over the scripted door: in a folder without a blank in
// its name, and in one with a blank, each time for real and then as a rehearsal. Where
// these part, because a tool or a user does not answer as the rehearsal assumes, it has to
// have told the real run of the world that it assumed.
#include <gtest/gtest.h>

#include <string>

#include "cases/rehearsal.h"
#include "support/platform_stand_in.h"
#include "unit/case_player.h"

namespace {

// In a world of its own; the one before has to be in order.
cases::seen play_next(const cases::launch_case &row) {
  stand_in::check_world();
  return cases::play_scripted(row);
}

void play_in(const cases::launch_family &family, const cases::launch_case &row,
             const std::string &world) {
  const auto complete = cases::complete_row(family, row, world, platform::system_message);
  const auto real = play_next(complete);
  EXPECT_EQ("", cases::differences(complete, real)) << "in " << world;
  if (!complete.program.empty()) {
    return;
  }
  const auto rehearsed = play_next(cases::as_rehearsal(complete));
  EXPECT_EQ("", cases::faults_of_rehearsal(rehearsed)) << "in " << world;
  EXPECT_EQ(0U, stand_in::threads_started());
  if (!cases::rehearsal_differences(real, rehearsed).empty()) {
    const auto as_assumed = play_next(cases::as_assumed(complete, rehearsed));
    EXPECT_EQ("", cases::rehearsal_differences(as_assumed, rehearsed)) << "in " << world;
  }
}

class row_test : public testing::Test {
 public:
  row_test(const cases::launch_family &family, const cases::launch_case &row)
      : family_(family), row_(row) {}

 private:
  void TestBody() override {
    play_in(family_, row_, "C:\\world");
    if (row_.needs_no_blank.empty() && family_.given.needs_no_blank.empty()) {
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
