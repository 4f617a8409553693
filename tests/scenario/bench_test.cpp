// bench_test.cpp: tests of the bench itself. Where another file starts the
// launcher, these start a scripted tool, or a little program of Windows, directly.

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <windows.h>
#include <winnetwk.h>

#include <algorithm>
#include <filesystem>
#include <set>

#include "scenario_bench.h"

using namespace scenario;

namespace {

// A tool that is started straight from the test, and followed to its end.
launch run_tool(const std::string &script, const std::string &arguments = "") {
  given_tool("tool.exe", script);
  auto run = start_program("tool.exe", "tool.exe " + arguments);
  wait_for_everything(run);
  return run;
}

std::string all_bytes() {
  std::string bytes;
  for (int code = 0; code < 256; ++code) {
    bytes += static_cast<char>(code);
  }
  return bytes;
}

// A program that shows one message box, and ends with the number of its button.
launch start_box(const std::string &style, const std::string &caption, const std::string &text) {
  std::filesystem::copy_file(built_tool("box_driver\\show_box.exe"), in_world("show_box.exe"));
  return start_program("show_box.exe",
                       "show_box.exe " + style + " \"" + caption + "\" \"" + text + "\"");
}

launch run_box(const std::string &style, const std::string &caption, const std::string &text) {
  auto run = start_box(style, caption, text);
  wait_for_everything(run);
  return run;
}

std::vector<std::string> captions(const std::vector<box_driver::button> &buttons) {
  std::vector<std::string> all;
  for (const auto &button : buttons) {
    all.push_back(button.caption);
  }
  return all;
}

owned_handle inheritable_event() {
  SECURITY_ATTRIBUTES inheritable = {sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  return owned_handle(CreateEventA(&inheritable, TRUE, FALSE, nullptr));
}

}  // namespace

TEST(Bench, MakesAFreshWorldWithABlankInItsName) {
  EXPECT_NE(std::string::npos, in_world("").find(' '));
  EXPECT_TRUE(file_text("mpirun.exe"));
  EXPECT_FALSE(file_text("left by another test"));
  given_file("left by another test");
}

TEST(Bench, MakesAnotherWorldForEachTest) {
  EXPECT_FALSE(file_text("left by another test"));
  given_file("left by another test");
}

TEST(Bench, GivesTheEnvironmentOfTheTestAndNothingElse) {
  given_variable("ZEPHON_PROD", "lumis");
  run_tool("");
  std::set<std::string> names;
  for (const auto &text : only_start_of("tool.exe").environment) {
    names.insert(text.substr(0, text.find('=', 1)));
  }
  // Wine adds variables of its own, Windows one for the current folder of each drive.
  std::erase_if(names, [](const std::string &name) {
    return name.starts_with("WINE") || name.starts_with('=');
  });
  EXPECT_EQ((std::set<std::string>{"COMSPEC", "PATH", "SystemDrive", "SystemRoot", "TEMP", "TMP",
                                   "windir", "ZEPHON_PROD"}),
            names);
}

TEST(Bench, StartsInTheCurrentFolderOfTheTest) {
  given_current_folder("some where");
  run_tool("");
  EXPECT_EQ(in_world("some where"), only_start_of("tool.exe").directory);
}

TEST(Bench, HandsOverTheCommandLineByteForByte) {
  given_tool("tool.exe");
  const std::string line = "tool  \"a b\" 'c' C:\\dir\\ \\\"q\\\" \"\"  \x80\xFF ^ %PATH% ";
  auto run = start_program("tool.exe", line);
  wait_for_everything(run);
  EXPECT_EQ(line, only_start_of("tool.exe").command_line);
}

TEST(ScriptedTool, WritesDownItsArguments) {
  run_tool("", R"("a b" C:\dir\ say\"hi\" "" *.exe ?ool.exe)");
  EXPECT_EQ((std::vector<std::string>{"tool.exe", "a b", "C:\\dir\\", "say\"hi\"", "", "*.exe",
                                      "?ool.exe"}),
            only_start_of("tool.exe").arguments);
}

TEST(ScriptedTool, IsSilentWithoutAScript) {
  const auto run = run_tool("");
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ("", run.output);
  EXPECT_EQ("", run.errors);
  EXPECT_EQ(0U, only_start_of("tool.exe").code);
}

TEST(ScriptedTool, WritesToBothStreams) {
  const auto run = run_tool("out one\\r\\n\nerr two\nout  three \n");
  EXPECT_EQ("one\r\n three ", run.output);
  EXPECT_EQ("two", run.errors);
}

TEST(ScriptedTool, KeepsTheOrderWhenItsStreamsAreJoined) {
  given_joined_output();
  const auto run = run_tool("out 1\nerr 2\nout 3\nerr 4\n");
  EXPECT_EQ("1234", run.output);
  EXPECT_EQ("", run.errors);
}

TEST(ScriptedTool, WritesEveryByte) {
  const auto run = run_tool("out " + escape(all_bytes()) + "\n");
  EXPECT_EQ(all_bytes(), run.output);
}

TEST(ScriptedTool, WritesAMegabyteWithoutALineEnd) {
  const auto run = run_tool("repeat 1048576 x\n");
  EXPECT_TRUE(run.output == std::string(1048576, 'x')) << run.output.size();
}

TEST(ScriptedTool, RepeatsLines) {
  const auto run = run_tool("repeat 3 a line\\n\n");
  EXPECT_EQ("a line\na line\na line\n", run.output);
}

TEST(ScriptedTool, EndsWithAnyExitCode) {
  EXPECT_EQ(259U, run_tool("exit 259\nout not reached\n").status);
  EXPECT_EQ(0xC0000005U, run_tool("exit 0xC0000005\n").status);
  EXPECT_EQ(0xFFFFFFFFU, run_tool("exit -1\n").status);
  EXPECT_EQ("", run_tool("exit 1\nout not reached\n").output);
}

TEST(ScriptedTool, AnswersByItsCommandLine) {
  const std::string script = R"(
when submit
and /id
out submitted
when submit
out rejected
exit 3
when
out something else
)";
  EXPECT_EQ("submitted", run_tool(script, "submit /id:4").output);
  EXPECT_EQ(3U, run_tool(script, "submit").status);
  EXPECT_EQ("something else", run_tool(script, "view").output);
}

