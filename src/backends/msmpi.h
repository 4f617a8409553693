// msmpi.h: the back-end of MS-MPI.
#pragma once

#include <optional>
#include <string>

// Builds the launch command of MS-MPI: on this machine or a host file, inside a
// job that the scheduler started, or as a task handed to the scheduler. Gives back 1.
int msmpi_backend();

// ---- Steps of it --------------------------------------------------------------------------

// Warns of cluster settings that make parallel runs fail. Asks nothing without a
// head node or inside a job.
void check_cluster_environment(const std::optional<std::string> &head);

// Writes a machine file from the nodes that the scheduler gave a job: each node
// as often as there are processes per node, up to the number of processes. Gives
// back the file's name, which may be absent, when the allocation was found.
// Ends the program with status 2 when the file cannot be written to its end.
std::optional<std::string> write_allocated_machine_file(const std::string &head, int job_id,
                                                        int processes, int processes_per_node,
                                                        const std::optional<std::string> &path);

// The node list of a job, such as "3 alpha 8 beta 8 gamma 8", cut down to as many
// nodes with one process each as there are processes; unchanged when it is empty
// or holds fewer.
std::string reduce_node_list(const std::string &nodes, int processes);

// Whether the launcher runs inside a job that the scheduler started.
bool inside_scheduled_job();
