// job_exit.h: the command that releases the job which the launcher created.
#pragma once

// Runs the command of CANCEL_CCP_JOB_EXIT1, when there is one, and removes the
// variable, so that it runs at most once.
void run_job_exit_command();
