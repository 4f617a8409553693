// fault_matrix_test.cpp: each call of another program with each fault, and
// docs/fault-matrix.md beside it. The rules stand in fault_calls.cpp.
//
// The tools of a launch play one script: the answer with the fault among the others.
// A tool that is missing or is no program is so from the start, so these faults belong
// to the first call of a tool.

#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <cstdlib>

#include "cases/launch_case.h"
#include "fault_calls.h"
#include "fault_page.h"
#include "faulty_files.h"

using namespace scenario;

namespace {

using program_cell = matrix_cell<program_call>;

bool has_fault(const program_call &call, fault one) {
  return rule_for(call, one) != nullptr;
}

const fault_rule &rule_of(const program_cell &cell) {
  return *rule_for(*cell.of, cell.with);
}

// ---- What the tool with the fault says ----------------------------------------------------

std::string ten_megabytes() {
  const std::string line = std::string(1022, 'x') + "\r\n";
  std::string text;
  text.reserve(10240 * line.size());
  for (int count = 0; count < 10240; ++count) {
    text += line;
  }
  return text;
}

std::string all_bytes() {
  std::string bytes;
  for (int code = 0; code < 256; ++code) {
    bytes += static_cast<char>(code);
  }
  return bytes + "\r\n";
}

struct heard_text {
  std::string output, errors;
};

// What the real cmd.exe says when it is given a command of the launcher.
heard_text words_of_interpreter(const std::string &command) {
  auto run = start_program(std::string(std::getenv("SystemRoot")) + "\\system32\\cmd.exe",
                           "cmd.exe /c " + command);
  wait_for_everything(run);
  return {run.output, run.errors};
}

// A rule's text in text mode, with the interpreter's words in their places.
std::string with_complaints(const std::string &text) {
  std::string result = text_mode(text);
  for (std::size_t at; (at = result.find(complaint_mark)) != std::string::npos;) {
    const auto end = result.find('}', at);
    const auto said = words_of_interpreter(
        result.substr(at + complaint_mark.size(), end - at - complaint_mark.size()));
    result.replace(at, end + 1 - at, said.output + said.errors);
  }
  return result;
}

// Windows itself says in a box that it cannot start a program, and the launcher looks
// for some files before it asks.
bool is_asked(const program_cell &cell) {
  return !cell.of->command.empty() &&
         (cell.with == fault::no_program || !has_fault(*cell.of, fault::refused));
}

heard_text heard_of(const program_cell &cell) {
  switch (cell.with) {
    case fault::missing:
    case fault::no_program:
    case fault::refused:
      return is_asked(cell) ? words_of_interpreter(cell.of->command) : heard_text{};
    case fault::dies_in_line:
      return {cell.of->half, ""};
    case fault::ten_megabytes:
      return {ten_megabytes() + cell.of->answer, ""};
    case fault::all_bytes:
      return {all_bytes() + cell.of->answer, ""};
    case fault::exits_with_1:
    case fault::crashes:
    case fault::closes_output:
      return {cell.of->answer, ""};
    default:
      return {};
  }
}

std::string script_of(const program_cell &cell) {
  const std::string answer = "out " + escape(cell.of->answer) + "\n";
  const std::string hangs =
      "make_file {world}\\" + hanging_mark + "\nwait_file {world}\\" + go_mark + "\n";
  switch (cell.with) {
    case fault::hangs:
      return hangs;
    case fault::dies_silently:
      return "exit 0xC0000005\n";
    case fault::dies_in_line:
      return "out " + escape(cell.of->half) + "\nexit 0xC0000005\n";
    case fault::ten_megabytes:
      return "repeat 10240 " + std::string(1022, 'x') + "\\r\\n\n" + answer;
    case fault::all_bytes:
      return "out " + escape(all_bytes()) + "\n" + answer;
    case fault::exits_with_1:
      return answer + "exit 1\n";
    case fault::crashes:
      return answer + "exit 0xC0000005\n";
    case fault::closes_output:
      return answer + "close\n" + hangs;
    default:
      return "";  // it never runs
  }
}

// ---- Given --------------------------------------------------------------------------------

std::string answer_text(const tool_answer &one) {
  return "when " + one.key + "\n" + one.steps;
}

// The script of all tools: the answer with the fault among the others.
std::string script_of_all(const program_cell &cell) {
  const auto &call = *cell.of;
  std::string script;
  for (const auto &one : call.earlier) {
    script += answer_text(one);
  }
  script += "when " + call.key + "\n" + (call.once ? "times 1\n" : "") + call.first_step +
            script_of(cell);
  for (const auto &one : call.others) {
    script += answer_text(one);
  }
  script = cases::replaced(script, "{world}\\", in_world(""));
  return script;
}

// The tools of the launch; a file that may not be opened is closed as long as the
// result lives.
std::unique_ptr<unreadable_file> given_tools(const program_cell &cell) {
  const auto &call = *cell.of;
  given_tool(call.tool);
  given_script_of_all_tools(script_of_all(cell));
  if (cell.with == fault::missing || cell.with == fault::refused) {
    DeleteFileA(in_world(call.tool).c_str());
  } else if (cell.with == fault::no_program) {
    given_file(call.tool, "this is no program");
  }
  return cell.with == fault::refused ? std::make_unique<unreadable_file>(call.tool) : nullptr;
}

void given_cell(const program_cell &cell) {
  cell.of->of.given();
  if (cell.of->waits == waits_for::one_second && cell.with == fault::hangs) {
    given_variable("CCP_JOB_SUBMIT_WAIT_TIME", "1");
  }
  const auto &rule = rule_of(cell);
  for (const auto &box : rule.boxes) {
    given_box_answer(box.answer);
  }
  if (rule.wait_box) {
    given_box_left_alone();
  }
}

// ---- When ---------------------------------------------------------------------------------

void meet_box(launch &run) {
  wait_for_boxes(run, 1);
  given_file(box_mark);
}

// Whether the launcher waits for a tool that hangs, or that only has closed its output:
// the interpreter in front of it keeps that open.
bool must_wait(const program_cell &cell) {
  const auto waits = cell.of->waits;
  return cell.with == fault::hangs
             ? waits == waits_for::its_output || waits == waits_for::its_answer ||
                   waits == waits_for::its_end
             : cell.with == fault::closes_output &&
                   (waits == waits_for::its_output || waits == waits_for::its_end);
}

bool lives_on(const program_cell &cell) {
  return cell.with == fault::closes_output ||
         (cell.with == fault::hangs && cell.of->waits != waits_for::one_second);
}

launch run_cell(const program_cell &cell) {
  const auto &call = *cell.of;
  const bool has_box = rule_of(cell).wait_box || call.way == start_way::dropped;
  const bool box_comes_first = !call.first_step.empty() || call.way == start_way::dropped;

  auto run = start_launcher(call.of.arguments);
  if (has_box && box_comes_first) {
    meet_box(run);
  }
  if (lives_on(cell)) {
    wait_for_file(run, hanging_mark);
  }
  if (must_wait(cell)) {
    wait_a_moment(run);
    EXPECT_TRUE(is_running(run));
    EXPECT_GE(call.starts_before + 1, all_starts().size());  // nothing behind it
    given_file(go_mark);
  }
  if (has_box && !box_comes_first) {
    meet_box(run);
  }
  if (lives_on(cell) && !must_wait(cell)) {
    wait_for_end(run);
    given_file(go_mark);
  }
  wait_for_everything(run);
  return run;
}

// ---- Then ---------------------------------------------------------------------------------

std::string first_line_of(const std::string &text) {
  return text.substr(0, std::min(text.find('\n'), text.size() - 1) + 1);
}

std::string last_line_of(const std::string &text) {
  const auto end = text.size() > 1 ? text.rfind('\n', text.size() - 2) : std::string::npos;
  return text.substr(end == std::string::npos ? 0 : end + 1);
}

// A tool's output as the launcher reads it: CR LF is one newline.
std::string in_memory(const std::string &text) {
  std::string result;
  result.reserve(text.size());
  std::size_t start = 0;
  for (std::size_t end; (end = text.find("\r\n", start)) != std::string::npos; start = end + 2) {
    result.append(text, start, end - start).append("\n");
  }
  return result.append(text, start);
}

// What reaches the user of the tool's output, between the launcher's own words.
std::string shown_text(const program_call &call, const heard_text &heard) {
  if (call.way == start_way::console || call.way == start_way::direct) {
    return heard.output;  // not through the launcher
  }
  if (call.shown == shows::nothing || (heard.output + heard.errors).empty()) {
    return "";
  }
  const auto text = in_memory(heard.output + heard.errors);
  return text_mode(call.shown == shows::first_line ? " " + first_line_of(text) : text);
}

std::string expected_output(const program_cell &cell, const heard_text &heard) {
  const auto &call = *cell.of;
  const bool limited = call.waits == waits_for::one_second && cell.with == fault::hangs;
  return text_mode(limited ? "\nCCP_JOB_SUBMIT_WAIT_TIME = 1\n" : call.before) +
         shown_text(call, heard) + with_complaints(rule_of(cell).after);
}

std::string expected_errors(const program_cell &cell, const heard_text &heard) {
  const bool in_pipe = cell.of->way == start_way::runner;
  return (in_pipe ? "" : heard.errors) + with_complaints(rule_of(cell).errors);
}

// Windows' message for a command that it does not start, given as the launcher gives it.
std::string refusal_of(std::string command) {
  STARTUPINFOA startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION started = {};
  SetCurrentDirectoryA(in_world("work").c_str());
  const bool starts = CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr,
                                     nullptr, &startup, &started) != 0;
  const DWORD error = GetLastError();
  SetCurrentDirectoryA("C:\\");
  EXPECT_FALSE(starts) << command;
  return windows_message(error);
}

