// answer_text.cpp: the texts of job.exe and cluscfg.exe, and the variables of a task.
#include "head_node/answer_text.h"

#include <algorithm>
#include <array>

#include "head_node/unknown_facts.h"

namespace head_node {

namespace {

constexpr const char *line_end = "\r\n";
constexpr std::size_t job_key_width = 33;
constexpr std::size_t task_key_width = 32;

std::string key_line(std::string key, std::size_t width, const std::string &value) {
  if (key.size() < width) {
    key.resize(width, ' ');
  }
  return key + ": " + value + line_end;
}

// Why the head node did not do what was asked.
std::string refusal(const fields &answer, const tool_call &call, const settings &known) {
  const auto kind = field(answer, "error");
  const auto detail = field(answer, "detail");
  const auto job = field(answer, "job");
  if (kind == "unknown_job") {
    return "The job identifier " + (job.empty() ? call.job : job) + " is invalid.";
  }
  if (kind == "unreachable") {
    return unknown_facts::cannot_connect(known.head_node);
  }
  if (kind == "wrong_state") {
    return "\"" + call.sub_command + "\" is not possible: job " + job + " is " +
           state_name(detail, known.generation) + ".";
  }
  if (kind == "running_option") {
    return "The option /" + detail + " cannot be changed while job " + job + " is running.";
  }
  if (kind == "exclusive_task") {
    return "Task " + detail + " is exclusive, but job " + job + " is not.";
  }
  if (kind == "range_needed") {
    return "A job that runs until it is canceled needs an explicit minimum and maximum.";
  }
  if (kind == "too_large") {
    return "The cluster has not got what the job needs at least.";
  }
  if (kind == "task_too_large") {
    return "Task " + detail + " needs more than job " + job + " has.";
  }
  if (kind == "unknown_nodes") {
    return "The cluster has no node \"" + detail + "\".";
  }
  if (kind == "unknown_group") {
    return "There is no node group \"" + detail + "\".";
  }
  if (kind == "unknown_template") {
    return "There is no job template \"" + detail + "\".";
  }
  if (kind == "unsupported") {
    return "This head node does not support " + detail + ".";
  }
  return kind == "scheduler" ? "The scheduler refused: " + detail
                             : "The head node failed to do this.";
}

std::string job_message(const fields &job) {
  const auto kind = field(job, "message");
  const auto detail = field(job, "message_detail");
  if (kind == "task_failed") {
    return unknown_facts::task_failed(field(job, "job") + "." + detail);
  }
  if (kind == "node_lost") {
    return "Job failed to start on some nodes or some nodes became unreachable.";
  }
  if (kind == "run_time") {
    return unknown_facts::run_time_exceeded;
  }
  if (kind == "canceled") {
    return detail.empty() ? unknown_facts::canceled_by_user : detail;
  }
  if (kind == "canceled_outside") {
    return unknown_facts::canceled_outside;
  }
  return kind == "system_error" ? unknown_facts::system_error : "";
}

// The first tasks' field, and what belongs to each task: a "task" field begins one.
std::vector<fields> tasks_of(const fields &answer) {
  std::vector<fields> tasks;
  for (const auto &known : answer) {
    if (known.first == "task") {
      tasks.emplace_back();
    }
    if (!tasks.empty()) {
      tasks.back().push_back(known);
    }
  }
  return tasks;
}

std::size_t tasks_in_state(const std::vector<fields> &tasks, std::string_view state) {
  return static_cast<std::size_t>(std::count_if(
      tasks.begin(), tasks.end(), [&](const auto &task) { return field(task, "state") == state; }));
}

std::string progress(const std::vector<fields> &tasks) {
  const auto ended = tasks_in_state(tasks, "Finished") + tasks_in_state(tasks, "Failed") +
                     tasks_in_state(tasks, "Canceled");
  return std::to_string(tasks.empty() ? 0 : ended * 100 / tasks.size()) + "%";
}

std::string resource_request(const fields &known) {
  const auto minimum = field(known, "minimum");
  const auto unit = field(known, "unit");
  return minimum.empty() ? "" : minimum + "-" + field(known, "maximum") + " " + unit;
}

std::string task_listing(const fields &job, const fields &task, tool_generation generation) {
  const auto id = field(job, "job") + "." + field(task, "task");
  const std::array<std::pair<const char *, std::string>, 20> lines = {{
      {"Task Id", id},
      {"State", state_name(field(task, "state"), generation)},
      {"Task Name", field(task, "name")},
      {"Command Line", field(task, "command")},
      {"Resource Request", resource_request(task)},
      {"Task Type", "Basic"},
      {"Submit Time", field(task, "submitted")},
      {"Start Time", field(task, "started")},
      {"End Time", field(task, "ended")},
      {"Elapsed Time", ""},
      {"Total Kernel Time", ""},
      {"Total User Time", ""},
      {"Working Set", ""},
      {"Processes", ""},
      {"Required Nodes", ""},
      {"Allocated Nodes", field(task, "allocated")},
      {"Pending Reason", ""},
      {"Exit Code", field(task, "exit_code")},
      {"Error Message", field(task, "message")},
      {"Output", ""},
  }};
  std::string text;
  for (const auto &[key, value] : lines) {
    text += key_line(key, task_key_width, value);
  }
  const auto output = field(task, "output");
  return text + output + (output.empty() || output.ends_with('\n') ? "" : line_end);
}

std::string view_text(const tool_call &call, const fields &job, const settings &known) {
  const bool old = known.generation == tool_generation::ccp;
  const auto width = old ? unknown_facts::ccp_key_width : job_key_width;
  const auto tasks = tasks_of(job);
  const char *nodes_key = known.capital_keys ? unknown_facts::allocated_nodes_key_capitals
                          : old              ? unknown_facts::allocated_nodes_key_ccp
                                             : unknown_facts::allocated_nodes_key;
  const char *message_key = known.capital_keys ? unknown_facts::error_message_key_capitals
                                               : unknown_facts::error_message_key;

  std::string text = key_line("Job Id", width, field(job, "job"));
  text += key_line("Job Name", width, field(job, "jobname"));
  text +=
      key_line(old ? "Status" : "State", width, state_name(field(job, "state"), known.generation));
  text += key_line("Progress", width, progress(tasks));
  text += key_line(nodes_key, width, field(job, "nodes"));
  text += key_line(message_key, width, job_message(job));
  text += key_line("Task Count", width, std::to_string(tasks.size()));
  for (const char *state : {"Queued", "Running", "Finished", "Failed", "Canceled"}) {
    text += key_line(state_name(state, known.generation) + " Task Count", width,
                     std::to_string(tasks_in_state(tasks, state)));
  }
  const bool detailed = field(call.options, "detailed") == "true";
  if (detailed) {
    text += key_line("Resource Request", width, resource_request(job));
    text += key_line("Exclusive", width, field(job, "exclusive"));
    text += key_line("Run Until Canceled", width, field(job, "rununtilcanceled"));
    for (const auto &task : tasks) {
      text += line_end + task_listing(job, task, known.generation);
    }
  } else if (field(call.options, "history") == "true") {
    for (const char *event : {"created", "submitted", "started", "ended"}) {
      text += key_line(std::string("Time ") + event, width, field(job, event));
    }
  }
  return text;
}

std::string done_text(const tool_call &call, const fields &answer, const settings &known) {
  const auto job = field(answer, "job");
  const bool old = known.generation == tool_generation::ccp;
  if (call.sub_command == "new") {
    return (old ? "Job queued, ID: " : "Created job, ID: ") + job + line_end;
  }
  if (call.sub_command == "add") {
    return unknown_facts::task_added(job, field(answer, "task")) + line_end;
  }
  if (call.sub_command == "submit") {
    return "Job has been submitted. ID: " + job + "." + line_end;
  }
  if (call.sub_command == "view") {
    return view_text(call, answer, known);
  }
  const char *what = call.sub_command == "modify"   ? "modified"
                     : call.sub_command == "cancel" ? "canceled"
                                                    : "finished";
  return unknown_facts::job_changed(job, what) + line_end;
}

}  // namespace

tool_answer failure(const std::string &reason) {
  return {"", reason + line_end, unknown_facts::failure_status};
}

tool_answer answer_text(const tool_call &call, const fields &answer, const settings &known) {
  if (!field(answer, "error").empty()) {
    return failure(refusal(answer, call, known));
  }
  if (call.sub_command != "listenvs") {
    return {done_text(call, answer, known), "", 0};
  }
  std::string text;
  for (const auto &[name, value] : answer) {
    text += name + "=" + value + line_end;
  }
  return {text, "", 0};
}

std::string state_name(const std::string &state, tool_generation generation) {
  if (generation != tool_generation::ccp) {
    return state;
  }
  if (state == "Configuring") {
    return "NotSubmitted";
  }
  if (state == "Submitted" || state == "Validating" || state == "Dispatching") {
    return "Queued";
  }
  if (state == "Finishing" || state == "Canceling") {
    return "Running";
  }
  return state == "Canceled" ? "Cancelled" : state;
}

fields cluster_environment(const settings &known, std::string_view file) {
  fields all = {
      {"CCP_CLUSTER_NAME", known.head_node},
      {"CCP_MPI_NETMASK", unknown_facts::mpi_netmask},
      {"CCP_SERVICEREGISTRATION_PATH", "\\\\" + known.head_node + "\\HpcServiceRegistration"},
      {"WCF_NETWORKPREFIX", "Private"}};
  for (const auto &added : read_fields(file)) {
    const auto present = std::find_if(all.begin(), all.end(), [&](const auto &variable) {
      return variable.first == added.first;
    });
    if (present != all.end()) {
      present->second = added.second;
    } else {
      all.push_back(added);
    }
  }
  return all;
}

fields task_environment(const fields &facts) {
  const auto job = field(facts, "job");
  const auto task = field(facts, "task");
  const auto runtime = field(facts, "runtime");
  const auto job_template = field(facts, "jobtemplate");
  const auto system_id = unknown_facts::task_system_id(task);
  const bool exclusive = field(facts, "exclusive") == "true";
  return {
      {"CCP_JOBID", job},
      {"CCP_JOBNAME", field(facts, "jobname")},
      {"CCP_JOBTEMPLATE", job_template.empty() ? unknown_facts::default_template : job_template},
      {"CCP_TASKID", task},
      {"CCP_TASKINSTANCEID", "0"},
      {"CCP_TASKSYSTEMID", system_id},
      {"CCP_TASKCONTEXT", job + "." + system_id},
      {"CCP_RETRY_COUNT", field(facts, "retries")},
      {"CCP_SCHEDULER", field(facts, "head_node")},
      {"CCP_NODES", field(facts, "allocated")},
      {"CCP_NODES_CORES", field(facts, "allocated")},
      {"CCP_NUMCPUS", field(facts, "cores")},
      {"CCP_EXCLUSIVE", exclusive ? "True" : "False"},
      {"CCP_RUNTIME", runtime.empty() || runtime == "infinite" ? "2147483647" : runtime}};
}

}  // namespace head_node