TEST(ScriptedTool, AnswersByItsNumberOfStarts) {
  const std::string script = R"(
when view
times 2
out Queued
when view
out Running
)";
  EXPECT_EQ("Queued", run_tool(script, "view 1").output);
  EXPECT_EQ("", run_tool(script, "new").output);
  EXPECT_EQ("Queued", run_tool(script, "view 1").output);
  EXPECT_EQ("Running", run_tool(script, "view 1").output);
  EXPECT_EQ("Running", run_tool(script, "view 1").output);
}

TEST(ScriptedTool, ClosesItsOutputAndLivesOn) {
  given_tool("tool.exe", "out last words\nclose\nmake_file closed\nwait_file go\nexit 5\n");
  auto run = start_program("tool.exe", "tool.exe");
  wait_for_file(run, "closed");
  std::string piece(64, '\0');
  DWORD size = 0;
  while (ReadFile(run.output_end.get(), piece.data(), 64, &size, nullptr)) {
    run.output.append(piece, 0, size);
  }
  EXPECT_EQ(static_cast<DWORD>(ERROR_BROKEN_PIPE), GetLastError());
  EXPECT_EQ("last words", run.output);
  EXPECT_TRUE(is_running(run));
  given_file("go");
  wait_for_end(run);
  EXPECT_EQ(5U, run.status);
}

TEST(ScriptedTool, MakesAFileAndWaitsForOne) {
  given_tool("bin\\tool.exe", "make_file ready\nwait_file go\nout gone\n");
  auto run = start_program("bin\\tool.exe", "tool.exe");
  wait_for_file(run, "bin\\ready");
  EXPECT_TRUE(is_running(run));
  given_file("bin\\go");
  wait_for_end(run);
  EXPECT_EQ("gone", run.output);
}

TEST(ScriptedTool, WritesDownItsStandardHandles) {
  run_tool("");
  const auto start = only_start_of("tool.exe");
  EXPECT_EQ("pipe", start.output);
  EXPECT_EQ("pipe", start.error);
  EXPECT_EQ("character", start.input);
}

TEST(ScriptedTool, WritesDownTheHandlesItInherited) {
  std::vector<owned_handle> many;  // so that the number is one a tool has not by itself
  for (int count = 0; count < 1000; ++count) {
    many.push_back(inheritable_event());
  }
  const auto given = std::to_string(reinterpret_cast<unsigned long long>(many.back().get()));
  const auto kept = std::to_string(reinterpret_cast<unsigned long long>(many[998].get()));
  given_inherited_handle(many.back().get());
  run_tool("handle " + given + "\nhandle " + kept + "\n");
  EXPECT_EQ((std::vector<std::pair<std::string, std::string>>{{given, "other"}, {kept, "invalid"}}),
            only_start_of("tool.exe").handles);
}

TEST(ScriptedTool, KnowsTheLineOfTheInterpreterBeforeIt) {
  given_tool("bin\\tool.exe", "out here\nexit 4\n");
  const std::string line =
      "cmd.exe /c cmd.exe /c \"" + in_quotes(in_world("bin\\tool.exe")) + "  a \"b c\"\"";
  auto run = start_program(std::string(std::getenv("SystemRoot")) + "\\system32\\cmd.exe", line);
  wait_for_everything(run);
  EXPECT_EQ("here", run.output);
  EXPECT_EQ(4U, run.status);
  EXPECT_EQ(line, only_start_of("bin\\tool.exe").interpreter_line);
}

