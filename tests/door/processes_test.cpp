// Programs that are started, through either door.
#include <gtest/gtest.h>

#include <string>

#include "door/door.h"
#include "platform/platform.h"

namespace {

using door::command_of;
using platform::inheritance;
using platform::start_settings;

constexpr unsigned long long_time = 600'000;  // a child that is ended from outside
constexpr unsigned long long_enough = 60'000;

// Output into a pipe's write end.
start_settings into(const platform::pipe_ends &pipe, inheritance handles = inheritance::all) {
  start_settings settings;
  settings.give_standard_handles = true;
  settings.output = pipe.write_end.get();
  settings.handles = handles;
  return settings;
}

start_settings with(inheritance handles) {
  start_settings settings;
  settings.handles = handles;
  return settings;
}

TEST(DoorProcesses, PrintIntoAPipeAndEndWithTheirCode) {
  const door::ended_child ended =
      door::run(command_of({.output = "out", .error = "err", .status = 0xC0000005UL}));
  EXPECT_EQ("outerr", ended.output);
  EXPECT_EQ(0xC0000005UL, ended.status);
}

TEST(DoorProcesses, ArriveWithMegabytesOfOutput) {
  const std::string command =
      command_of({.output = std::string(1'000, 'x'), .times = 2'000, .last_words = "end"});
  const door::ended_child ended = door::run(command, with(inheritance::listed));
  EXPECT_EQ(2'000'003U, ended.output.size());
  EXPECT_TRUE(ended.output.ends_with("xend"));
}

TEST(DoorProcesses, ReportWhyTheyCannotBeStarted) {
  const auto missing = platform::start_process("no_such_program_anywhere.exe", {});
  EXPECT_FALSE(missing.process);
  EXPECT_EQ(2U, missing.error);
  EXPECT_NE(0U, platform::start_process("", {}).error);
  EXPECT_EQ(2U, platform::start_process(" " + command_of({}), {}).error);
}

TEST(DoorProcesses, ExistWhereTheyCanBeStarted) {
  EXPECT_TRUE(platform::program_exists(command_of({})));
  for (const char *command :
       {"", "no_such_program_anywhere.exe 1", "C:\\ 1", "\"no_such_program\" cmd.exe"}) {
    EXPECT_FALSE(platform::program_exists(command)) << command;
  }
}

TEST(DoorProcesses, TakeALongCommandLineAndRefuseATooLongOne) {
  std::string command = command_of({.output = "x"}) + " ";
  command.append(32'000 - command.size(), 'x');
  EXPECT_EQ("x", door::run(command).output);
  command.append(platform::longest_command_line + 1 - command.size(), 'x');
  EXPECT_EQ(206U, door::run(command).error);
  command.pop_back();
  EXPECT_EQ("x", door::run(command).output);
}

TEST(DoorProcesses, OfTheInterpreterTellWhatItDoesNotKnow) {
  const door::ended_child ended = door::interpret("no_such_program_anywhere");
  EXPECT_NE(std::string::npos, ended.output.find("no_such_program_anywhere"));
  EXPECT_NE(0U, ended.status);
}

TEST(DoorProcesses, RunBehindTheSystemsOwnInterpreter) {
  const std::string command = command_of({.output = "x", .status = 7});
  const auto path = platform::get_variable("PATH");
  EXPECT_EQ(0U, platform::put_variable("COMSPEC=C:\\no\\such\\interpreter.exe"));
  EXPECT_EQ(0U, platform::put_variable("PATH=C:\\no\\such\\folder"));
  const door::ended_child ended = door::interpret(command);
  EXPECT_EQ(0U, platform::put_variable("PATH=" + path.value_or("")));
  EXPECT_EQ("x", ended.output);
  EXPECT_EQ(7U, ended.status);
}

TEST(DoorProcesses, AreActiveUntilTheyEnd) {
  const auto started = platform::start_process(command_of({.stays = long_time}), {});
  ASSERT_TRUE(started.process);
  EXPECT_NE(0U, started.id);
  EXPECT_FALSE(platform::wait_for(started.process.get(), 0));
  EXPECT_EQ(platform::process_still_active, platform::exit_code(started.process.get()));
  platform::terminate_process(started.process.get(), 7);
  EXPECT_TRUE(platform::wait_for(started.process.get(), long_enough));
  EXPECT_EQ(7U, platform::exit_code(started.process.get()));
  platform::terminate_process(started.process.get(), 8);  // it has ended
  EXPECT_EQ(7U, platform::exit_code(started.process.get()));
}

TEST(DoorProcesses, GoOnWithoutTheInterpreterThatStartedThem) {
  auto pipe = platform::create_pipe();
  start_settings settings = into(*pipe);
  settings.is_interpreter = true;
  const auto started = platform::start_process(
      door::interpreter_line(command_of({.output = "1", .stays = 300, .last_words = "2"})),
      settings);
  pipe->write_end.reset();
  char letter = 0;
  EXPECT_EQ(1U, platform::read_some(pipe->read_end.get(), &letter, 1));
  platform::terminate_process(started.process.get(), 9);
  EXPECT_TRUE(platform::wait_for(started.process.get(), long_enough));
  EXPECT_EQ(9U, platform::exit_code(started.process.get()));
  EXPECT_EQ("2", door::read_to_end(pipe->read_end.get()));
}

TEST(DoorProcesses, EndWithAllThatTheyStartedAsAGroup) {
  auto pipe = platform::create_pipe();
  start_settings settings = into(*pipe);
  settings.grouped = true;
  settings.is_interpreter = true;
  const auto started = platform::start_process(
      door::interpreter_line(command_of({.output = "1", .stays = long_time, .last_words = "2"})),
      settings);
  ASSERT_TRUE(started.group);
  pipe->write_end.reset();
  char letter = 0;
  EXPECT_EQ(1U, platform::read_some(pipe->read_end.get(), &letter, 1));
  platform::terminate_group(started.group.get(), 9);
  EXPECT_EQ("", door::read_to_end(pipe->read_end.get()));  // ends only when the last one has
  EXPECT_TRUE(platform::wait_for(started.process.get(), long_enough));
  EXPECT_EQ(9U, platform::exit_code(started.process.get()));
}

TEST(DoorProcesses, HaveAGroupOnlyWhenAsked) {
  EXPECT_FALSE(platform::start_process(command_of({}), {}).group);
}

TEST(DoorProcesses, HaveAProcessorTimeWithAllThatTheyStarted) {
  start_settings settings;
  settings.grouped = true;
  settings.is_interpreter = true;
  const auto started = platform::start_process(door::interpreter_line(command_of({})), settings);
  ASSERT_TRUE(started.group);
  EXPECT_TRUE(platform::wait_for(started.process.get(), long_enough));
  const auto own = platform::processor_time(started.process.get());
  const auto all = platform::group_processor_time(started.group.get());
  ASSERT_TRUE(own && all);
  EXPECT_TRUE(*own <= *all || *all == 0);  // Wine counts nothing
  EXPECT_FALSE(platform::group_processor_time(platform::create_event(nullptr).event.get()));
}

TEST(DoorProcesses, HaveAProcessorTimeAndOthersHaveNone) {
  const auto started = platform::start_process(command_of({}), {});
  EXPECT_TRUE(platform::wait_for(started.process.get(), long_enough));
  EXPECT_TRUE(platform::processor_time(started.process.get()));
  EXPECT_FALSE(platform::processor_time(platform::create_event(nullptr).event.get()));
}

TEST(DoorProcesses, AreStartedAsTheSettingsSay) {
  start_settings settings;
  // Without a title of its own it has the one that Windows thinks of.
  EXPECT_TRUE(door::seen_by_child(settings).ends_with("\nshown\nno input\n(not set)\n"));
  settings.hidden = true;
  settings.title = "A title";
  // A program without SystemRoot may not start at all.
  const std::string root = platform::get_variable("SystemRoot").value_or("C:\\windows");
  const std::string block =
      "DOOR_TEST=block" + std::string(1, '\0') + "SystemRoot=" + root + std::string(2, '\0');
  settings.environment = block.c_str();
  EXPECT_EQ("title=A title\nhidden\nno input\nblock\n", door::seen_by_child(settings));
}

TEST(DoorProcesses, RunDetached) {
  start_settings settings = with(inheritance::listed);
  settings.detached = true;
  EXPECT_EQ("x", door::run(command_of({.output = "x"}), settings).output);
}

// ---- What they inherit --------------------------------------------------------------------

// Whether a child that stays keeps one of our pipes open, which is not its output.
bool child_keeps_pipe_open(const start_settings &settings) {
  static platform::pipe_ends pipe;
  pipe = *platform::create_pipe();
  const auto started = platform::start_process(command_of({.stays = long_time}), settings);
  EXPECT_TRUE(started.process);
  pipe.write_end.reset();
  const auto reader =
      platform::start_thread([](void *) { (void)door::read_to_end(pipe.read_end.get()); }, nullptr);
  const bool is_open = !platform::wait_for(reader.thread.get(), 500);
  platform::terminate_process(started.process.get(), 0);
  EXPECT_TRUE(platform::wait_for(reader.thread.get(), long_enough));
  pipe.read_end.reset();
  return is_open;
}

TEST(DoorInheritance, HandsOnWhatIsInheritableOnlyWhenAllIsAskedFor) {
  const auto output = platform::create_pipe();
  EXPECT_TRUE(child_keeps_pipe_open(with(inheritance::all)));
  EXPECT_FALSE(child_keeps_pipe_open(with(inheritance::none)));
  EXPECT_FALSE(child_keeps_pipe_open(with(inheritance::listed)));
  EXPECT_FALSE(child_keeps_pipe_open(into(*output, inheritance::listed)));
}

TEST(DoorInheritance, OfListedHandlesTakesTheSameHandleTwiceAndNone) {
  EXPECT_EQ("xy",
            door::run(command_of({.output = "x", .error = "y"}), with(inheritance::listed)).output);
  auto pipe = platform::create_pipe();
  EXPECT_TRUE(platform::start_process(command_of({.output = "x", .error = "y"}),
                                      into(*pipe, inheritance::listed))
                  .process);
  pipe->write_end.reset();
  EXPECT_EQ("x", door::read_to_end(pipe->read_end.get()));
}

// ---- Shared memory ------------------------------------------------------------------------

TEST(DoorSharedMemory, TakesANumberAndIsLeftAloneOtherwise) {
  const std::uint64_t block = door::make_shared_block();
  platform::write_shared_number(block, 4711);
  platform::write_shared_number(0, 1);
  platform::write_shared_number(~std::uint64_t{0}, 1);
  const auto event = platform::create_event(nullptr);
  platform::write_shared_number(reinterpret_cast<std::uintptr_t>(event.event.get()), 1);
  EXPECT_EQ(4711U, door::number_in_shared_block(block));
}

}  // namespace
