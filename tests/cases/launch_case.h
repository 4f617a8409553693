// launch_case.h: a launch of mpirun.exe, or of zprun.exe, as a row of data: the world it finds, how
// it is started, and all that it then does. README.md shows how rows are written.
//
// A row is played at two heights: over the scripted door (tests/unit/case_player.h)
// and with the real program (tests/scenario/case_player.h). Both give back what was seen,
// and differences() holds it against the row.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace cases {

using texts = std::vector<std::string>;

// What stands behind a family's name in the name of its tests.
constexpr const char *case_suite_ending = "Case";

// For `asks` and `starts`: nothing at all, where the family's default says something.
extern const texts none;

struct variable {
  std::string name = {};
  std::optional<std::string> value = {};  // nothing: it is not set
};

struct file {
  std::string path = {};
  std::optional<std::string> text = "";  // nothing: there is no such file
};

// A program that the launcher starts, and what it answers. The command is its path up
// to ".exe" and a text that has to stand behind it; the first tool that fits answers.
//   {"{mpich2}\\bin\\smpd.exe -status", "smpd running\n"}
// It lies in the world's folder, which is on PATH for a name alone: {"job.exe view"}. Behind
// a second interpreter it is the same tool.
struct tool {
  std::string command = {};
  std::string prints = {};     // \n as CR LF, unless there is a CR in it: then as it stands
  std::string complains = {};  // the same on standard error
  unsigned long status = 0;
  int times = 0;            // answers so often, then the next tool that fits; 0: always
  bool behind_box = false;  // answers when the first box is up
  bool stays = false;       // does not end, nor close its output
};

constexpr int ok = 1;
constexpr int cancel = 2;
constexpr int yes = 6;
constexpr int no = 7;
constexpr int left_alone = 0;

struct box {
  std::string text = {};
  int answer = ok;  // the button that is pressed; left_alone: nobody does
  std::string caption = "Zephon";
};

// What the launcher does: every command, line, box and file of it.
struct outcome {
  texts asks = {};          // commands for the interpreter, without "cmd.exe /c " before them
  texts starts = {};        // command lines of the programs that it starts itself
  std::string output = {};  // in text mode, as the launcher writes: each \n is CR LF
  std::string errors = {};
  std::vector<box> boxes = {};
  std::vector<file> files = {};          // those written, or without a text: removed
  std::vector<variable> variables = {};  // as the program that was started last finds them
  unsigned long status = 0;
  // Of a program for people: texts that stand in the output or the errors, and that do
  // not; with one of them, asks, output and errors need not be all that there is.
  texts says = {};
  texts says_not = {};
};

struct launch_case {
  std::string name = {};
  std::vector<variable> variables = {};
  std::vector<file> files = {};
  std::vector<tool> tools = {};
  texts arguments = {};
  outcome then = {};
  std::string only_scripted = {};   // why the real program cannot play it; empty: it can
  std::string only_real = {};       // why the scripted door cannot
  std::string needs_no_blank = {};  // why the scripted world's folder must have none
  std::string program = {};         // that is started; empty: mpirun, whose rows are rehearsed too
  std::string world = {};           // the folder in which it is played; set by complete_row
};

// Words that stand in braces for a longer text; "{"word"}" with the quotes puts it in
// quotes when it holds a blank. A later word may hold an earlier one.
using word = std::pair<std::string, std::string>;

struct launch_family {
  std::string name = {};
  std::vector<word> words = {};
  launch_case given = {};  // what a row leaves out; its arguments come before the row's
  std::vector<launch_case> rows = {};
};

// What was seen of a launch.
struct seen {
  texts asks = {};
  texts starts = {};
  std::string output = {};  // byte for byte
  std::string errors = {};
  std::vector<box> boxes = {};
  std::map<std::string, std::optional<std::string>> files = {};  // written and removed ones
  // Those that the row names, as the last program found them; nothing when none was started.
  std::optional<std::vector<variable>> variables = {};
  std::string process = {};         // the launcher's process number: what "{process}" stands for
  bool programs_in_quotes = false;  // Windows puts them around a program's path with a blank
  unsigned long status = 0;
};

// Gives Windows' own text for an error: what "{error 2}" stands for.
using message_maker = std::function<std::string(unsigned long error)>;

// The row with the family's defaults and every word written out, to be played in a folder
// that is named without a backslash at its end.
launch_case complete_row(const launch_family &family, const launch_case &row,
                         const std::string &world, const message_maker &system_message);

// What differs between a complete row and what was seen of it; empty: nothing.
std::string differences(const launch_case &row, const seen &what);

// A tool's command in two: its program, and what has to stand behind that.
struct tool_command {
  std::string program;  // its path from the world's folder on: \mpich2\bin\smpd.exe
  std::string piece;    // -status
};
tool_command split_command(const std::string &command, const std::string &world);

// Whether a command runs the tool's program, behind a second interpreter too.
bool calls(const std::string &command, const tool &tool, const std::string &world);

// The text with every occurrence of a piece replaced.
std::string replaced(std::string text, const std::string &piece, const std::string &by);

// A command line as the program finds it when Windows has put quotes around its path.
//   C:\my mpi\mpiexec.exe -np 4  ->  "C:\my mpi\mpiexec.exe" -np 4
std::string with_program_in_quotes(const std::string &line);

// A text as it stands in an output: \n as CR LF, unless there is a CR in it.
std::string as_written(const std::string &text);

// The text with its words written out.
std::string write_out(const std::vector<word> &words, std::string_view text);

// Every family, in the order of their names.
std::vector<launch_family> all_families();

}  // namespace cases
