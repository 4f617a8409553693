// cluscfg.cpp: cluscfg.exe, which plays the scheduler's tool of this name on the head node of
// the tests. README.md says what it does.
//
// It is for the GUI subsystem: it starts quicker and needs no console.
#include "head_node/tool_run.h"

// The arguments are taken as they came: this keeps mingw's start-up code from
// expanding file patterns in them.
extern "C" {
extern int _CRT_glob;
int _CRT_glob = 0;
}

int main(int argument_count, char **arguments) {
  return head_node::run_tool(
      {head_node::read_cluscfg_call,
       [](head_node::tool_generation) { return head_node::cluscfg_usage(); }},
      argument_count, arguments);
}
