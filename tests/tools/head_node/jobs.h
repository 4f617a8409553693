// jobs.h: the head node's jobs: what state each is in, what a call does to it, and
// what is printed. Knows neither sockets nor Slurm: what is to be done outside is put
// on a list, and what happens there comes back as an event.
#pragma once

#include "head_node/wire.h"

namespace head_node {

struct node {
  std::string name;
  int cores = 0;  // all of them on one socket
};

// Cores of one node that a job or a task has.
struct share {
  std::string node;
  int cores = 0;
};

struct task {
  fields options;            // as "add" or "submit" gave them
  std::vector<share> cores;  // empty: it waits for some
  double runs_from = 0;
  std::string end_state;  // Finished or Failed; empty: it has not ended
  std::string exit_code;  // empty: it has none
  std::string message;    // why it failed
};

// Times are seconds of the clock that the events carry.
struct job {
  fields options;  // as "new" or "submit" and "modify" gave them
  std::vector<task> tasks;
  bool submitted = false;
  double runs_from = 0;      // Queued until then, and for as long as it has no nodes
  std::string slurm_id;      // empty: Slurm does not have it
  std::vector<share> nodes;  // its allocation; empty: none
  std::vector<share> free;   // what no task has of it
  std::string end_state;     // Finished, Failed or Canceled; empty: it has not ended
  double ended = 0;          // in that state from then on
  std::string message;       // why it failed or was canceled
};

struct job_list {
  std::vector<node> cluster;
  std::map<int, job> jobs;
  int last_id = 0;

  // What is to be done outside, in this order. "do" is
  //   allocate  job, arguments    give it to sbatch with these
  //   start     job, task, node, delay (seconds)
  //   release   job               it has ended: give its nodes back, or its place in the queue
  //   fail, cancel, lose          job, delay: the fault of this name
  std::vector<fields> to_do;
};

struct answer {
  std::string output;  // lines end with a carriage return and a line feed
  std::string error;   // one line; not empty: refused, and nothing has changed
};

answer failure(const std::string &reason);

// Lets something happen. The event holds "verb", "time", the settings, and
//   new, add, submit, modify, cancel   what read_call read, and faults as fault_<name>
//   slurm         job, slurm_id        sbatch has taken it; "error": it has not
//   allocated                          job, slurm_id, nodes (NODE01 2 NODE02 2)
//   task_ended                         job, task, exit_code, message
//   job_ended                          job, state (Slurm's word)
answer happen(job_list &list, const fields &event);

// What "view" prints. task_output gives what a task has printed.
answer view(const job_list &list, const fields &call, double now,
            std::string (*task_output)(const std::string &task));

// What starts a task on its node: command, workdir, stdout, stderr, then its variables.
texts start_of(const job_list &list, int job_id, std::size_t task_number, const fields &settings);

// What "listenvs" prints, and the cluster's own variables, changed and added to by a
// file of NAME=VALUE lines.
answer listenvs(const fields &settings, const std::string &cluster_environment);
fields cluster_variables(const fields &settings, const std::string &cluster_environment);

// Lines NAME=VALUE; what stands behind the last line's end counts too.
fields read_lines(const std::string &text);

// The settings' value as seconds; 0 when it is not set.
double seconds(const fields &all, const std::string &name);

std::string state_of(const job &one, double now);

}  // namespace head_node
