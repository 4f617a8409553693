// scheduler_options.h: the pieces that the scheduler's commands share: template,
// node group and flags, unit and count, working directory and output files.
#pragma once

#include <optional>
#include <string>

// The head node that the scheduler is asked at; nothing when no scheduler is used.
std::optional<std::string> head_node();

// Appends job template and node group (not for a task of an existing job) and the
// user's own flags, which are shown each time.
void append_scheduler_options(std::string &command, bool task_only);

// The name of the option that gives the allocation, such as "numprocessors".
std::string scheduler_unit_option();

// How many of these units a job is created with: whole machines' worth of
// processors for NP_PER_NODE processes on each, at least one for each process.
int scheduler_processor_count();

// Has the scheduler's tool ask for credentials in the console, by submitting a
// trivial job, before anything is submitted that must not stop to ask.
// Gives back the status of the command interpreter.
int check_scheduler_credentials();

// Appends working directory, standard output and standard error of a task, and
// leaves the directory in std_dir. Appends nothing when there is no directory.
void append_output_options(std::string &command);

// The ".USER" in the names of a task's output files; empty without USERNAME.
std::string output_user_part();

// The scheduler's command in front of an mpiexec that is handed over as a task:
// `add` to the job of CCP_JOB_ID, whose identifier goes into scheduler_job_id, or
// else `submit` as a job of its own. A run with a readable host file in an
// existing job gets no `add` and no output options: mpiexec finds the job itself.
std::string build_task_command(const std::string &head, bool hosts_file_is_readable);
