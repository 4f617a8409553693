// job_creation.h: creates a scheduler job at start-up and waits for its nodes.
#pragma once

#include <string>

// Creates and submits a job when an MPI run was asked for, USE_CCP names a head
// node and CCP_JOB_ID is negative; waits, without limit, until it runs. Leaves
// the identifier in CCP_JOB_ID and the command that releases the job in
// CANCEL_CCP_JOB_EXIT1. Gives back the identifier, -1 when no job was created.
// Ends the program with status 1 when the user cancels the job.
int create_scheduler_job();

// Runs a command that creates a job, shows what it prints and gives back the first
// identifier in it; -1 when there is none or the command cannot be started.
int run_job_new(const std::string &command);

// Cancels the job of CCP_JOB_ID, if there is one, and ends the program with
// status 1. The handler of Ctrl-C while the job waits.
[[noreturn]] void cancel_scheduler_job(int signal_number);
