// job_state.h: asks the scheduler for the state of a job.
#pragma once

#include <string>

// The command that asks for everything about a job.
std::string job_view_command(const std::string &head, int job_id);

// Whether the state line of a job holds the wanted state, as a piece of text. A
// scheduler that cannot be asked counts as no. When `error_text` is not null and
// the answer carries an error message, that text is replaced by it: everything
// behind the line's first colon, the line end included.
bool job_state_is(const std::string &head, int job_id, const char *wanted_state,
                  std::string *error_text);
