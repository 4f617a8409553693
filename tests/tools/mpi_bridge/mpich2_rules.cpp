// mpich2_rules.cpp: the switches of MPICH2's mpiexec for Windows, and of Intel
// MPI's, which comes from the same process manager.
#include <set>

#include "command_reader.h"
#include "machine_files.h"
#include "mpi_rules.h"

namespace mpi_bridge {

namespace {

enum class family { mpich2, intel };

// What was read so far.
struct line_state {
  family mpi = family::mpich2;
  reading result;
  bool local_only = false;
  int count_switches = 0;  // those that say how many processes there are
  std::string channel;     // how the ranks talk to each other; empty: not said
};

void count_switch(line_state &state) {
  if (++state.count_switches > 1) {
    refuse(state.result, "Error: only one option is allowed to determine the number of processes.");
  }
}

void read_process_count(command_reader &line, line_state &state, const std::string &word) {
  count_switch(state);
  take_process_count(line, word, state.result);
}

void read_hosts(command_reader &line, line_state &state) {
  // It settles the number of processes too. Intel MPI takes -n beside it.
  if (state.mpi == family::mpich2) {
    count_switch(state);
  }
  take_host_list(line, state.result);
}

// -localonly may carry the number of processes.
void read_local_only(command_reader &line, line_state &state) {
  state.local_only = true;
  const auto count = line.take_count();
  if (count) {
    count_switch(state);
    state.result.request.num_procs = count;
  }
}

// A switch that has one value; false when this is none of them.
bool read_valued_switch(command_reader &line, line_state &state, const std::string &name,
                        const std::string &word) {
  if (!is_one_of(name,
                 {"machinefile", "host", "wdir", "dir", "channel", "path", "genvlist", "envlist",
                  "priority", "port", "p", "phrase", "pwdfile", "map", "user", "timeout"})) {
    return false;
  }
  const auto value = line.take_value();
  if (!value) {
    refuse(state.result, "Error: expected a value after the " + word + " option.");
    return true;
  }
  launch_request &request = state.result.request;
  if (name == "machinefile") {
    request.machine_file = *value;
  } else if (name == "host") {
    request.hosts.push_back({*value, 1});
  } else if (is_one_of(name, {"wdir", "dir"})) {
    request.working_directory = *value;
  } else if (name == "channel" && state.mpi == family::mpich2) {
    state.channel = *value;
    request.variables.emplace_back("MPICH2_CHANNEL", *value);
  }
  return true;
}

bool is_switch_without_value(const std::string &name) {
  return is_one_of(name, {"localroot", "exitcodes", "noprompt", "mapall", "plaintext", "delegate",
                          "impersonate"});
}

void read_switch(command_reader &line, line_state &state) {
  const std::string word = line.take();
  const std::string name = word.substr(word.compare(0, 2, "--") == 0 ? 2 : 1);
  if (is_one_of(name, {"n", "np"})) {
    read_process_count(line, state, word);
  } else if (name == "hosts") {
    read_hosts(line, state);
  } else if (name == "localonly") {
    read_local_only(line, state);
  } else if (is_one_of(name, {"env", "genv"})) {
    take_variable(line, word, state.result);
  } else if (name == "l") {
    state.result.request.label_lines = true;
  } else if (!read_valued_switch(line, state, name, word) && !is_switch_without_value(name)) {
    // Only said: the line is read on, and the switch's value may become the program.
    state.result.output += "Unknown option: " + word + "\n";
  }
}

// The file is read when there is one; without it the run goes on as if none was named.
void read_machine_file(line_state &state, const surroundings &around) {
  launch_request &request = state.result.request;
  if (!request.machine_file) {
    return;
  }
  const auto text = around.file_text(*request.machine_file);
  if (!text) {
    state.result.output += "Error, unable to open machine file '" + *request.machine_file + "'\n";
    return;
  }
  request.hosts = read_mpich2_hosts(*text);
}

// The hosts that get a rank: they are filled in turn.
std::set<std::string> hosts_in_use(const launch_request &request) {
  std::set<std::string> names;
  int room = 0;
  for (const host_slots &host : request.hosts) {
    if (request.num_procs && room >= *request.num_procs) {
      break;
    }
    names.insert(lower_case(host.name));
    room += host.slots;
  }
  return names;
}

// How the ranks talk: Intel MPI is told through a variable, MPICH2 through a switch.
void check_channel(line_state &state) {
  std::string channel = state.channel;
  bool is_known = is_one_of(channel, {"", "sock", "shm", "ssm", "nemesis", "mt"});
  if (state.mpi == family::intel) {
    for (const auto &[name, value] : state.result.request.variables) {
      channel = name == "I_MPI_DEVICE" ? value : channel;
    }
    is_known = is_one_of(channel, {"", "sock", "shm", "ssm", "rdma", "rdssm"});
  }
  if (!is_known) {
    refuse(state.result, "Error: unable to load the communication library for '" + channel + "'.");
  } else if (channel == "shm" && hosts_in_use(state.result.request).size() > 1) {
    refuse(state.result, "Error: 'shm' cannot connect ranks on different hosts.");
  }
}

// Ranks are started by the service, under the user's own account; a run on this
// machine alone does without both.
void check_service(line_state &state, const surroundings &around) {
  if (state.local_only) {
    return;
  }
  const auto &hosts = state.result.request.hosts;
  const std::string host = hosts.empty() ? around.computer : hosts.front().name;
  if (!around.service_running) {
    refuse(state.result, "Aborting: unable to connect to " + host);
  } else if (!around.credentials_stored) {
    state.result.output +=
        "Credentials for " + around.account + " rejected connecting to " + host + "\n";
    refuse(state.result, "Aborting: Unable to connect to " + host);
  }
}

reading read_line(family mpi, const text_list &words, const surroundings &around) {
  line_state state;
  state.mpi = mpi;
  state.local_only = around.variable("MPIEXEC_LOCALONLY") == "1";
  command_reader line(words);
  while (!state.result.exit_code && !line.at_end() && line.peek().size() > 1 &&
         line.peek()[0] == '-') {
    read_switch(line, state);
  }
  launch_request &request = state.result.request;
  request.program = line.take_rest();
  if (!state.result.exit_code && request.program.empty()) {
    refuse(state.result, "Error: no executable specified.");
  }
  if (!state.result.exit_code) {
    read_machine_file(state, around);
    check_channel(state);
  }
  if (!state.result.exit_code) {
    check_service(state, around);
  }
  if (state.local_only) {
    request.hosts.clear();
  }
  if (!request.num_procs && (request.hosts.empty() || request.machine_file)) {
    request.num_procs = 1;
  }
  return state.result;
}

}  // namespace

reading read_mpich2_line(const text_list &words, const surroundings &around) {
  return read_line(family::mpich2, words, around);
}

reading read_intel_line(const text_list &words, const surroundings &around) {
  return read_line(family::intel, words, around);
}

}  // namespace mpi_bridge
