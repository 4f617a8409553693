// left_jobs.h: jobs of the scheduler whose run was ended from outside (Task Manager,
// power off), so that nobody cancelled them. While a run has a job, a note in TEMP,
// zprun-job-<process>-<time>.txt, tells of it: the head node and, once it is known,
// the number.
#pragma once

#include <string>
#include <vector>

// Begins the note of this run, whose job has no number yet.
void begin_job_note(const std::string &head);

// Adds the number, when there is a note; below 1 there is still none.
void add_to_job_note(int job_id);

// The run ends by itself, and leaves no note.
void remove_job_note();

// What to tell the user of jobs that were left on this head node, a sentence each. Asks
// the scheduler about each; forgets those that have ended or that it does not know.
std::vector<std::string> find_left_jobs(const std::string &head);
