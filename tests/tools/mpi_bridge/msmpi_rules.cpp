// msmpi_rules.cpp: the switches of MS-MPI's mpiexec.
#include "command_reader.h"
#include "machine_files.h"
#include "mpi_rules.h"

namespace mpi_bridge {

namespace {

constexpr std::size_t longest_directory = 260;
constexpr std::size_t longest_host_name = 64;

// What was read so far.
struct line_state {
  reading result;
  std::optional<int> cores;  // of each host, when -cores was given
  int host_switches = 0;     // -host, -hosts and -machinefile together
};

// Faults that come up after the line was read go to the other stream.
void abort_run(line_state &state, const std::string &text) {
  state.result.error += "\nAborting: " + text + "\n";
  state.result.exit_code = exit_refused;
}

bool begins_like_a_switch(const std::string &word) {
  return word.size() > 1 && (word[0] == '-' || word[0] == '/');
}

// "*" stands for as many as there are.
void read_process_count(command_reader &line, line_state &state, const std::string &word) {
  if (!line.at_end() && line.peek() == "*") {
    line.take();
    return;
  }
  take_process_count(line, word, state.result);
}

// A switch that has one value; false when this is none of them.
bool read_valued_switch(command_reader &line, line_state &state, const std::string &name,
                        const std::string &word) {
  if (!is_one_of(name, {"machinefile", "gmachinefile", "host", "ghost", "wdir", "dir", "gwdir",
                        "path", "gpath", "genvlist", "priority", "p", "port", "timeout", "job",
                        "logfile", "affinity_layout", "al", "pwd"})) {
    return false;
  }
  const auto value = line.take_value();
  if (!value) {
    refuse(state.result, "Error: expected a value after the " + word + " option.");
    return true;
  }
  launch_request &request = state.result.request;
  if (is_one_of(name, {"machinefile", "gmachinefile"})) {
    ++state.host_switches;
    request.machine_file = *value;
  } else if (is_one_of(name, {"host", "ghost"})) {
    ++state.host_switches;
    request.hosts.push_back({*value, 1});
  } else if (is_one_of(name, {"wdir", "dir", "gwdir"})) {
    request.working_directory = *value;
  }
  return true;
}

// The others have their place in the line but change nothing here.
bool is_switch_without_value(const std::string &name) {
  return is_one_of(name, {"exitcodes", "affinity", "affinity_auto", "aa", "savecreds", "unicode"});
}

void read_switch(command_reader &line, line_state &state) {
  const std::string word = line.take();
  const std::string name = lower_case(word.substr(1));
  if (is_one_of(name, {"n", "np"})) {
    read_process_count(line, state, word);
  } else if (name == "hosts") {
    ++state.host_switches;
    take_host_list(line, state.result);
  } else if (is_one_of(name, {"c", "cores"})) {
    state.cores = line.take_count();
    if (!state.cores) {
      refuse(state.result, "Error: expected a number of cores after the " + word + " option.");
    }
  } else if (is_one_of(name, {"env", "genv"})) {
    take_variable(line, word, state.result);
  } else if (is_one_of(name, {"l", "lines"})) {
    state.result.request.label_lines = true;
  } else if (is_one_of(name, {"d", "debug"})) {
    line.skip_number();  // the level may be left out
  } else if (!read_valued_switch(line, state, name, word) && !is_switch_without_value(name)) {
    refuse(state.result, "Unknown option: " + word);
  }
}

// Inside a scheduler's task the three variables come together or not at all.
void check_task_variables(line_state &state, const surroundings &around) {
  if (around.variable("CCP_TASKCONTEXT") &&
      (!around.variable("CCP_TASKID") || !around.variable("CCP_TASKINSTANCEID"))) {
    abort_run(state, "CCP_TASKCONTEXT is set, but not both of CCP_TASKID and CCP_TASKINSTANCEID.");
  }
}

void find_hosts(line_state &state, const surroundings &around) {
  launch_request &request = state.result.request;
  if (state.host_switches > 1) {
    refuse(state.result,
           "Error: only one of the options -host, -hosts and -machinefile is allowed.");
    return;
  }
  if (request.machine_file) {
    const auto text = around.file_text(*request.machine_file);
    if (!text) {
      refuse(state.result,
             "Error: unable to open the machine file '" + *request.machine_file + "'.");
      return;
    }
    request.hosts = read_msmpi_hosts(*text);
  } else if (request.hosts.empty() && around.variable("CCP_NODES")) {
    const auto nodes = read_scheduler_nodes(*around.variable("CCP_NODES"));
    if (!nodes) {
      refuse(state.result, "Error: CCP_NODES does not list the hosts of this job.");
      return;
    }
    request.hosts = *nodes;
  }
  if (state.cores) {
    for (host_slots &host : request.hosts) {
      host.slots = *state.cores;
    }
  }
}

// A colon cannot be part of a host's name, so nothing answers under such a name.
void check_hosts(line_state &state, const surroundings &around) {
  for (const host_slots &host : state.result.request.hosts) {
    if (host.name.size() > longest_host_name) {
      refuse(state.result, "Error: the host name " + host.name + " is too long.");
      return;
    }
    if (host.name.find(':') != std::string::npos) {
      abort_run(state, "mpiexec on " + around.computer +
                           " is unable to connect to the smpd service on " + host.name + ":8677");
      return;
    }
  }
}

void complete(line_state &state, const surroundings &around) {
  launch_request &request = state.result.request;
  if (request.working_directory.empty()) {
    request.working_directory = around.variable("CCP_MPI_WORKDIR").value_or("");
  }
  if (request.working_directory.size() > longest_directory) {
    refuse(state.result, "Error: the working directory is too long.");
  } else if (request.program.empty()) {
    refuse(state.result, "Error: no program was given.");
  }
  if (!request.num_procs && request.hosts.empty()) {
    request.num_procs = read_count(around.variable("NUMBER_OF_PROCESSORS").value_or("1"));
  }
}

}  // namespace

reading read_msmpi_line(const text_list &words, const surroundings &around) {
  line_state state;
  command_reader line(words);
  check_task_variables(state, around);
  while (!state.result.exit_code && !line.at_end() && begins_like_a_switch(line.peek())) {
    read_switch(line, state);
  }
  state.result.request.program = line.take_rest();
  if (!state.result.exit_code) {
    find_hosts(state, around);
  }
  if (!state.result.exit_code) {
    check_hosts(state, around);
  }
  if (!state.result.exit_code) {
    complete(state, around);
  }
  return state.result;
}

}  // namespace mpi_bridge
