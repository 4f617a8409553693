// platform_mpi_rules.cpp: the switches of Platform MPI's mpirun for Windows.
#include "command_reader.h"
#include "machine_files.h"
#include "mpi_rules.h"
#include "unix_text.h"

namespace mpi_bridge {

namespace {

constexpr int exit_failed = 1;

void fail(reading &result, const std::string &text) {
  result.error += "mpirun: " + text + "\n";
  result.exit_code = exit_failed;
}

// -e NAME=value sets a variable for the ranks, -e NAME hands this program's own on.
void read_variable(command_reader &line, reading &result, const surroundings &around) {
  const auto word = line.take_value();
  if (!word || word->empty() || word->front() == '=') {
    fail(result, "-e needs a variable");
    return;
  }
  const auto equals = word->find('=');
  const std::string name = word->substr(0, equals);
  const auto value = equals == std::string::npos ? around.variable(name) : word->substr(equals + 1);
  if (value) {
    result.request.variables.emplace_back(name, *value);
  }
}

// A name in capitals asks for that interconnect or nothing, in small letters for
// it when there is one. Here there is only TCP.
void read_interconnect(const std::string &word, reading &result) {
  if (is_one_of(word, {"-IBAL", "-MX", "-GM", "-VAPI", "-UDAPL", "-ITAPI", "-ELAN"})) {
    fail(result, "interconnect " + word.substr(1) + " is not available");
  } else if (!is_one_of(word, {"-TCP", "-tcp", "-ibal", "-mx", "-gm", "-vapi", "-udapl", "-itapi",
                               "-elan"})) {
    fail(result, "unknown option " + word);
  }
}

void read_switch(command_reader &line, reading &result, const surroundings &around) {
  const std::string word = line.take();
  if (word == "-np") {
    result.request.num_procs = line.take_count();
    if (!result.request.num_procs) {
      fail(result, "-np needs a number of ranks");
    }
  } else if (word == "-hostfile") {
    result.request.machine_file = line.take_value();
    if (!result.request.machine_file) {
      fail(result, "-hostfile needs a file");
    }
  } else if (word == "-e") {
    read_variable(line, result, around);
  } else if (word == "-ccp") {
    result.request.under_scheduler = true;
  } else if (word == "-prot") {
    result.output += "Interconnects in use: TCP between hosts, shared memory within one.\n";
  } else if (!is_one_of(word, {"-intra=nic", "-intra=mix", "-intra=shm", "-nodex"})) {
    read_interconnect(word, result);
  }
}

// Its own task has one processor only: the ranks go to the nodes of the whole
// job, which the scheduler tells. Outside of a job there is none to ask for.
void find_scheduler_hosts(reading &result, const surroundings &around) {
  const auto job = around.variable("CCP_JOBID");
  const auto head_node = around.variable("CCP_CLUSTER_NAME");
  if (!job || !head_node) {
    fail(result, "-ccp outside of a scheduler job");
    return;
  }
  const auto view = around.answer_of("job view " + *job + " /scheduler:" + *head_node);
  result.request.hosts = read_allocated_nodes(view.value_or(""));
  if (result.request.hosts.empty()) {
    fail(result, "the scheduler names no nodes of job " + *job);
  }
}

void find_file_hosts(reading &result, const surroundings &around) {
  const std::string &name = *result.request.machine_file;
  const auto text = around.file_text(name);
  const auto hosts = text ? read_platform_mpi_hosts(*text) : std::nullopt;
  if (!text) {
    fail(result, "cannot open the host file " + name);
  } else if (!hosts || hosts->empty()) {
    fail(result, "the host file " + name + " is not made of lines host or host:count");
  } else if (!around.credentials_stored) {
    fail(result, "no cached password for " + around.account);
  } else {
    result.request.hosts = *hosts;
  }
}

// The last one counts when a variable is given twice.
std::string variable_for_ranks(const reading &result, const std::string &name) {
  std::string found;
  for (const auto &[variable, value] : result.request.variables) {
    found = variable == name ? value : found;
  }
  return found;
}

void complete(reading &result, const surroundings &around) {
  launch_request &request = result.request;
  const std::string root = unquoted(variable_for_ranks(result, "MPI_ROOT"));
  if (!root.empty() && !around.file_text(root + "\\bin\\mpirun.exe")) {
    fail(result, "there is no Platform MPI in " + root);
  } else if (request.program.empty()) {
    fail(result, "no program was given");
  } else if (request.under_scheduler) {
    find_scheduler_hosts(result, around);
  } else if (request.machine_file) {
    find_file_hosts(result, around);
  }
  request.working_directory = unquoted(variable_for_ranks(result, "MPI_WORKDIR"));
  if (request.working_directory.empty()) {
    request.working_directory = around.variable("MPI_WORKDIR").value_or("");
  }
  if (!request.num_procs && request.hosts.empty()) {
    request.num_procs = 1;
  }
}

}  // namespace

reading read_platform_mpi_line(const text_list &words, const surroundings &around) {
  reading result;
  command_reader line(words);
  while (!result.exit_code && !line.at_end() && line.peek().size() > 1 && line.peek()[0] == '-') {
    read_switch(line, result, around);
  }
  result.request.program = line.take_rest();
  if (!result.exit_code) {
    complete(result, around);
  }
  return result;
}

}  // namespace mpi_bridge
