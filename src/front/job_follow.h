// job_follow.h: follows a job of the scheduler from its submission to its end.
#pragma once

#include <string>

// Shows the job's state while it waits, and what it writes into its output files as
// it comes. Cancels the job when the user interrupts. Gives back 0 when it finished,
// else 1.
int follow_job(const std::string &head, int job_id);

// The state of a job, such as "Running"; empty when the scheduler names none.
std::string state_of_job(const std::string &head, int job_id);

bool job_has_ended(const std::string &job_state);
