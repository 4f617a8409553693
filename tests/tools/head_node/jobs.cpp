// jobs.cpp: the life of jobs and tasks.
#include "head_node/jobs.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>

#include "head_node/job_grammar.h"
#include "head_node/unknown_facts.h"

namespace head_node {

namespace {

constexpr const char *line_end = "\r\n";
constexpr std::size_t job_key_width = 33;
constexpr std::size_t task_key_width = 32;

answer done(const std::string &line) {
  return {line + line_end, ""};
}

bool is_set(const fields &all, const std::string &name) {
  return value(all, name) == "true";
}

texts divided(const std::string &text, char divider) {
  texts parts;
  std::istringstream stream(text);
  for (std::string part; std::getline(stream, part, divider);) {
    if (!part.empty()) {
      parts.push_back(part);
    }
  }
  return parts;
}

bool holds(const texts &all, const std::string &text) {
  return std::any_of(all.begin(), all.end(),
                     [&](const auto &one) { return lower_case(one) == lower_case(text); });
}

std::string task_name(int job_id, std::size_t task_number) {
  return std::to_string(job_id) + "." + std::to_string(task_number);
}

// ---- Sizes ----------------------------------------------------------------------------------

// How many cores one of a unit is. A node has one socket.
int cores_of_one(const job_list &list, const fields &options) {
  const auto unit = value(options, "unit");
  return unit == "nodes" || unit == "sockets" ? list.cluster.front().cores : 1;
}

int cores_of(const job_list &list, const fields &options, const std::string &bound) {
  return whole_number(value(options, bound)) * cores_of_one(list, options);
}

int all_cores(const std::vector<share> &shares) {
  int sum = 0;
  for (const auto &one : shares) {
    sum += one.cores;
  }
  return sum;
}

// The cores that a job needs at least; without a number those of its largest task.
int least_cores(const job_list &list, const job &one) {
  if (whole_number(value(one.options, "minimum")) > 0) {
    return cores_of(list, one.options, "minimum");
  }
  int least = 1;
  for (const auto &known : one.tasks) {
    least = std::max(least, cores_of(list, known.options, "minimum"));
  }
  return least;
}

// ---- Checks ---------------------------------------------------------------------------------

// Why a job cannot run this task; empty when it can.
std::string fault_of_task(const job_list &list, const job &one, int id, std::size_t number) {
  const auto &known = one.tasks[number - 1].options;
  if (is_set(known, "exclusive") && !is_set(one.options, "exclusive")) {
    return "Task " + task_name(id, number) + " is exclusive, but its job is not.";
  }
  const int most = whole_number(value(one.options, "maximum"));
  if (most > 0 && cores_of(list, known, "minimum") > most * cores_of_one(list, one.options)) {
    return "Task " + task_name(id, number) + " needs more than its job has.";
  }
  return "";
}

// The nodes that a job may use. Sets fault when it names some that there are not.
std::vector<share> usable_nodes(const job_list &list, const fields &options, std::string &fault) {
  const auto asked = divided(value(options, "requestednodes"), ',');
  std::vector<share> usable;
  texts known_names;
  for (const auto &one : list.cluster) {
    known_names.push_back(one.name);
    if (asked.empty() || holds(asked, one.name)) {
      usable.push_back({one.name, one.cores});
    }
  }
  for (const auto &name : asked) {
    fault = holds(known_names, name) ? fault : "The cluster has no node \"" + name + "\".";
  }
  return usable;
}

// Why a job cannot be submitted; empty when it can.
std::string fault_of_job(const job_list &list, const job &one, int id) {
  for (std::size_t number = 1; number <= one.tasks.size(); ++number) {
    if (const auto fault = fault_of_task(list, one, id, number); !fault.empty()) {
      return fault;
    }
  }
  if (is_set(one.options, "rununtilcanceled") &&
      (whole_number(value(one.options, "minimum")) < 0 ||
       whole_number(value(one.options, "maximum")) < 0)) {
    return "A job that runs until it is canceled needs an explicit minimum and maximum.";
  }
  std::string fault;
  const auto usable = usable_nodes(list, one.options, fault);
  if (fault.empty() && least_cores(list, one) > all_cores(usable)) {
    fault = "The cluster has not got what the job needs at least.";
  }
  return fault;
}

// What sbatch is told about a job. Nodes that it must not use are left out by name.
std::string allocation_arguments(const job_list &list, const job &one) {
  std::string none;
  const auto usable = usable_nodes(list, one.options, none);
  std::string others;
  for (const auto &known : list.cluster) {
    const bool use = std::any_of(usable.begin(), usable.end(),
                                 [&](const auto &share) { return share.node == known.name; });
    others += use ? "" : "," + known.name;
  }
  std::string arguments =
      value(one.options, "unit") == "nodes"
          ? "--exclusive --nodes=" + value(one.options, "minimum")
          : (is_set(one.options, "exclusive") ? "--exclusive --ntasks=" : "--ntasks=") +
                std::to_string(least_cores(list, one));
  return arguments + (others.empty() ? "" : " --exclude=" + others.substr(1));
}

// ---- What follows from what has happened --------------------------------------------------------

void end_job(job_list &list, int id, const std::string &state, const std::string &message,
             double time) {
  auto &one = list.jobs[id];
  one.end_state = state;
  one.message = message;
  one.ended = time;
  list.to_do.push_back({{"do", "release"}, {"job", std::to_string(id)}});
}

// Finds room for a task, the first nodes first, and takes it.
bool take_cores(const job_list &list, job &one, task &next) {
  const bool alone = is_set(next.options, "exclusive");
  const int step = cores_of_one(list, next.options);
  const int most = alone ? all_cores(one.nodes) : cores_of(list, next.options, "maximum");
  if (alone && all_cores(one.free) < all_cores(one.nodes)) {
    return false;
  }
  std::vector<share> taken;
  for (const auto &part : one.free) {
    const int cores = std::min(part.cores / step * step, most - all_cores(taken));
    if (cores > 0) {
      taken.push_back({part.node, cores});
    }
  }
  if (all_cores(taken) < cores_of(list, next.options, "minimum")) {
    return false;
  }
  for (const auto &part : taken) {
    for (auto &left : one.free) {
      left.cores -= left.node == part.node ? part.cores : 0;
    }
  }
  next.cores = taken;
  return true;
}

// Starts the tasks there is room for. Before a job is seen to run they only wait.
void start_tasks(job_list &list, int id, double time) {
  auto &one = list.jobs[id];
  for (std::size_t number = 1; number <= one.tasks.size() && !one.free.empty(); ++number) {
    auto &next = one.tasks[number - 1];
    if (next.cores.empty() && take_cores(list, one, next)) {
      next.runs_from = std::max(time, one.runs_from);
      list.to_do.push_back({{"do", "start"},
                            {"job", std::to_string(id)},
                            {"task", std::to_string(number)},
                            {"node", next.cores.front().node},
                            {"delay", std::to_string(next.runs_from - time)}});
    }
  }
}

// A job that has nodes goes on: starts tasks, and ends when nothing is left to do.
void go_on(job_list &list, int id, const fields &event) {
  auto &one = list.jobs[id];
  if (one.nodes.empty() || !one.end_state.empty()) {
    return;
  }
  const double time = seconds(event, "time");
  start_tasks(list, id, time);
  std::size_t failed = 0;
  for (std::size_t number = one.tasks.size(); number > 0; --number) {
    const auto &known = one.tasks[number - 1];
    if (known.end_state.empty() && !one.free.empty()) {
      return;
    }
    failed = known.end_state == "Failed" ? number : failed;
  }
  if (!is_set(one.options, "rununtilcanceled")) {
    end_job(list, id, failed == 0 ? "Finished" : "Failed",
            failed == 0 ? "" : unknown_facts::task_failed(task_name(id, failed)),
            std::max(time, one.runs_from));
  }
}

// ---- Calls ----------------------------------------------------------------------------------

constexpr const char *job_options[] = {"jobname",     "exclusive", "unit",
                                       "minimum",     "maximum",   "rununtilcanceled",
                                       "jobtemplate", "nodegroup", "requestednodes"};

void take_job_options(fields &options, const fields &event) {
  for (const char *name : job_options) {
    if (event.contains(name)) {
      options[name] = value(event, name);
    }
  }
}

job made_job(const fields &event) {
  job made;
  made.options["exclusive"] = value(event, "generation") == "ccp" ? "true" : "false";
  take_job_options(made.options, event);
  return made;
}

task made_task(const fields &event) {
  task made;
  made.options = {{"exclusive", "false"}, {"unit", "cores"}, {"minimum", "1"}, {"maximum", "1"}};
  for (const char *name : {"name", "exclusive", "unit", "minimum", "maximum", "workdir", "stdout",
                           "stderr", "command", "user", "agent"}) {
    if (event.contains(name)) {
      made.options[name] = value(event, name);
    }
  }
  return made;
}

// A job without work behind it: it gets the first nodes when it is to be seen running,
// and ends by itself when "running_seconds" is set.
void run_without_slurm(job_list &list, int id, const fields &event) {
  auto &one = list.jobs[id];
  int wanted = least_cores(list, one);
  for (const auto &known : list.cluster) {
    if (wanted > 0) {
      one.nodes.push_back({known.name, std::min(known.cores, wanted)});
      wanted -= known.cores;
    }
  }
  if (const auto running = seconds(event, "running_seconds"); running > 0) {
    end_job(list, id, "Finished", "", one.runs_from + running);
  }
}

void submit(job_list &list, int id, const fields &event) {
  auto &one = list.jobs[id];
  one.submitted = true;
  one.runs_from = seconds(event, "time") + seconds(event, "queued_seconds");
  if (event.contains("fault_invalid")) {
    end_job(list, id, "Failed", unknown_facts::system_error, seconds(event, "time"));
  } else if (is_set(event, "without_slurm")) {
    run_without_slurm(list, id, event);
  } else if (!event.contains("fault_stuck")) {
    list.to_do.push_back({{"do", "allocate"},
                          {"job", std::to_string(id)},
                          {"arguments", allocation_arguments(list, one)}});
  }
  for (const char *fault : {"fail", "cancel", "lose"}) {
    if (event.contains(std::string("fault_") + fault)) {
      one.options[fault] = value(event, std::string("fault_") + fault);
    }
  }
}

int add_job(job_list &list, job made) {
  list.jobs[++list.last_id] = std::move(made);
  return list.last_id;
}

answer call_submit(job_list &list, const fields &event) {
  int id = whole_number(value(event, "job"));
  job next = event.contains("command") ? made_job(event) : list.jobs[id];
  if (event.contains("command")) {
    id = list.last_id + 1;
    next.tasks.push_back(made_task(event));
  } else {
    take_job_options(next.options, event);
  }
  if (const auto fault = fault_of_job(list, next, id); !fault.empty()) {
    return failure(fault);
  }
  list.last_id = std::max(list.last_id, id);
  list.jobs[id] = std::move(next);
  submit(list, id, event);
  return done("Job has been submitted. ID: " + std::to_string(id) + ".");
}

answer call_add(job_list &list, int id, const fields &event) {
  auto &one = list.jobs[id];
  one.tasks.push_back(made_task(event));
  const auto fault = one.submitted ? fault_of_task(list, one, id, one.tasks.size()) : "";
  if (!fault.empty()) {
    one.tasks.pop_back();
    return failure(fault);
  }
  go_on(list, id, event);
  return done(unknown_facts::task_added(task_name(id, one.tasks.size())));
}

answer call_modify(job_list &list, int id, const fields &event) {
  auto &one = list.jobs[id];
  for (const char *name : job_options) {
    if (one.submitted && event.contains(name) && name != std::string("rununtilcanceled")) {
      return failure(std::string("The option /") + name + " cannot be changed any more.");
    }
  }
  take_job_options(one.options, event);
  go_on(list, id, event);
  return done(unknown_facts::job_changed(std::to_string(id), "modified"));
}

// The calls that change a job which is there.
answer call_on_job(job_list &list, const fields &event) {
  const int id = whole_number(value(event, "job"));
  const auto verb = value(event, "verb");
  if (!list.jobs.contains(id)) {
    return failure("The job identifier " + value(event, "job") + " is invalid.");
  }
  const auto state = state_of(list.jobs[id], seconds(event, "time"));
  const texts right =
      verb == "submit" ? texts{"Configuring"} : texts{"Configuring", "Queued", "Running"};
  if (!holds(right, state)) {
    return failure("\"" + verb + "\" is not possible: job " + std::to_string(id) + " is " + state +
                   ".");
  }
  if (verb == "add") {
    return call_add(list, id, event);
  }
  if (verb == "modify") {
    return call_modify(list, id, event);
  }
  if (verb == "submit") {
    return call_submit(list, event);
  }
  end_job(list, id, "Canceled", unknown_facts::canceled_by_user, seconds(event, "time"));
  return done(unknown_facts::job_changed(std::to_string(id), "canceled"));
}

// ---- What happens at Slurm's -----------------------------------------------------------------

void allocated(job_list &list, int id, const fields &event) {
  auto &one = list.jobs[id];
  one.slurm_id = value(event, "slurm_id");
  if (!one.nodes.empty()) {
    return;  // it was known; the head node has been away
  }
  const auto words = divided(value(event, "nodes"), ' ');
  for (std::size_t word = 0; word + 1 < words.size(); word += 2) {
    one.nodes.push_back({words[word], whole_number(words[word + 1])});
  }
  one.free = one.nodes;
  one.runs_from = std::max(one.runs_from, seconds(event, "time"));
  for (const char *fault : {"fail", "cancel", "lose"}) {
    if (one.options.contains(fault)) {
      list.to_do.push_back(
          {{"do", fault}, {"job", std::to_string(id)}, {"delay", value(one.options, fault)}});
    }
  }
  go_on(list, id, event);
}

void task_ended(job_list &list, int id, const fields &event) {
  auto &one = list.jobs[id];
  const auto number = static_cast<std::size_t>(whole_number(value(event, "task")));
  if (number < 1 || number > one.tasks.size() || !one.tasks[number - 1].end_state.empty()) {
    return;
  }
  auto &known = one.tasks[number - 1];
  known.exit_code = value(event, "exit_code");
  known.message = value(event, "message");
  known.end_state = known.exit_code == "0" ? "Finished" : "Failed";
  for (const auto &part : known.cores) {
    for (auto &left : one.free) {
      left.cores += left.node == part.node ? part.cores : 0;
    }
  }
  go_on(list, id, event);
}

void job_ended(job_list &list, int id, const fields &event) {
  const auto state = value(event, "state");
  const bool lost = state == "NODE_FAIL";
  const bool canceled = state == "CANCELLED";
  end_job(list, id, canceled ? "Canceled" : "Failed",
          canceled ? unknown_facts::canceled_outside
          : lost   ? "Job failed to start on some nodes or some nodes became unreachable."
                   : unknown_facts::system_error,
          seconds(event, "time"));
}

}  // namespace

answer failure(const std::string &reason) {
  return {"", reason + line_end};
}

answer happen(job_list &list, const fields &event) {
  const auto verb = value(event, "verb");
  const int id = whole_number(value(event, "job"));
  if (verb == "new") {
    const int made = add_job(list, made_job(event));
    const bool old = value(event, "generation") == "ccp";
    return done((old ? "Job queued, ID: " : "Created job, ID: ") + std::to_string(made));
  }
  if (verb == "submit" && event.contains("command")) {
    return call_submit(list, event);
  }
  if (verb == "add" || verb == "submit" || verb == "modify" || verb == "cancel") {
    return call_on_job(list, event);
  }
  if (!list.jobs.contains(id) || !list.jobs[id].end_state.empty()) {
    return failure("nothing waits for this");
  }
  if (verb == "slurm") {
    list.jobs[id].slurm_id = value(event, "slurm_id");
  } else if (verb == "allocated") {
    allocated(list, id, event);
  } else if (verb == "task_ended") {
    task_ended(list, id, event);
  } else if (verb == "job_ended") {
    job_ended(list, id, event);
  }
  return {};
}

std::string state_of(const job &one, double now) {
  if (!one.end_state.empty() && now >= one.ended) {
    return one.end_state;
  }
  if (!one.submitted) {
    return "Configuring";
  }
  return now < one.runs_from || one.nodes.empty() ? "Queued" : "Running";
}

double seconds(const fields &all, const std::string &name) {
  return std::strtod(value(all, name).c_str(), nullptr);
}

fields read_lines(const std::string &text) {
  fields all;
  for (auto line : divided(text, '\n')) {
    line.erase(line.find_last_not_of('\r') + 1);
    const auto equals = std::min(line.find('='), line.size());
    all[line.substr(0, equals)] = line.substr(std::min(equals + 1, line.size()));
  }
  return all;
}

// ---- What is printed ------------------------------------------------------------------------

namespace {

std::string key_line(std::string key, std::size_t width, const std::string &text) {
  if (key.size() < width) {
    key.resize(width, ' ');
  }
  return key + ": " + text + line_end;
}

// The state's name as the generation of the tools spells it.
std::string state_name(const std::string &state, bool old) {
  if (!old) {
    return state;
  }
  const fields names = {{"Configuring", "NotSubmitted"}, {"Canceled", "Cancelled"}};
  return names.contains(state) ? names.at(state) : state;
}

std::string task_state(const job &one, const task &known, double now) {
  if (!one.submitted && one.end_state.empty()) {
    return "Configuring";
  }
  if (!known.end_state.empty()) {
    return known.end_state;
  }
  if (!one.end_state.empty() && now >= one.ended) {
    return "Canceled";
  }
  return known.cores.empty() || now < known.runs_from ? "Queued" : "Running";
}

// Such as "NODE01 2 NODE02 2".
std::string share_text(const std::vector<share> &shares, bool with_cores) {
  std::string text;
  for (const auto &part : shares) {
    text += (text.empty() ? "" : " ") + part.node;
    text += with_cores ? " " + std::to_string(part.cores) : "";
  }
  return text;
}

std::string allocation_text(const task &known) {
  return known.cores.empty()
             ? ""
             : std::to_string(known.cores.size()) + " " + share_text(known.cores, true);
}

}  // namespace

answer view(const job_list &list, const fields &call, double now,
            std::string (*task_output)(const std::string &task)) {
  const auto found = list.jobs.find(whole_number(value(call, "job")));
  if (found == list.jobs.end()) {
    return failure("The job identifier " + value(call, "job") + " is invalid.");
  }
  const auto &[id, one] = *found;
  const bool old = value(call, "generation") == "ccp";
  const auto width = old ? unknown_facts::ccp_key_width : job_key_width;
  const auto state = state_of(one, now);
  const bool has_run = state != "Configuring" && state != "Queued";
  texts states;
  for (const auto &known : one.tasks) {
    states.push_back(task_state(one, known, now));
  }
  const auto count = [&](const char *wanted) {
    return std::count(states.begin(), states.end(), wanted);
  };
  const auto ended =
      static_cast<std::size_t>(count("Finished") + count("Failed") + count("Canceled"));

  std::string text = key_line("Job Id", width, std::to_string(id));
  text += key_line("Job Name", width, value(one.options, "jobname"));
  text += key_line(old ? "Status" : "State", width, state_name(state, old));
  text += key_line("Progress", width,
                   std::to_string(states.empty() ? 0 : ended * 100 / states.size()) + "%");
  text +=
      key_line(old ? unknown_facts::allocated_nodes_key_ccp : unknown_facts::allocated_nodes_key,
               width, has_run ? share_text(one.nodes, false) : "");
  text += key_line(unknown_facts::error_message_key, width, now >= one.ended ? one.message : "");
  text += key_line("Task Count", width, std::to_string(states.size()));
  for (const char *name : {"Queued", "Running", "Finished", "Failed", "Canceled"}) {
    text += key_line(state_name(name, old) + " Task Count", width, std::to_string(count(name)));
  }
  for (std::size_t number = 1; is_set(call, "detailed") && number <= states.size(); ++number) {
    const auto &known = one.tasks[number - 1];
    const std::vector<std::pair<const char *, std::string>> lines = {
        {"Task Id", task_name(id, number)},
        {"State", state_name(states[number - 1], old)},
        {"Task Name", value(known.options, "name")},
        {"Command Line", value(known.options, "command")},
        {"Allocated Nodes", allocation_text(known)},
        {"Exit Code", known.exit_code},
        {"Error Message", known.message},
        {"Output", ""}};
    text += line_end;
    for (const auto &[key, shown] : lines) {
      text += key_line(key, task_key_width, shown);
    }
    text += task_output(task_name(id, number));
  }
  return {text, ""};
}

fields cluster_variables(const fields &settings, const std::string &cluster_environment) {
  const auto name = value(settings, "head_node");
  fields all = read_lines(cluster_environment);
  all.insert({{"CCP_CLUSTER_NAME", name},
              {"CCP_MPI_NETMASK", unknown_facts::mpi_netmask},
              {"CCP_SERVICEREGISTRATION_PATH", "\\\\" + name + "\\HpcServiceRegistration"},
              {"WCF_NETWORKPREFIX", "Private"}});
  return all;
}

answer listenvs(const fields &settings, const std::string &cluster_environment) {
  answer all;
  for (const auto &[name, shown] : cluster_variables(settings, cluster_environment)) {
    all.output += name + "=" + shown + line_end;
  }
  return all;
}

texts start_of(const job_list &list, int job_id, std::size_t task_number, const fields &settings) {
  const auto &one = list.jobs.at(job_id);
  const auto &known = one.tasks.at(task_number - 1);
  const auto &options = known.options;
  const auto number = std::to_string(task_number);
  const auto name = value(one.options, "jobtemplate");
  texts start = {value(options, "command"), value(options, "workdir"), value(options, "stdout"),
                 value(options, "stderr")};
  const fields variables = {{"CCP_JOBID", std::to_string(job_id)},
                            {"CCP_JOBNAME", value(one.options, "jobname")},
                            {"CCP_JOBTEMPLATE", name.empty() ? "Default" : name},
                            {"CCP_TASKID", number},
                            {"CCP_TASKINSTANCEID", "0"},
                            {"CCP_TASKSYSTEMID", number},
                            {"CCP_TASKCONTEXT", task_name(job_id, task_number)},
                            {"CCP_RETRY_COUNT", "0"},
                            {"CCP_SCHEDULER", value(settings, "head_node")},
                            {"CCP_NODES", allocation_text(known)},
                            {"CCP_NODES_CORES", allocation_text(known)},
                            {"CCP_NUMCPUS", std::to_string(all_cores(known.cores))},
                            {"CCP_EXCLUSIVE", is_set(one.options, "exclusive") ? "True" : "False"},
                            {"CCP_RUNTIME", "2147483647"}};
  for (const auto &[variable, text] : variables) {
    start.push_back(variable + "=" + text);
  }
  return start;
}

}  // namespace head_node