void expect_boxes(const program_cell &cell, const heard_text &heard, const launch &run) {
  const auto &rule = rule_of(cell);
  ASSERT_EQ(rule.boxes.size() + (rule.wait_box ? 1 : 0), run.boxes.size());
  for (std::size_t index = 0; index < rule.boxes.size(); ++index) {
    auto expected = rule.boxes[index].text;
    if (expected.find("{windows}") != std::string::npos) {
      expected = cases::replaced(expected, "{windows}", refusal_of("..\\" + cell.of->tool));
    } else if (expected.find('{') != std::string::npos) {
      const auto text = in_memory(heard.output + heard.errors);
      expected = cases::replaced(expected, "{first line}", first_line_of(text));
      expected = cases::replaced(expected, "{last line}", last_line_of(text));
    }
    EXPECT_EQ(rule.boxes[index].caption, run.boxes[index].caption);
    EXPECT_EQ(expected, run.boxes[index].text);
  }
}

const std::vector<std::pair<std::string, std::string>> step_names = {
    {"Credential Check", "`job submit ... cmd.exe /C ver`"},
    {"-ccp_job", "the same in the console"},
    {"job new", "`job new`"},
    {"job add", "`job add`"},
    {"job submit", "`job submit`"},
    {"job view", "`job view`"},
    {"job modify", "`job modify`"},
    {"job cancel", "`job cancel`"},
    {"listenvs", "`cluscfg listenvs`"},
    {"-status", "`smpd -status`"},
    {"-d 0", "`smpd -d 0`"},
    {"-validate", "`mpiexec -validate`"},
    {"-register", "`mpiexec -register`"},
    {"-version", "`smpd -version`"},
    {"-install", "`smpd -install`"},
    {"-pwcheck", "`mpirun -pwcheck`"},
    {"-cache", "`mpirun -cache`"},
    {"setup.exe", "`setup.exe`"},
};

