// scheduler_options.h: the pieces that the scheduler's commands share: template,
// node group and flags, unit and count, working directory and output files.
#pragma once

#include <string>

#include "core/command_line.h"

// What a command makes. The options of a job are not for a task of an existing one.
enum class scheduled { job, task_only };

// Appends job template and node group, for a job, and the user's own flags, which
// are shown each time.
void append_scheduler_options(command_line &command, scheduled what);

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
void append_output_options(command_line &command);

// The ".USER" in the names of a task's output files; empty without USERNAME.
std::string output_user_part();

// Appends the tool with its `add` to a job, and the head node.
void append_added_task(command_line &command, int job_id);
void append_head_node(command_line &command, const std::string &head);

// Before a run is handed over as a task: the job of CCP_JOB_ID becomes the run's;
// for a run that becomes a job of its own the credentials are checked.
void prepare_task();

// The scheduler's command in front of an mpiexec that is handed over as a task:
// `add` to the job of CCP_JOB_ID, or else `submit` as a job of its own. A run with a
// readable host file in an existing job gets no `add` and no output options:
// mpiexec finds the job itself.
command_line build_task_command(const std::string &head, bool hosts_file_is_readable);

// Hands such a task the nodes of its job.
void append_hosts_of_job(command_line &line);
