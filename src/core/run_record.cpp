// run_record.cpp: gathers the run, writes the record and tells the rehearsal.
#include "core/run_record.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "core/json.h"
#include "core/launch_state.h"
#include "core/text.h"
#include "platform/platform.h"
#include "platform/rehearsal.h"

namespace {

constexpr int format_version = 1;
constexpr int status_ended_by_ctrl_c = static_cast<int>(0xC000013AU);  // as Windows gives it
constexpr std::int64_t ticks_per_microsecond = 10;                     // of a processor time

using moment = std::optional<std::int64_t>;  // microseconds since 1970
using variable_list = std::vector<std::pair<std::string, std::optional<std::string>>>;

struct recorded_step {
  step_kind kind;
  std::string text;
  moment started;
  moment ended;
  step_end end;
  std::optional<std::string> assumed;
};

struct recorded_launch {
  command_line command;
  std::optional<std::int64_t> process;  // nothing: the interpreter's or none
  moment started;
  moment ended;
  std::optional<std::int64_t> own_time;  // processor time in microseconds
  std::optional<std::int64_t> all_time;
  std::optional<std::int64_t> exit_code;
};

struct recorded_run {
  std::optional<std::string> file;  // where the record goes; nothing: nowhere
  variable_list variables_read;
  variable_list variables_set;
  std::vector<recorded_step> steps;
  std::optional<recorded_launch> launch;
  std::optional<std::string> job_state;
  bool job_released = false;
  std::vector<std::string> messages;
};

std::atomic<bool> recorded = false;
recorded_run run;

// Ctrl-C has its own thread, so two may speak at once. Not one of the system's
// locks: they bring more into the program than all of this.
std::atomic_flag in_use;

class turn {
 public:
  turn() {
    while (in_use.test_and_set()) {
      platform::sleep_ms(1);
    }
  }
  turn(const turn &) = delete;
  turn &operator=(const turn &) = delete;
  ~turn() { in_use.clear(); }
};

void set_variable(variable_list &list, const std::string &name,
                  const std::optional<std::string> &value) {
  for (auto &[known, known_value] : list) {
    if (known == name) {
      known_value = value;
      return;
    }
  }
  list.emplace_back(name, value);
}

bool holds_variable(const variable_list &list, const std::string &name) {
  for (const auto &[known, value] : list) {
    if (known == name) {
      return true;
    }
  }
  return false;
}

// ---- The record as JSON -------------------------------------------------------------------

const char *name_of(step_kind kind) {
  switch (kind) {
    case step_kind::query:
      return "query";
    case step_kind::action:
      return "action";
    case step_kind::file:
      return "file";
    case step_kind::question:
      return "question";
    case step_kind::message:
      break;
  }
  return "message";
}

// A clock that was set back in between must not make a time negative.
moment between(const moment &started, const moment &ended) {
  return started && ended ? moment(*ended > *started ? *ended - *started : 0) : std::nullopt;
}

std::string variables_json(const variable_list &list) {
  std::string members;
  for (const auto &[name, value] : list) {
    add_member(members, name, json_text_or_null(value));
  }
  return json_object(members);
}

std::string step_json(const recorded_step &step) {
  std::string members;
  add_member(members, "kind", json_text(std::string_view(name_of(step.kind))));
  add_member(members, "text", json_text(step.text));
  add_member(members, "started", json_moment(step.started));
  add_member(members, "seconds", json_seconds(between(step.started, step.ended)));
  add_member(members, "exit_code", json_number(step.end.exit_code));
  add_member(members, "lines", json_number(step.end.lines));
  add_member(members, "assumed", json_text_or_null(step.assumed));
  return "\n  " + json_object(members);
}

std::string launch_json(const recorded_launch &launch) {
  std::string pieces;
  for (const command_piece &piece : launch.command.pieces) {
    std::string members;
    add_member(members, "text", json_text(piece.text));
    add_member(members, "reason", json_text(piece.reason));
    add_element(pieces, "\n  " + json_object(members));
  }
  std::string members;
  add_member(members, "command", json_text(launch.command.text));
  add_member(members, "pieces", json_array(pieces));
  add_member(members, "process", json_number(launch.process));
  add_member(members, "started", json_moment(launch.started));
  add_member(members, "ended", json_moment(launch.ended));
  add_member(members, "seconds", json_seconds(between(launch.started, launch.ended)));
  add_member(members, "cpu_seconds", json_seconds(launch.own_time));
  add_member(members, "cpu_seconds_all", json_seconds(launch.all_time));
  add_member(members, "exit_code", json_number(launch.exit_code));
  return json_object(members);
}

// The job that this run made or was given; nothing without a head node.
std::string job_json() {
  const auto head = platform::get_variable("USE_CCP");
  int id = state.scheduler_job_id;
  if (id < 1) {
    id = to_number(platform::get_variable("CCP_JOB_ID").value_or(""));
  }
  if (!head || id < 1) {
    return "null";
  }
  std::string members;
  add_member(members, "head_node", json_text(*head));
  add_member(members, "id", json_number(id));
  add_member(members, "state", json_text_or_null(run.job_state));
  add_member(members, "released", json_bool(run.job_released));
  return json_object(members);
}

std::string array_of_texts(const std::vector<std::string> &texts) {
  std::string elements;
  for (const std::string &text : texts) {
    add_element(elements, json_text(text));
  }
  return json_array(elements);
}

std::string record_json(int status) {
  std::vector<std::string> arguments;
  for (int i = 1; i < state.arg_count; ++i) {
    arguments.emplace_back(state.arg_vector[i]);
  }
  std::string variables;
  add_member(variables, "read", variables_json(run.variables_read));
  add_member(variables, "set", variables_json(run.variables_set));
  std::string steps;
  for (const recorded_step &step : run.steps) {
    add_element(steps, step_json(step));
  }
  std::string members;
  const auto add = [&members](std::string_view name, std::string_view value) {
    add_element(members, "\n " + json_text(name).append(": ").append(value));
  };
  add("format", json_text(std::string_view("zephon-run-record")));
  add("version", json_number(format_version));
  add("launcher", json_text(std::string_view(LAUNCHER_VERSION)));
  add("rehearsal", json_bool(rehearsal::is_on()));
  add("status", json_number(status));
  add("arguments", array_of_texts(arguments));
  add("working_directory", json_text_or_null(platform::current_directory()));
  add("computer", json_text_or_null(platform::get_variable("COMPUTERNAME")));
  add("variables", json_object(variables));
  add("steps", json_array(steps));
  add("launch", run.launch ? launch_json(*run.launch) : "null");
  add("job", job_json());
  add("messages", array_of_texts(run.messages));
  return json_object(members) + "\n";
}

// Under a name of its own first, so that nobody ever reads half a record.
bool write_record(const std::string &path, const std::string &content) {
  const std::string part = path + format_text(".%lu.part", platform::process_id());
  platform::remove_file(part);
  auto file = platform::open_file(part, platform::open_mode::create);
  if (!file) {
    return false;
  }
  const bool complete = platform::write_all(file.get(), content.data(), content.size());
  file.reset();
  if (!complete || !platform::replace_file(part, path)) {
    platform::remove_file(part);
    return false;
  }
  return true;
}

// ---- The rehearsal as a text --------------------------------------------------------------

const char *left_out(step_kind kind) {
  switch (kind) {
    case step_kind::file:
      return "not written: ";
    case step_kind::query:
    case step_kind::question:
      return "not asked: ";
    case step_kind::message:
      return "not shown: ";
    case step_kind::action:
      break;
  }
  return "not done: ";
}

// Not through core/messages, which tells its own part to this file.
void write_to(platform::standard_stream stream, const std::string &text) {
  if (void *const handle = platform::standard_handle(stream)) {
    (void)platform::write_all(handle, text.data(), text.size());  // nobody may be reading
  }
}

// Says a text, its further lines below the first one.
void say(std::string_view text) {
  std::string shown = "\r\nRehearsal: ";
  for (const char letter : text) {
    shown += letter == '\n' ? "\r\n    " : std::string(1, letter);
  }
  write_to(platform::standard_stream::output, shown + "\r\n");
}

void tell_launch(int status) {
  if (!run.launch) {
    say(format_text("nothing would be launched; the launcher ends with status %d", status));
    return;
  }
  std::string text =
      "the launch command\n" + run.launch->command.text + "\nand where its pieces come from";
  for (const command_piece &piece : run.launch->command.pieces) {
    text += "\n|" + piece.text + "|  " + piece.reason;
  }
  say(text);
}

// Without a record, Ctrl-C would end the program here and show nothing.
void end_by_ctrl_c(int) {
  state.message_buffer.clear();
  platform::exit_program(status_ended_by_ctrl_c);
}

}  // namespace

