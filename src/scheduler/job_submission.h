// job_submission.h: hands the finished launch command to the scheduler.
#pragma once

#include "core/command_line.h"

// Submits the command in the way the MPI needs, watches the job and runs the
// job-exit command. True when the run was taken over, false when the launcher is
// to start the command itself, always so without USE_CCP or with a host file.
// The command may be rewritten: its leading blanks are removed.
[[nodiscard]] bool submit_scheduler_job(command_line &command);
