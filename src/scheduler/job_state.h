// job_state.h: asks the scheduler for the state of a job.
#pragma once

#include <span>
#include <string>

// The command that asks for everything about a job.
std::string job_view_command(const std::string &head, int job_id);

// Asks once for the state of a job. Gives back the first of the names that one of the
// state lines holds, as a piece of text; null when none does, or when the scheduler
// cannot be asked. `error_text` as below.
const char *find_job_state(const std::string &head, int job_id, std::span<const char *const> names,
                           std::string *error_text);

// Whether the state line of a job holds the wanted state, as a piece of text. A
// scheduler that cannot be asked counts as no. When `error_text` is not null and
// the answer carries an error message, that text is replaced by it: everything
// behind the line's first colon, the line end included.
bool job_state_is(const std::string &head, int job_id, const char *wanted_state,
                  std::string *error_text);

// The pauses between two questions about a job, in milliseconds.
struct poll_pace {
  unsigned long next;
  unsigned long longest;
};

// The usual pause each time; with ZEPHON_JOB_POLL_LIMIT=SECONDS each is twice as
// long as the one before, up to that limit. A limit below the usual pause, or one
// that is no number, changes nothing.
poll_pace pace_of_polls(unsigned long usual_pause);

// The pause before the next question.
unsigned long next_pause(poll_pace &pace);