void begin_run_record(int count, char **arguments) {
  if (platform::get_variable("ZEPHON_REHEARSAL") == "1") {
    rehearsal::begin();
  }
  run.file = platform::get_variable("ZEPHON_RUN_RECORD");
  if (run.file && run.file->empty()) {
    run.file.reset();
  }
  recorded = run.file || rehearsal::is_on();
  if (!recorded) {
    return;
  }
  state.arg_count = count;
  state.arg_vector = arguments;
  platform::at_exit([] { finish_run_record(platform::status_at_exit()); });
  if (run.file) {
    (void)platform::set_interrupt_handler(end_by_ctrl_c);
  }
}

bool run_is_recorded() {
  return recorded;
}

std::size_t begin_step(step_kind kind, const std::string &text) {
  if (!recorded) {
    return 0;
  }
  const turn mine;
  run.steps.push_back({kind, text, platform::current_microseconds(), {}, {}, {}});
  return run.steps.size() - 1;
}

namespace {

bool is_same(const recorded_step &one, const recorded_step &other) {
  return one.kind == other.kind && one.text == other.text &&
         one.end.exit_code == other.end.exit_code && one.end.lines == other.end.lines;
}

// Of a question that is asked again and again with the same answer, as while a
// job waits, the first and the last stay: it may wait for days.
void drop_repeated_question() {
  const std::size_t count = run.steps.size();
  if (count >= 3 && run.steps[count - 1].kind == step_kind::query &&
      is_same(run.steps[count - 1], run.steps[count - 2]) &&
      is_same(run.steps[count - 2], run.steps[count - 3])) {
    run.steps.erase(run.steps.end() - 2);
  }
}

}  // namespace

