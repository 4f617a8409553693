// job_watch.h: follows a scheduler job to its end and shows its output.
#pragma once

// Follows the job of scheduler_job_id and prints each change of its state: a queued
// job without limit, a running one until there have been 300 rounds, those of its
// queued time included. A job that was cancelled or failed has its output files
// printed. Returns at once without a job.
void watch_scheduler_job();

// Prints the output files of a job's first task: standard error, then standard
// output. A file that is missing prints nothing.
void print_job_output_files(int job_id);
