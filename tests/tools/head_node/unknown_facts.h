// unknown_facts.h: what is not known about the real job and cluscfg, and what this
// head node does instead. Everything of that kind stands here, so that one look at
// a real cluster corrects it in one place. What is documented or was seen in use
// (the "ID:" lines, State and Status, the names of states, the limits) is not here.
#pragma once

#include <string>

namespace head_node::unknown_facts {

// Callers of the real tools only tell 0 from everything else.
constexpr int failure_status = 1;

// An option that is given twice: the later one counts.
// A word that begins with "-" and a digit is an identifier, not an option.
// An option whose value is missing or empty is refused, and so is a control character
// anywhere. /rununtilcanceled is taken by "submit" with a command.
// The words of a command are joined with one blank; a word that holds a blank or
// nothing at all is put in double quotes again. One word alone is the whole command.

inline std::string task_added(const std::string &task) {
  return "Task " + task + " added.";
}

inline std::string job_changed(const std::string &job, const char *what) {
  return "Job " + job + " has been " + what + ".";
}

// The launcher looks for "Cannot connect" in what a tool says.
inline std::string cannot_connect(const std::string &head_node) {
  return "Cannot connect to the head node " + head_node + ".";
}

constexpr const char *wrong_credentials = "The user name or password is incorrect.";

// Keys of "job view" besides State, Status and Progress. The launcher reads the nodes
// from a line that begins with "Allocated nodes" or "AllocatedNodes", so these are
// taken to be the two generations' spellings; task listings have a capital N.
constexpr const char *allocated_nodes_key = "Allocated nodes";
constexpr const char *allocated_nodes_key_ccp = "AllocatedNodes";
constexpr const char *error_message_key = "Error message";
constexpr std::size_t ccp_key_width = 9;  // "Status   : Finished" was seen, nothing longer

// The nodes of a job stand in one line, divided by blanks, as they were allocated.

// The task's system identifier, the second half of CCP_TASKCONTEXT, is the task's
// number in its job: the launcher looks for the output of a job's first task in files
// named ZP<job>.1...

// A command that Windows cannot start as a program is given to cmd.exe /c, and so is
// one with <, > or | outside quotes: "md a\b" was seen as a task.

// A job with more than its minimum of processors still gets the minimum.
// /requestednodes and /askednodes limit a job to these nodes; it need not use all.
// Behind "submit" a job changes in nothing but /rununtilcanceled.
// Templates, node groups and priorities are accepted and change nothing.

// What the cluster itself tells its tasks when nothing else is set.
constexpr const char *mpi_netmask = "127.0.0.0/255.0.0.0";

inline std::string task_failed(const std::string &task) {
  return "Task " + task + " failed.";
}

constexpr const char *canceled_by_user = "Canceled by user.";
constexpr const char *canceled_outside = "Canceled by the administrator.";
constexpr const char *system_error = "The job failed because of a system error.";

}  // namespace head_node::unknown_facts