void end_step(std::size_t step, const step_end &end) {
  if (!recorded) {
    return;
  }
  const turn mine;
  if (step < run.steps.size()) {
    run.steps[step].ended = platform::current_microseconds();
    run.steps[step].end = end;
    drop_repeated_question();
  }
}

void tell_step(step_kind kind, const std::string &text, std::string_view assumed,
               std::string_view content) {
  std::string told = left_out(kind) + text;
  for (std::size_t start = 0; start < content.size();) {
    const std::size_t end = std::min(content.find('\n', start), content.size());
    told.append("\n|").append(content.substr(start, end - start));
    start = end + 1;
    if (told.ends_with('\r')) {
      told.pop_back();
    }
  }
  say(told.append("\ntaken for its outcome: ").append(assumed));
  const std::size_t step = begin_step(kind, text);
  end_step(step, {});
  const turn mine;
  run.steps[step].assumed = std::string(assumed);
}

void tell_unknown(std::string_view what) {
  if (rehearsal::is_on()) {
    const std::string text = std::string("only the real run shows ").append(what);
    say(text);
    end_step(begin_step(step_kind::message, text), {});
  }
}

void record_variable_read(const char *name, const std::optional<std::string> &value) {
  if (!recorded) {
    return;
  }
  const turn mine;
  // As it stood when the launcher came: what it set itself is told apart.
  if (!holds_variable(run.variables_read, name) && !holds_variable(run.variables_set, name)) {
    run.variables_read.emplace_back(name, value);
  }
}

void record_variable_set(const std::string &name_and_value) {
  if (!recorded) {
    return;
  }
  const turn mine;
  const std::size_t equals = name_and_value.find('=');
  set_variable(run.variables_set, name_and_value.substr(0, equals),
               equals == std::string::npos ? "" : name_and_value.substr(equals + 1));
}

void record_message(const std::string &text) {
  if (recorded) {
    const turn mine;
    run.messages.push_back(text);
  }
}

void record_launch(const command_line &command) {
  if (recorded) {
    const turn mine;
    run.launch = recorded_launch{command, {}, {}, {}, {}, {}, {}};
  }
}

void record_launch_started(std::optional<unsigned long> process_id) {
  if (recorded && run.launch && !rehearsal::is_on()) {
    const turn mine;
    run.launch->process = process_id;
    run.launch->started = platform::current_microseconds();
  }
}

void record_launch_status(int status) {
  if (recorded && run.launch && !rehearsal::is_on()) {
    const turn mine;
    run.launch->ended = platform::current_microseconds();
    run.launch->exit_code = status;
  }
}

void record_launch_ended(void *process, void *group) {
  if (!recorded || !run.launch) {
    return;
  }
  record_launch_status(static_cast<int>(platform::exit_code(process)));
  const auto microseconds = [](const std::optional<std::uint64_t> &ticks) {
    return ticks ? std::optional(static_cast<std::int64_t>(*ticks) / ticks_per_microsecond)
                 : std::nullopt;
  };
  const turn mine;
  run.launch->own_time = microseconds(platform::processor_time(process));
  if (group != nullptr) {
    run.launch->all_time = microseconds(platform::group_processor_time(group));
  }
  if (run.launch->all_time && run.launch->own_time > run.launch->all_time) {
    run.launch->all_time.reset();  // a system that does not count
  }
}

void record_job_state(const std::string &job_state) {
  if (recorded) {
    const turn mine;
    run.job_state = job_state;
  }
}

void record_job_released() {
  if (recorded) {
    const turn mine;
    run.job_released = true;
  }
}

void finish_run_record(int status) {
  const turn mine;  // the program must not end while another thread writes it
  if (!recorded.exchange(false)) {
    return;
  }
  if (run.file && !write_record(*run.file, record_json(status))) {
    write_to(platform::standard_stream::error,
             format_text("\r\nWarning: Failed to write run record %s\r\n", run.file->c_str()));
  }
  if (rehearsal::is_on()) {
    tell_launch(status);
  }
}

void forget_run_record() {
  recorded = false;
  in_use.clear();
  run = recorded_run{};
  rehearsal::end();
}
