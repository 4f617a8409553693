// question_test.cpp: the question for the head node, which answers itself in time.

#include <gtest/gtest.h>

#include "scenario_bench.h"

using namespace scenario;

namespace {

const std::string question =
    "The computer cluster head node is not provided.\n"
    "Do you want to use the local host as the head node?";
const std::string refusal = "Zephon could not be started.";

std::string given_a_launch_without_head_node() {
  given_installed_release();
  given_variable("ZEPHON_HOSTS_FILE", "hosts");  // so that the scheduler stays out of it
  return "--mpi=net " + given_solver() + " --ccp";
}

}  // namespace

TEST(HeadNodeQuestion, IsAskedInAYesNoBox) {
  const auto arguments = given_a_launch_without_head_node();
  given_box_answer(yes_button);
  const auto run = run_launcher(arguments);
  ASSERT_EQ(1U, run.boxes.size());
  EXPECT_EQ("Zephon", run.boxes[0].caption);
  EXPECT_EQ(question, run.boxes[0].text);
  ASSERT_EQ(2U, run.boxes[0].buttons.size());
  EXPECT_EQ(yes_button, run.boxes[0].buttons[0].number);
  EXPECT_EQ(no_button, run.boxes[0].buttons[1].number);
}

TEST(HeadNodeQuestion, TakesThisComputerOnYes) {
  const auto arguments = given_a_launch_without_head_node();
  given_variable("COMPUTERNAME", "HERE");
  given_box_answer(yes_button);
  EXPECT_EQ(0U, run_launcher(arguments).status);
  const auto start = only_start_of("solver.exe");
  EXPECT_EQ("HERE", start.variable("USE_CCP"));
  EXPECT_EQ(in_quotes(in_world("solver.exe")), start.command_line);
}

TEST(HeadNodeQuestion, TakesZeroOnYesWithoutAComputerName) {
  const auto arguments = given_a_launch_without_head_node();
  given_box_answer(yes_button);
  EXPECT_EQ(0U, run_launcher(arguments).status);
  EXPECT_EQ("0", only_start_of("solver.exe").variable("USE_CCP"));
}

TEST(HeadNodeQuestion, EndsTheProgramOnNo) {
  const auto arguments = given_a_launch_without_head_node();
  given_box_answer(no_button);
  given_box_answer(ok_button);
  const auto run = run_launcher(arguments);
  EXPECT_EQ(0U, run.status);
  EXPECT_TRUE(starts_of("solver.exe").empty());
  ASSERT_EQ(2U, run.boxes.size());
  EXPECT_EQ("Zephon", run.boxes[1].caption);
  EXPECT_EQ(refusal, run.boxes[1].text);
  ASSERT_EQ(1U, run.boxes[1].buttons.size());
  EXPECT_EQ(ok_button, run.boxes[1].buttons[0].number);
}

TEST(HeadNodeQuestion, CountsNoAnswerInTimeAsNo) {
  const auto arguments = given_a_launch_without_head_node();
  given_box_left_alone();  // goes after 15 seconds
  given_box_left_alone();  // goes after 3 seconds
  const auto run = run_launcher(arguments);
  EXPECT_EQ(0U, run.status);
  EXPECT_TRUE(starts_of("solver.exe").empty());
  ASSERT_EQ(2U, run.boxes.size());
  EXPECT_EQ(question, run.boxes[0].text);
  EXPECT_EQ(refusal, run.boxes[1].text);
}

TEST(HeadNodeQuestion, StaysInFrontOfOtherWindows) {
  const auto arguments = given_a_launch_without_head_node();
  given_watched_styles();
  given_box_answer(no_button);
  given_box_answer(ok_button);
  const auto run = run_launcher(arguments);
  ASSERT_EQ(2U, run.asked_boxes.size());
  EXPECT_EQ(0x40004U, run.asked_boxes[0].style);
  EXPECT_EQ(0x40000U, run.asked_boxes[1].style);
}