std::string step_name(const std::string &command_line) {
  for (const auto &[key, name] : step_names) {
    if (command_line.find(key) != std::string::npos) {
      return name;
    }
  }
  return "the launch";
}

std::string hosts_in(const std::string &machine_file) {
  auto text = file_text(machine_file).value_or("(none)");
  if (text.empty()) {
    return "empty";
  }
  text = cases::replaced(text, "\r\n", " ");
  return text.substr(0, text.size() - 1);
}

// Whether the call with the fault has this command line; a tool that is ended early may
// have none.
bool is_start_of(const program_call &call, const std::string &command_line) {
  return command_line.find(call.key) != std::string::npos &&
         std::none_of(call.earlier.begin(), call.earlier.end(), [&](const tool_answer &other) {
           return command_line.find(other.key) != std::string::npos;
         });
}

// What was started behind the call with the fault, the same in a row only once.
std::vector<std::string> steps_behind(const program_cell &cell) {
  const auto &call = *cell.of;
  auto starts = all_starts();
  starts.erase(starts.begin(), starts.begin() + static_cast<std::ptrdiff_t>(
                                                    std::min(call.starts_before, starts.size())));
  const auto it = std::find_if(starts.begin(), starts.end(), [&](const tool_start &start) {
    return is_start_of(call, start.command_line);
  });
  if (it != starts.end()) {
    starts.erase(it);
  }
  std::vector<std::string> steps;
  if (!call.machine_file.empty()) {
    steps.push_back("machine file: " + hosts_in(call.machine_file));
  }
  for (const auto &start : starts) {
    steps.push_back(step_name(start.command_line));
  }
  steps.erase(std::unique(steps.begin(), steps.end()), steps.end());
  return steps;
}

