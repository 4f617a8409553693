// cases_test.cpp: plays every row of tests/cases with the real launcher, and those of
// mpirun.exe once more as a rehearsal. Most of a launch is waiting for Windows, so several
// rows are played at once, each in a world of its own.

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <thread>
#include <vector>

#include "case_player.h"
#include "cases/rehearsal.h"
#include "world_state.h"

namespace scenario {

namespace {

constexpr std::size_t rows_at_once = 6;

struct played_row {
  const cases::launch_family *family = nullptr;
  const cases::launch_case *row = nullptr;
  const testing::TestInfo *test = nullptr;
  bool done = false;
  std::string differences = {};
};

std::vector<played_row> &all_rows() {
  static std::vector<played_row> rows;
  return rows;
}

// What was seen in the world of this thread, as if it had been in another folder, by a
// launcher with another process number: that is in the names of files that it writes.
cases::seen carried(cases::seen what, const std::string &folder, const std::string &process) {
  const auto carry = [&](std::string &text) {
    text = cases::replaced(text, world().folder, folder);
    text = cases::replaced(text, "-" + what.process + ".", "-" + process + ".");
  };
  for (auto *texts : {&what.asks, &what.starts}) {
    std::for_each(texts->begin(), texts->end(), carry);
  }
  carry(what.output);
  return what;
}

// Whether nobody declined a box and no job had to be made, whose number only the scheduler
// knows: then the rehearsal assumes what really happens.
bool went_as_assumed(const cases::launch_case &row, const cases::seen &rehearsed) {
  return rehearsed.output.find(cases::assumed_job) == std::string::npos &&
         std::none_of(row.then.boxes.begin(), row.then.boxes.end(), [](const cases::box &box) {
           return box.answer == cases::no || box.answer == cases::cancel;
         });
}

// What a rehearsal of the row does that it may not do, or tells otherwise than the real run
// did it. The worlds that a rehearsal assumes are played over the scripted door alone.
std::string faults_as_rehearsal(const played_row &one, const cases::seen &real,
                                const std::string &folder_of_real) {
  make_world();
  const auto row = cases::complete_row(*one.family, *one.row, world().folder, windows_message);
  const auto rehearsed = play_for_real(cases::as_rehearsal(row));
  auto faults = cases::faults_of_rehearsal(rehearsed);
  if (rehearsed.status == real.status && went_as_assumed(row, rehearsed)) {
    faults += cases::rehearsal_differences(real, carried(rehearsed, folder_of_real, real.process));
  }
  end_world();
  return faults;
}

void play(played_row &one) {
  make_world();
  auto complete = cases::complete_row(*one.family, *one.row, world().folder, windows_message);
  // Of a program that is not there the interpreter leaves no trace.
  std::erase_if(complete.then.asks, [&](const std::string &command) {
    return std::none_of(complete.tools.begin(), complete.tools.end(), [&](const auto &tool) {
      return cases::calls(command, tool, world().folder);
    });
  });
  const auto real = play_for_real(complete);
  one.differences = cases::differences(complete, real);
  end_world();
  if (complete.program.empty()) {
    one.differences += faults_as_rehearsal(one, real, complete.world);
  }
  one.done = true;
}

// Plays this row and those behind it that this process has to play as well.
void play_from(std::size_t first) {
  auto &rows = all_rows();
  std::vector<std::thread> players;
  for (std::size_t i = first; i < rows.size() && players.size() < rows_at_once; ++i) {
    if (!rows[i].done && rows[i].test->should_run()) {
      players.emplace_back([&one = rows[i]] { play(one); });
    }
  }
  for (auto &player : players) {
    player.join();
  }
}

class row_scenario : public testing::Test {
 public:
  explicit row_scenario(std::size_t index) : index_(index) {}

 private:
  void TestBody() override {
    if (!all_rows()[index_].done) {
      play_from(index_);
    }
    EXPECT_EQ("", all_rows()[index_].differences);
  }

  std::size_t index_;
};

}  // namespace

void register_rows() {
  static const auto families = cases::all_families();
  for (const auto &family : families) {
    for (const auto &row : family.rows) {
      if (row.only_scripted.empty() && family.given.only_scripted.empty()) {
        const auto index = all_rows().size();
        all_rows().push_back({.family = &family, .row = &row});
        all_rows().back().test = testing::RegisterTest(
            (family.name + cases::case_suite_ending).c_str(), row.name.c_str(), nullptr, nullptr,
            __FILE__, __LINE__, [index]() -> testing::Test * { return new row_scenario(index); });
      }
    }
  }
}

}  // namespace scenario
