// job_grammar.h: what the command lines of job.exe and cluscfg.exe mean, and what is
// refused before anything is looked up.
#pragma once

#include "head_node/wire.h"

namespace head_node {

// Reads what a tool ("job", "cluscfg") was told in its arguments. The call holds
//   verb          the sub-command        job         the identifier
//   scheduler     the head node          command     the task's command line
//   unit, minimum, maximum               of the num... options; maximum may be *
// and every other option under its own name; or "refused", one line that names the cause.
//
// settings: "generation" (ccp: the oldest tools) and "command_limit"; CCP_SCHEDULER is
// the head node when the arguments name none.
fields read_call(const std::string &tool, const texts &arguments, const fields &settings);

std::string lower_case(std::string_view text);

// The number that a text of digits is, nine at most; -1 when it is anything else.
int whole_number(const std::string &text);

}  // namespace head_node
