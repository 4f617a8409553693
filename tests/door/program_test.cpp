// The program itself, its variables and its output, through either door.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <ctime>
#include <string>

#include "door/door.h"
#include "platform/platform.h"

namespace {

void say(const std::string &text) {
  (void)platform::write_all(platform::standard_handle(platform::standard_stream::output),
                            text.data(), text.size());
}

void end_after_functions() {
  platform::at_exit([] { say("first registered\n"); });
  platform::at_exit(
      [] { say(std::to_string(platform::status_at_exit()) + "\nlast registered\n"); });
  platform::exit_program(255);
}

void end_on_thread() {
  const auto thread = platform::start_thread([](void *) { platform::exit_program(9); }, nullptr);
  platform::sleep_ms(platform::wait_forever);
}

void end_on_two_threads() {
  platform::at_exit([] {
    say("once\n");
    platform::sleep_ms(200);
  });
  const auto thread = platform::start_thread([](void *) { platform::exit_program(9); }, nullptr);
  platform::sleep_ms(100);
  platform::exit_program(8);
}

void end_while_starting() {
  const auto thread = platform::start_thread(
      [](void *) {
        platform::start_settings settings;
        settings.handles = platform::inheritance::none;
        while (platform::start_process(door::command_of({}), settings).error == 0) {
        }
      },
      nullptr);
  platform::sleep_ms(100);
  platform::exit_program(3);
}

void take_ctrl_c() {
  (void)platform::set_interrupt_handler([](int signal) { say(std::to_string(signal)); });
  door::press_ctrl_c();
  platform::sleep_ms(1);
  say(platform::set_interrupt_handler(nullptr) == nullptr ? " once" : " again");
}

void say_on_both_streams() {
  say("out\n");
  (void)platform::write_all(platform::standard_handle(platform::standard_stream::error), "err\n",
                            4);
}

void end_in_a_function() {
  platform::at_exit([] { say(" last"); });
  platform::at_exit([] {
    say("first");
    platform::exit_program(4);
  });
  platform::exit_program(3);
}

void look_for_handles() {
  door::given_no_standard_handles();
  const bool has_one = platform::standard_handle(platform::standard_stream::output) != nullptr ||
                       platform::standard_handle(platform::standard_stream::error) != nullptr;
  platform::exit_program(has_one ? 1 : 3);
}

// ---- The program itself -------------------------------------------------------------------

TEST(DoorProgram, KnowsItsSystemAndItself) {
  EXPECT_EQ(0U, platform::windows_version() & 0x80000000UL);
  EXPECT_LE(6U, platform::windows_version() & 0xFFUL);
  EXPECT_NE(0U, platform::process_id());
  EXPECT_EQ(platform::process_id(), platform::process_id());
}

TEST(DoorProgram, KnowsTheTimeWhichDoesNotRunBack) {
  const std::time_t before = platform::current_time();
  EXPECT_LT(1'000'000'000, before);
  platform::sleep_ms(20);
  EXPECT_LE(before, platform::current_time());
}

TEST(DoorProgram, KnowsTheTimeInMicrosecondsOfTheSameClock) {
  const std::int64_t before = platform::current_microseconds();
  platform::sleep_ms(40);
  const std::int64_t after = platform::current_microseconds();
  EXPECT_LE(before + 20'000, after);
  EXPECT_LE(std::abs(after / 1'000'000 - platform::current_time()), 1);
}

TEST(DoorProgram, EndsWithItsStatusAfterTheFunctionsAtExit) {
  const door::outcome ended = door::run_program("end_after_functions");
  EXPECT_EQ("255\nlast registered\nfirst registered\n", ended.output);
  EXPECT_EQ(255U, ended.status);
}

TEST(DoorProgram, EndsOnAnyThread) {
  EXPECT_EQ(9U, door::run_program("end_on_thread").status);
}

TEST(DoorProgram, EndsOnceWhenTwoThreadsEndIt) {
  const door::outcome ended = door::run_program("end_on_two_threads");
  EXPECT_EQ("once\n", ended.output);
  EXPECT_TRUE(ended.status == 8 || ended.status == 9) << ended.status;  // whichever came first
}

TEST(DoorProgram, CallsItsHandlerOfCtrlCOnce) {
  EXPECT_EQ(std::to_string(SIGINT) + " once", door::run_program("take_ctrl_c").output);
}

TEST(DoorProgram, GivesBackTheHandlerThatWasInForce) {
  const platform::interrupt_handler handler = [](int) {};
  EXPECT_EQ(nullptr, platform::set_interrupt_handler(handler));
  EXPECT_EQ(handler, platform::set_interrupt_handler(nullptr));
  EXPECT_EQ(nullptr, platform::set_interrupt_handler(nullptr));
}

TEST(DoorMessages, EndTheirLineAndAreEmptyForAnUnknownError) {
  for (const unsigned long error : {2UL, 5UL, 87UL, 206UL}) {
    const std::string text = platform::system_message(error);
    ASSERT_LT(2U, text.size());
    EXPECT_EQ("\r\n", text.substr(text.size() - 2));
  }
  EXPECT_EQ("", platform::system_message(0x2FFFFFFFUL));
}

// ---- Environment --------------------------------------------------------------------------

// Whether the bytes are UTF-8: no lone, overlong or missing byte, no half of a pair.
bool is_utf8(const std::string &text) {
  for (std::size_t i = 0; i < text.size();) {
    const auto byte = [&](std::size_t at) {
      return at < text.size() ? static_cast<unsigned char>(text[at]) : 0U;
    };
    const unsigned lead = byte(i);
    const std::size_t more = lead < 0x80 ? 0 : lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
    if ((lead >= 0x80 && lead < 0xC2) || lead > 0xF4 || (lead == 0xE0 && byte(i + 1) < 0xA0) ||
        (lead == 0xED && byte(i + 1) > 0x9F) || (lead == 0xF0 && byte(i + 1) < 0x90)) {
      return false;
    }
    for (std::size_t next = 1; next <= more; ++next) {
      if ((byte(i + next) & 0xC0U) != 0x80U) {
        return false;
      }
    }
    i += more + 1;
  }
  return true;
}

TEST(DoorText, NoByteOfAsciiBeginsALetterOfTwo) {
  for (int byte = 0; byte < 128; ++byte) {
    EXPECT_FALSE(platform::is_lead_byte(static_cast<char>(byte))) << byte;
  }
}

TEST(DoorText, IsUtf8WhateverComesIn) {
  EXPECT_EQ("", platform::utf8_of(""));
  EXPECT_EQ(std::string("D:\a b\\c\n\0d", 11),
            platform::utf8_of(std::string("D:\a b\\c\n\0d", 11)));
  for (int first = 0; first < 256; ++first) {
    for (const int second : {0x20, 0x41, 0x7F, 0x80, 0xA0, 0xC3, 0xED, 0xFF}) {
      const std::string bytes = {static_cast<char>(first), static_cast<char>(second)};
      ASSERT_TRUE(is_utf8(platform::utf8_of(bytes))) << first << " " << second;
      ASSERT_TRUE(is_utf8(platform::utf8_of(bytes.substr(0, 1)))) << first;
    }
  }
}

TEST(DoorVariables, AreReplacedWhenSetAgainWhateverTheLetters) {
  EXPECT_EQ(0U, platform::put_variable("DOOR_TEST=1"));
  EXPECT_EQ(0U, platform::put_variable("Door_Test=a=b c"));
  EXPECT_EQ("a=b c", platform::get_variable("DOOR_TEST"));
  EXPECT_EQ("a=b c", platform::get_variable("door_test"));
  EXPECT_EQ(0U, platform::put_variable("DOOR_TEST="));
}

TEST(DoorVariables, AreRemovedByAnEmptyValue) {
  EXPECT_EQ(0U, platform::put_variable("DOOR_TEST=x"));
  EXPECT_EQ(0U, platform::put_variable("door_test="));
  EXPECT_EQ(std::nullopt, platform::get_variable("DOOR_TEST"));
  EXPECT_EQ(0U, platform::put_variable("DOOR_TEST="));  // what is not set may be removed
}

TEST(DoorVariables, KeepBytesAbove127AndLongValuesAndRefuseTooLongOnes) {
  const std::string name = "DOOR_TEST=";
  for (const std::string &value : {std::string("\xE4\xF6\xFC"), std::string(32'000, 'x')}) {
    EXPECT_EQ(0U, platform::put_variable(name + value));
    EXPECT_EQ(value, platform::get_variable("DOOR_TEST"));
  }
  EXPECT_EQ(206U, platform::put_variable(name + std::string(platform::longest_variable, 'x')));
  EXPECT_EQ(0U, platform::put_variable(name));
}

TEST(DoorVariables, RefuseATextWithoutAName) {
  EXPECT_NE(0U, platform::put_variable("=x"));
  EXPECT_NE(0U, platform::put_variable("DOOR_TEST"));
  EXPECT_EQ(std::nullopt, platform::get_variable("DOOR_TEST"));
}

// ---- Standard output and error, and commands in the launcher's own console ----------------

TEST(DoorProgram, EndsOnceMoreInAFunctionThatRunsAtItsEnd) {
  const door::outcome ended = door::run_program("end_in_a_function");
  EXPECT_EQ("first last", ended.output);
  EXPECT_EQ(4U, ended.status);
}

TEST(DoorOutput, GoesToTheStandardHandles) {
  const door::outcome ended = door::run_program("say_on_both_streams");
  EXPECT_EQ("out\n", ended.output);
  EXPECT_EQ("err\n", ended.error);
}

TEST(DoorOutput, IsNothingWithoutAHandle) {
  EXPECT_EQ(3U, door::run_program("look_for_handles").status);
}

}  // namespace

const std::map<std::string, void (*)()> door::programs = {
    {"end_after_functions", end_after_functions}, {"end_on_thread", end_on_thread},
    {"end_on_two_threads", end_on_two_threads},   {"take_ctrl_c", take_ctrl_c},
    {"say_on_both_streams", say_on_both_streams}, {"look_for_handles", look_for_handles},
    {"end_in_a_function", end_in_a_function},     {"end_while_starting", end_while_starting},
};
