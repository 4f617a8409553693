// msmpi.cpp: builds the mpiexec command line of MS-MPI.
//
// The line grows from left to right, in the order mpiexec reads it. Every piece
// carries its own blanks, so one can come or go without its neighbours.
#include "backends/msmpi.h"

#include <string_view>
#include <vector>

#include "backends/forwarding.h"
#include "backends/host_files.h"
#include "core/command_runner.h"
#include "core/environment.h"
#include "core/exit_status.h"
#include "core/launch_state.h"
#include "core/messages.h"
#include "core/run_record.h"
#include "core/text.h"
#include "core/text_file.h"
#include "core/trace.h"
#include "core/user_defined.h"
#include "install/mpi_directory.h"
#include "scheduler/job_identifier.h"
#include "scheduler/job_state.h"
#include "scheduler/scheduler_options.h"

namespace {

constexpr int command_trace_line = 2291;

// MSMPI_HOME often names the MPI that was installed last, whichever it is.
void append_mpiexec(command_line &line) {
  if (env_is_set("CCP_HOME")) {
    append(line, " mpiexec.exe ", "program: MS-MPI of the cluster, as CCP_HOME is set");
    return;
  }
  const auto home = env_text("MSMPI_HOME");
  const bool usable =
      home && !contains(*home, "MPIPro") && !contains(*home, "MPICH") && !contains(*home, "mpich");
  append(line,
         (usable ? *home : mpi_installation_directory("ms", root_choice::shared)) +
             "\\bin\\mpiexec.exe  ",
         usable ? "program: MS-MPI of MSMPI_HOME" : "program: MS-MPI of the release");
}

void write_machine_file_of_job(const std::optional<std::string> &head,
                               const std::optional<std::string> &hosts_file) {
  const auto job = given_job();
  if (head && hosts_file && job && env_is_set("NP_PER_NODE")) {
    write_allocated_machine_file(*head, to_number(*job), state.num_procs, env_number("NP_PER_NODE"),
                                 hosts_file);
  }
}

void append_netmask(command_line &line) {
  if (const auto netmask = env_text("MPICH_NETMASK")) {
    const std::string piece = " -env MPICH_NETMASK " + *netmask + " ";
    append(line, piece, "network mask: MPICH_NETMASK");
    print("\nUsing user defined: %s\n", piece.c_str());
  }
}

// Where the ranks run: the nodes of this job, the nodes of a job that the
// scheduler starts, or as many processes here.
void append_hosts(command_line &line, const std::optional<std::string> &head,
                  bool hosts_file_is_readable) {
  const bool user_gives_hosts = user_flags_contain("MPICH2_USER_FLAGS", "-hosts ");
  if (inside_scheduled_job()) {
    if (!user_gives_hosts) {
      append(
          line,
          " -hosts " + reduce_node_list(env_text("CCP_NODES").value_or(""), state.num_procs) + " ",
          "nodes: CCP_NODES, no more than there are processes");
    }
  } else if (head) {
    prepare_task();
    prepend(line, build_task_command(*head, hosts_file_is_readable));
    if (!hosts_file_is_readable && !user_gives_hosts) {
      append_hosts_of_job(line);
    }
  } else {
    append_processes(line, " -np ");
  }
}

void append_machine_file(command_line &line, const std::string &hosts_file) {
  const auto job = given_job();
  if (job && head_node()) {
    // The first task of the job.
    append(line, " -job " + *job + ".1", "job: CCP_JOB_ID");
    append(line, " -dir " + env_text("STD_DIR").value_or(". "), "working directory: STD_DIR");
    append_processes(line, " -np ");
  }
  append(line, " -machinefile " + hosts_file + " ", hosts_reason());
}

void append_affinity(command_line &line) {
  if (env_is_set("MSMPI_NO_AFFINITY_SET")) {
    echo_user_defined("MSMPI_NO_AFFINITY_SET");
  } else if (env_is_set("CCP_HOME") && env_is_set("CCP_JOBTEMPLATE")) {
    append(line, " -affinity ",
           "ranks stay on their processors: CCP_HOME and CCP_JOBTEMPLATE are set");
  }
}

// The nodes on a line such as "AllocatedNodes : alpha beta"; nothing on other lines.
std::optional<std::vector<std::string>> allocated_nodes(const std::string &line) {
  if (!line.starts_with("Allocated nodes") && !line.starts_with("AllocatedNodes")) {
    return std::nullopt;
  }
  const std::string_view content = without_line_end(line);
  const std::size_t colon = content.find(':');
  return split_at(colon == std::string_view::npos ? "" : content.substr(colon + 1), " ");
}

void write_nodes(text_writer &file, const std::vector<std::string> &nodes, int processes,
                 int processes_per_node) {
  int written = 0;
  for (const std::string &node : nodes) {
    for (int i = 0; i < processes_per_node && written < processes && !file.failed; ++i, ++written) {
      write_text(file, node + "\n");
    }
  }
}

}  // namespace