// ---- In the page's words ------------------------------------------------------------------

std::string shown_words(const program_call &call, const heard_text &heard) {
  if (call.way == start_way::dropped) {
    return heard.errors.empty() ? "nothing" : "its standard error";
  }
  if ((heard.output + heard.errors).empty() || call.way == start_way::detached) {
    return "nothing";
  }
  switch (call.shown) {
    case shows::nothing:
      return "nothing";
    case shows::first_line:
      return "its first line";
    case shows::everything:
      return "all of it";
  }
  return "";
}

// A text of the launcher with the call's command and the interpreter's words left out.
std::string without_command(std::string text, const program_call &call) {
  if (const auto at = text.find(complaint_mark); at != std::string::npos) {
    text.replace(at, text.find('}', at) + 1 - at, "<the interpreter's words>\n");
  }
  if (!call.command.empty()) {
    text = cases::replaced(text, call.command, "<command>");
  }
  return text;
}

std::string box_words(const expected_box &box, const program_call &call) {
  auto text = without_command(box.text, call);
  text = cases::replaced(text, "{first line}", "<first line>");
  text = cases::replaced(text, "{last line}", "<last line>");
  text = cases::replaced(text, "{windows}", "<Windows' message>\n");
  for (const unsigned long error : {2UL, 193UL}) {
    text = cases::replaced(text, windows_message(error), "<Windows' message>\n");
  }
  // A long text is known by its first line.
  constexpr std::ptrdiff_t most_lines = 3;
  const bool is_long = std::count(text.begin(), text.end(), '\n') > most_lines;
  const auto lines = quoted_lines(is_long ? text.substr(0, text.find('\n', 1)) + " ..." : text);
  return "a box: " + (lines.empty() ? "without a text" : lines);
}

std::string said_words(const program_cell &cell) {
  const auto &rule = rule_of(cell);
  std::vector<std::string> said;
  for (const auto &text : {rule.after, rule.errors}) {
    const auto lines = quoted_lines(without_command(text, *cell.of));
    if (!lines.empty()) {
      said.push_back(lines);
    }
  }
  if (rule.wait_box) {
    said.emplace_back("the wait box");
  }
  for (const auto &box : rule.boxes) {
    said.push_back(box_words(box, *cell.of));
  }
  return listed(said);
}

std::string status_words(const program_cell &cell) {
  const auto status = std::to_string(rule_of(cell).status);
  if (cell.with == fault::hangs && cell.of->waits == waits_for::one_second) {
    return "waits for the time limit; " + status;
  }
  return must_wait(cell) ? "waits; " + status : status;
}

// ---- The tests ----------------------------------------------------------------------------

class ProgramFault : public testing::TestWithParam<program_cell> {};

TEST_P(ProgramFault, HasItsOutcome) {
  const auto &cell = GetParam();
  given_cell(cell);
  const auto closed_tool = given_tools(cell);
  const auto run = run_cell(cell);
  const auto steps = steps_behind(cell);
  const auto heard = heard_of(cell);

  const auto &rule = rule_of(cell);
  const auto output = expected_output(cell, heard);
  const auto &seen = run.output;
  EXPECT_EQ(rule.status, run.status);
  EXPECT_TRUE(output == seen) << output.size()
                              << " bytes expected: " << escape(output.substr(0, 2000)) << "\n"
                              << seen.size() << " bytes came: " << escape(seen.substr(0, 2000));
  EXPECT_EQ(expected_errors(cell, heard), run.errors);
  expect_boxes(cell, heard, run);
  EXPECT_EQ(rule.then, steps);
  if (!HasFailure()) {
    compare_with_page(
        cell.of->heading, words_of(cell.with).page,
        {shown_words(*cell.of, heard), said_words(cell), listed(rule.then), status_words(cell)});
  }
}

INSTANTIATE_TEST_SUITE_P(Faults, ProgramFault, testing::ValuesIn(cells_of(program_calls())),
                         [](const auto &row) { return test_name(row.param); });

}  // namespace

namespace scenario {

std::vector<page_section> program_sections() {
  return sections_of(program_calls(), {"Shown", "Says", "Then", "Status"});
}

}  // namespace scenario

TEST(FaultPage, HoldsTheOutcomesAndNothingElse) {
  compare_rest_of_page();
}
