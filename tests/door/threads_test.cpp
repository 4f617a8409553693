// Threads, events, message boxes and libraries, through either door.
#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <string>

#include "door/door.h"
#include "platform/platform.h"

namespace {

constexpr unsigned long long_enough = 60'000;
constexpr int many_times = 400;

// ---- Threads and events -------------------------------------------------------------------

TEST(DoorThreads, RunTheirRoutineWithItsArgument) {
  std::atomic<int> number = 0;
  const auto started = platform::start_thread(
      [](void *argument) { *static_cast<std::atomic<int> *>(argument) = 5; }, &number);
  ASSERT_TRUE(started.thread);
  EXPECT_NE(0U, started.id);
  EXPECT_TRUE(platform::wait_for(started.thread.get(), platform::wait_forever));
  EXPECT_EQ(5, number);
}

TEST(DoorThreads, AreInterruptedInARead) {
  static platform::pipe_ends pipe;
  static std::atomic<std::size_t> got;
  pipe = *platform::create_pipe();
  got = 99;
  const auto started = platform::start_thread(
      [](void *) {
        char letter = 0;
        got = platform::read_some(pipe.read_end.get(), &letter, 1);
      },
      nullptr);
  EXPECT_FALSE(platform::wait_for(started.thread.get(), 50));
  bool ended = false;
  for (int attempt = 0; attempt < many_times && !ended; ++attempt) {
    platform::interrupt_thread(started.thread.get());
    ended = platform::wait_for(started.thread.get(), 25);
  }
  EXPECT_TRUE(ended);
  EXPECT_EQ(0U, got);
  pipe = {};
}

TEST(DoorThreads, AreNotInterruptedWhenTheyOnlyWait) {
  static std::atomic<bool> slept;
  slept = false;
  const auto started = platform::start_thread(
      [](void *) {
        platform::sleep_ms(200);
        slept = true;
      },
      nullptr);
  EXPECT_FALSE(platform::wait_for(started.thread.get(), 20));
  platform::interrupt_thread(started.thread.get());
  EXPECT_TRUE(platform::wait_for(started.thread.get(), long_enough));
  EXPECT_TRUE(slept);
}

TEST(DoorThreads, AreTerminatedWhereTheyStand) {
  const auto started =
      platform::start_thread([](void *) { platform::sleep_ms(platform::wait_forever); }, nullptr);
  EXPECT_FALSE(platform::wait_for(started.thread.get(), 50));
  platform::terminate_thread(started.thread.get());
  EXPECT_TRUE(platform::wait_for(started.thread.get(), long_enough));
  platform::terminate_thread(started.thread.get());  // it has ended
}

TEST(DoorEvents, ResetThemselvesWhenAWaitSeesThem) {
  const auto created = platform::create_event(nullptr);
  ASSERT_TRUE(created.event);
  EXPECT_EQ(0U, created.error);
  EXPECT_FALSE(platform::wait_for(created.event.get(), 0));
  platform::set_event(created.event.get());
  EXPECT_TRUE(platform::wait_for(created.event.get(), 0));
  EXPECT_FALSE(platform::wait_for(created.event.get(), 10));
}

TEST(DoorEvents, AreSetByOtherThreadsAndByProgramsThatKnowTheName) {
  static void *event;
  const std::string name = "door_tests_" + std::to_string(platform::process_id());
  const auto created = platform::create_event(name.c_str());
  event = created.event.get();
  const auto started = platform::start_thread([](void *) { platform::set_event(event); }, nullptr);
  EXPECT_TRUE(platform::wait_for(event, long_enough));
  EXPECT_TRUE(platform::wait_for(started.thread.get(), long_enough));
  door::set_event_named(name);
  EXPECT_TRUE(platform::wait_for(event, 0));
}

TEST(DoorEvents, ReportWhyTheyCannotBeCreated) {
  const std::string name = "door_tests_mutex_" + std::to_string(platform::process_id());
  door::given_name_of_no_event(name);
  const auto created = platform::create_event(name.c_str());
  EXPECT_FALSE(created.event);
  EXPECT_EQ(6U, created.error);
}

TEST(DoorWaiting, ForNothingComesBackAtOnce) {
  EXPECT_FALSE(platform::wait_for(nullptr, platform::wait_forever));
}

// ---- Message boxes ------------------------------------------------------------------------

constexpr unsigned ok = 0;
constexpr unsigned ok_cancel_with_icon = 0x41;
constexpr unsigned yes_no_on_top = 0x40004;  // has no close box

std::atomic<unsigned> box_style;
std::atomic<int> box_button;

platform::started_thread show_box(unsigned style) {
  box_style = style;
  box_button = -1;
  return platform::start_thread(
      [](void *) { box_button = platform::show_message_box("Door tests", "A box", box_style); },
      nullptr);
}

// Asks a thread's boxes to close until it has ended.
bool close_until_ended(const platform::started_thread &thread) {
  for (int attempt = 0; attempt < many_times; ++attempt) {
    if (platform::wait_for(thread.thread.get(), 25)) {
      return true;
    }
    platform::close_message_boxes(thread.id);
  }
  platform::terminate_thread(thread.thread.get());
  return false;
}

TEST(DoorBoxes, CloseWithAButtonWhenAsked) {
  for (const unsigned style : {ok, ok_cancel_with_icon, yes_no_on_top}) {
    EXPECT_TRUE(close_until_ended(show_box(style)));
    if (box_button == 0) {
      GTEST_SKIP() << "no desktop to show a message box on";
    }
    EXPECT_LT(0, box_button);
  }
}

TEST(DoorBoxes, CloseOnlyOnTheirOwnThread) {
  const auto box = show_box(ok);
  const auto other = platform::start_thread([](void *) { platform::sleep_ms(1'000); }, nullptr);
  if (platform::wait_for(box.thread.get(), 500)) {
    EXPECT_TRUE(platform::wait_for(other.thread.get(), long_enough));
    GTEST_SKIP() << "no desktop to show a message box on";
  }
  platform::close_message_boxes(other.id);
  EXPECT_FALSE(platform::wait_for(box.thread.get(), 200));
  EXPECT_TRUE(close_until_ended(box));
  EXPECT_TRUE(platform::wait_for(other.thread.get(), long_enough));
}

// ---- Libraries and network paths ----------------------------------------------------------

TEST(DoorLibraries, AreLoadedByNameAndKnowNoUniversalNameOfALocalPath) {
  EXPECT_EQ(nullptr, platform::load_system_library("no_such_library_anywhere.dll"));
  void *library = platform::load_system_library("mpr.dll");
  ASSERT_NE(nullptr, library);
  EXPECT_EQ(std::nullopt, platform::universal_name(library, "C:\\windows"));
  platform::free_library(library);
}

}  // namespace