void check_cluster_environment(const std::optional<std::string> &head) {
  if (!head || *head == inside_job) {
    return;
  }
  constexpr std::string_view setting = "MPICH_SOCKET_SBUFFER_SIZE=";
  bool found = false;
  run_command("cluscfg listenvs /scheduler:" + *head, asks(), [&](const std::string &line) {
    if (found) {
      return false;
    }
    int size = 0;
    if (line.starts_with(setting) && scan_number(line.c_str() + setting.size(), size) != nullptr) {
      found = true;
      if (size == 0) {
        print(
            "\n***\nWarning: \nThe following cluster environment variable setting may cause issues "
            "with running parallel ZEPHON:\nMPICH_SOCKET_SBUFFER_SIZE=0\n***\n");
      }
    }
    return true;
  });
}

std::optional<std::string> write_allocated_machine_file(const std::string &head, int job_id,
                                                        int processes, int processes_per_node,
                                                        const std::optional<std::string> &path) {
  // Opened, and so emptied, before the nodes are known.
  auto file = path ? create_text(*path, platform::open_mode::write) : std::nullopt;
  bool found = false;
  run_command(job_view_command(head, job_id), asks_about_job(job_id, ""),
              [&](const std::string &line) {
                if (state.ptrace_mode) {
                  print_text(platform::standard_stream::output, line);
                }
                const auto nodes = allocated_nodes(line);
                if (nodes && file) {
                  write_nodes(*file, *nodes, processes, processes_per_node);
                }
                found = nodes.has_value();
                return !found;
              });
  if (job_id == assumed_job_id) {
    tell_unknown("the nodes that the scheduler gives to the job");
  }
  if (file && !close_text(*file)) {
    remove_text(*path);  // half of it must not be used
    return std::nullopt;
  }
  if (!found) {
    return std::nullopt;
  }
  if (state.ptrace_mode && path) {
    print("\nmachinefile %s\n", path->c_str());
  }
  return path;
}

std::string reduce_node_list(const std::string &nodes, int processes) {
  if (nodes.empty() || to_number(nodes) < processes) {
    return nodes;
  }
  const std::vector<std::string> words = split_at(nodes, " ");
  std::string reduced = std::to_string(processes) + " ";
  // Word 0 is the count; then each node is followed by its processors.
  int taken = 0;
  for (std::size_t i = 1; i < words.size() && taken < processes; i += 2, ++taken) {
    reduced += words[i] + " 1 ";
  }
  return reduced;
}

bool inside_scheduled_job() {
  return head_node() == inside_job && env_is_set("CCP_NODES");
}

int msmpi_backend() {
  const auto head = head_node();
  const auto hosts_file = host_file();

  command_line line;
  append_mpiexec(line);
  check_cluster_environment(head);
  write_machine_file_of_job(head, hosts_file);
  const bool hosts_file_is_readable = hosts_file && file_is_readable(*hosts_file);
  if (head || hosts_file) {
    append_netmask(line);
  }
  append_hosts(line, head, hosts_file_is_readable);
  if (hosts_file_is_readable) {
    append_machine_file(line, *hosts_file);
  }
  std::string path = ntbin_directory(state.zephon_inc.value_or(""));
  append_to_path_list(path, state.node_path);
  append(line, " -env PATH " + quote(path) + " ", "PATH of the processes");
  if (head) {
    append(line, " -env CCP_CLUSTER_NAME " + *head + " ", "head node: USE_CCP");
  }
  append_work_size(line);
  append_user_flags(line, "MPICH2_USER_FLAGS");
  append_solver_variables(line, " -env ", " ");
  append_affinity(line);

  state.launch_command = line;
  trace("sOptions.pre", line.text, command_trace_line);
  return 1;
}
