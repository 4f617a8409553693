// fault_calls.h: every call of another program that the launcher makes, what can
// go wrong with it, and what the rules say the launcher then does.
#pragma once

#include <string>
#include <vector>

#include "fault_page.h"
#include "scenario_bench.h"

namespace scenario {

// How a program is started, and so whose words reach the user on which way.
enum class start_way {
  runner,   // hidden, behind cmd.exe, its output read through a pipe
  console,  // behind cmd.exe, in the launcher's own console
  dropped,  // behind cmd.exe, its output read and dropped
  direct,   // itself, with the launcher's own handles
  detached  // itself, without handles
};

enum class waits_for { its_output, its_answer, its_end, nothing, one_second };

enum class shows { nothing, first_line, everything };

struct expected_box {
  std::string caption, text;
  int answer = ok_button;
};

// Stands in a rule's text for what the interpreter says of a command whose program is not
// there, or is none.
const std::string complaint_mark = "{complaint of ";
std::string complaint_of(const std::string &command);

// What the launcher does in some cases. The texts are its own, in text mode.
struct fault_rule {
  std::vector<fault> when;
  std::vector<std::string> then;  // what it starts next, in the page's words
  std::string after = "";         // its words on standard output, behind what it shows
  std::string errors = "";        // ... and on standard error
  std::vector<expected_box> boxes = {};
  unsigned long status = 0;
  bool wait_box = false;  // the box of the wait for nodes appears
};

// What stand-ins for the other tools of the same launch answer.
struct tool_answer {
  std::string key;    // stands in the command line
  std::string steps;  // script lines
};

struct program_call {
  std::string name;     // of its tests
  std::string heading;  // on the page
  std::string about;
  call_world of;
  start_way way = start_way::runner;
  waits_for waits = waits_for::its_output;
  shows shown = shows::nothing;
  std::string key;               // stands in its command line, and in no other of the launch
  std::string command;           // what the interpreter is given
  std::string tool = "job.exe";  // its file in the world; in order when it has run before
  std::string answer;            // what it says when all is well
  std::string half;              // ... when it dies in the middle of a line
  std::string before = "";  // the launcher's words on standard output in front of what it shows
  std::vector<tool_answer> earlier = {};  // these go before the answer with the fault
  std::vector<tool_answer> others = {};
  std::size_t starts_before = 0;  // how many programs are started before it
  std::string first_step = "";    // script line in front of every answer
  bool once = false;              // only its first call has the fault
  std::string machine_file = "";  // a file whose hosts are told on the page
  std::vector<fault_rule> rules;
};

const std::vector<program_call> &program_calls();

// Where a tool and the test keep in step.
const std::string hanging_mark = "hanging";  // the tool hangs
const std::string go_mark = "go";            // it may end
const std::string box_mark = "box_seen";     // the wait box was met

}  // namespace scenario