TEST(ScriptedTool, LeavesAnotherProgramRunning) {
  given_tool("slow.exe", "wait_file go\nout slow\n");
  given_tool("tool.exe", "start \"" + in_world("slow.exe") + "\"\nout quick\n");
  auto run = start_program("tool.exe", "tool.exe");
  wait_for_end(run);
  EXPECT_EQ("quick", run.output);
  given_file("go");
  wait_for_everything(run);
  EXPECT_EQ("quickslow", run.output);
}

TEST(ScriptedTool, KeepsItsLogWholeWhenManyStartTogether) {
  std::string starts;
  given_tool("tool.exe");
  for (int count = 0; count < 12; ++count) {
    starts += "start \"" + in_world("tool.exe") + "\" " + std::to_string(count) + "\n";
  }
  given_tool("starter.exe", starts);
  auto run = start_program("starter.exe", "starter.exe");
  wait_for_everything(run);
  std::vector<int> seen;
  for (const auto &start : starts_of("tool.exe")) {
    EXPECT_EQ(0U, start.code);
    seen.push_back(std::stoi(start.arguments.at(1)));
  }
  std::sort(seen.begin(), seen.end());
  EXPECT_EQ((std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}), seen);
}

TEST(ScriptedTool, HasNoEndInItsLogWhenItWasEnded) {
  given_tool("tool.exe", "wait_file never\n");
  auto run = start_program("tool.exe", "tool.exe");
  wait_for_starts(run, "tool.exe", 1);
  TerminateProcess(run.process.get(), 9);
  wait_for_end(run);
  EXPECT_EQ(9U, run.status);
  EXPECT_FALSE(only_start_of("tool.exe").code);
}

TEST(Bench, SortsTheStartsOfAllTools) {
  given_tool("one.exe");
  given_tool("two.exe", "run \"" + in_world("one.exe") + "\"\n");
  given_tool("three.exe",
             "run \"" + in_world("two.exe") + "\"\nrun \"" + in_world("one.exe") + "\"\n");
  auto run = start_program("three.exe", "three.exe");
  wait_for_everything(run);
  std::vector<std::string> order;
  for (const auto &start : all_starts()) {
    order.push_back(start.tool);
  }
  EXPECT_EQ((std::vector<std::string>{"three.exe", "two.exe", "one.exe", "one.exe"}), order);
}

TEST(Bench, FailsATestThatRunsTooLong) {
  given_tool("tool.exe", "out so far\nmake_file said\nwait_file never\n");
  auto run = start_program("tool.exe", "tool.exe");
  wait_for_file(run, "said");
  given_time_limit(50);
  EXPECT_NONFATAL_FAILURE(wait_for_end(run), "time limit reached; output so far:\nso far");
}

TEST(BoxDriver, ReadsABoxAndPressesItsButton) {
  given_box_answer(no_button);
  const auto run = run_box("4", "Zephon", "Shall it be so?");
  EXPECT_EQ(static_cast<unsigned long>(no_button), run.status);
  ASSERT_EQ(1U, run.boxes.size());
  EXPECT_EQ("Zephon", run.boxes[0].caption);
  EXPECT_EQ("Shall it be so?", run.boxes[0].text);
  EXPECT_EQ((std::vector<std::string>{"Yes", "No"}), captions(run.boxes[0].buttons));
  EXPECT_FALSE(run.boxes[0].icon);
}

TEST(BoxDriver, SeesTheIcon) {
  given_box_answer(ok_button);
  const auto run = run_box("0x40", "lumis", "Look here");
  EXPECT_EQ(static_cast<unsigned long>(ok_button), run.status);
  ASSERT_EQ(1U, run.boxes.size());
  EXPECT_EQ((std::vector<std::string>{"OK"}), captions(run.boxes[0].buttons));
  EXPECT_TRUE(run.boxes[0].icon);
}

TEST(BoxDriver, ReadsALongText) {
  given_box_answer(ok_button);
  const std::string text(20000, 'x');
  EXPECT_TRUE(text == run_box("0", "long", text).boxes.at(0).text);
}

TEST(Bench, FailsATestThatDoesNotExpectABox) {
  EXPECT_NONFATAL_FAILURE(run_box("4", "Zephon", "Who asked?"),
                          "a message box that the test does not answer: Zephon: Who asked?");
}

TEST(Bench, LeavesABoxAloneWhenItIsTold) {
  given_box_left_alone();
  auto run = start_box("0", "Zephon", "Nobody there");
  wait_for_boxes(run, 1);
  given_time_limit(100);
  EXPECT_NONFATAL_FAILURE(wait_for_end(run), "time limit reached");
}
