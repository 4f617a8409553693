// exit_status.h: every status that the launcher ends with.
//
// With ZEPHON_EXIT_STATUS=solver the solver's own takes the place of the normal end:
// the exit code of the program that was started and waited for, 1 for a job that
// failed or was cancelled.
#pragma once

constexpr int exit_normal = 0;            // also when the solver failed or the user declined
constexpr int exit_usage = 1;             // started without an argument
constexpr int exit_installer_failed = 1;  // the service could not be installed
constexpr int exit_job_cancelled = 1;     // the start-up job was cancelled
constexpr int exit_config_fault = 2;      // something that the run needs is missing
constexpr int exit_no_credential = 3;     // the password is not available
constexpr int exit_wrong_password = 4;    // the password was wrong three times
constexpr int exit_interrupted = 130;     // zprun: Ctrl-C ended the run
constexpr int exit_cannot_list = 254;     // the releases cannot be listed
constexpr int exit_cannot_launch = 255;   // the launch command cannot be started
constexpr int exit_job_failed = 1;        // only when the solver's status is wanted

// Whether the caller asked for the solver's status.
bool solver_status_is_wanted();

// The status of a run that came to its end: exit_normal, or the solver's.
int status_at_the_end();
