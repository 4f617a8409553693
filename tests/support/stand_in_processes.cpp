// stand_in_processes.cpp: the programs that the launcher starts. Each runs
// through the steps of its answer as time passes, and waits when a pipe is full.
#include <algorithm>

#include "support/stand_in_world.h"

namespace stand_in {

namespace {

constexpr std::string_view interpreter_beginning = "cmd.exe /c ";
constexpr std::size_t longest_interpreter_line = 8'191;
constexpr std::size_t pipe_room = 4'096;
constexpr unsigned long error_not_found = 2;
constexpr unsigned long error_bad_parameter = 87;
constexpr unsigned long error_name_too_long = 206;

tool_answer not_found(const std::string &command) {
  const std::string program = command.substr(0, command.find(' '));
  return tool_answer{}
      .then_prints_error("'" + program +
                         "' is not recognized as an internal or external command,\r\n"
                         "operable program or batch file.\r\n")
      .exits_with(1);
}

auto find_rule(const std::string &command) {
  auto &rules = the_world().rules;
  return std::find_if(rules.rbegin(), rules.rend(),
                      [&command](const tool_rule &one) { return one.matches(command); });
}

std::optional<tool_answer> find_answer(const std::string &command) {
  const auto rule = find_rule(command);
  if (rule == the_world().rules.rend()) {
    return std::nullopt;
  }
  tool_answer answer = rule->answers.front();
  if (rule->answers.size() > 1) {
    rule->answers.pop_front();
  }
  return answer;
}

// The command that the interpreter runs when it is given this text. It cuts off a
// quote at the beginning, and the last one with it, unless these are the only two and
// hold a name with a blank and nothing special.
std::string without_outer_quotes(const std::string &text) {
  const std::size_t last = text.rfind('"');
  if (!text.starts_with('"') || last == 0) {
    return text;
  }
  const std::string between = text.substr(1, last - 1);
  if (between.find_first_of("\"&<>()@^|") == std::string::npos &&
      between.find(' ') != std::string::npos) {
    return text;
  }
  return between + text.substr(last + 1);
}

// What the command interpreter makes of a command.
tool_answer interpreted(const std::string &command) {
  if (the_world().interpreter_error != 0) {
    return cannot_start(the_world().interpreter_error);
  }
  if (command.size() + interpreter_beginning.size() > longest_interpreter_line) {
    return tool_answer{}.then_prints_error("The command line is too long.\r\n").exits_with(1);
  }
  auto answer = find_answer(command);
  return !answer || answer->start_error != 0 ? not_found(command) : std::move(*answer);
}

// What Windows makes of a command line.
tool_answer started_directly(const std::string &command_line) {
  if (command_line.empty()) {
    return cannot_start(error_bad_parameter);
  }
  if (command_line.size() > platform::longest_command_line) {
    return cannot_start(error_name_too_long);
  }
  if (command_line[0] == ' ') {
    return cannot_start(error_not_found);
  }
  return find_answer(command_line).value_or(cannot_start(error_not_found));
}

void hold_pipe(process &one, const std::shared_ptr<pipe> &held) {
  if (std::find(one.held.begin(), one.held.end(), held) == one.held.end()) {
    one.held.push_back(held);
    ++held->child_ends;
  }
}

void close_output(process &one) {
  for (const auto &held : one.held) {
    --held->child_ends;
  }
  one.held.clear();
  one.output = {};
  one.error = {};
}

// The end of the process and of the tool behind it.
void end_process(process &one, unsigned long code) {
  close_output(one);
  one.steps.clear();
  one.gone = true;
  if (!one.ended) {
    one.exit_code = code;
    one.ended = true;
  }
}

// Writes what fits; false when the process must wait for room.
bool write_step(const std::shared_ptr<process> &one, process::step &step,
                const output_target &target) {
  const std::string_view text = std::string_view(step.text).substr(step.written);
  if (const auto *place = std::get_if<standard_place>(&target)) {
    write_standard(*place, text);
  } else if (const auto *written = std::get_if<std::shared_ptr<file>>(&target)) {
    (*written)->content += text;
  } else if (const auto *into = std::get_if<std::shared_ptr<pipe>>(&target)) {
    if (!(*into)->read_end_open) {
      return true;  // nobody reads it: the rest of the text is lost
    }
    const std::size_t room = pipe_room - std::min(pipe_room, (*into)->data.size());
    (*into)->data += text.substr(0, room);
    step.written += std::min(room, text.size());
    if (step.written < step.text.size()) {
      (*into)->waiting.push_back(one);
      return false;
    }
  }
  return true;
}

void take_steps(const std::shared_ptr<process> &one);

void take_next_step_in_time(const std::shared_ptr<process> &one) {
  if (!one->steps.empty() && one->steps.front().delay != never) {
    after(one->steps.front().delay, [one] { take_steps(one); });
  }
}

void take_steps(const std::shared_ptr<process> &one) {
  while (!one->steps.empty()) {
    process::step &step = one->steps.front();
    switch (step.what) {
      case process::step::write_output:
      case process::step::write_error:
        if (!write_step(one, step,
                        step.what == process::step::write_output ? one->output : one->error)) {
          return;
        }
        break;
      case process::step::close_output:
        close_output(*one);
        break;
      case process::step::exit:
        end_process(*one, one->exit_code);
        return;
    }
    one->steps.pop_front();
    if (one->steps.front().delay > 0) {
      take_next_step_in_time(one);
      return;
    }
  }
}

void add_steps(process &one, const tool_answer &answer) {
  for (const tool_answer::piece &piece : answer.pieces) {
    const bool is_output = piece.stream == platform::standard_stream::output;
    one.steps.push_back(
        {.delay = piece.delay,
         .what = is_output ? process::step::write_output : process::step::write_error,
         .text = piece.text});
  }
  one.steps.push_back(
      {.delay = answer.output_stays_open, .what = process::step::close_output, .text = {}});
  one.steps.push_back(
      {.delay = answer.lives_without_output, .what = process::step::exit, .text = {}});
}

std::shared_ptr<process> new_process(const started_command &started, const tool_answer &answer) {
  world &here = the_world();
  auto one = std::make_shared<process>();
  one->id = started.id;
  one->command = started.command;
  one->exit_code = answer.exit_code;
  one->processor_time = answer.processor_time;
  one->group_time = answer.group_time ? answer.group_time : answer.processor_time;
  add_steps(*one, answer);
  here.processes.push_back(one);
  if (answer.deed) {
    answer.deed();
  }
  return one;
}

output_target target_of(const void *handle) {
  if (handle == nullptr) {
    return {};
  }
  if (const auto place = standard_place_of(handle)) {
    return *place;
  }
  const handle_target *target = find_handle(handle, "start_process");
  if (target != nullptr) {
    if (const auto *writing = std::get_if<write_end>(target)) {
      return writing->of;
    }
    if (const auto *opened = std::get_if<std::shared_ptr<open_file>>(target)) {
      return (*opened)->content;
    }
    fail("a program is given something as its output that it cannot write to");
  }
  return {};
}

output_place place_of(const output_target &target) {
  if (const auto *place = std::get_if<standard_place>(&target)) {
    return *place == standard_place::output ? output_place::standard_output
                                            : output_place::standard_error;
  }
  if (std::holds_alternative<std::shared_ptr<pipe>>(target)) {
    return output_place::pipe;
  }
  return std::holds_alternative<std::shared_ptr<file>>(target) ? output_place::file
                                                               : output_place::nowhere;
}

void inherit(process &one, platform::inheritance handles) {
  for (const output_target &target : {one.output, one.error}) {
    if (const auto *into = std::get_if<std::shared_ptr<pipe>>(&target)) {
      hold_pipe(one, *into);
    }
  }
  if (handles == platform::inheritance::all) {
    for (const auto &[handle, target] : the_world().handles) {
      if (const auto *writing = std::get_if<write_end>(&target)) {
        hold_pipe(one, writing->of);
      }
    }
  }
}

// The text of an environment block with the two zeros at its end.
std::string block_text(const char *block) {
  const char *end = block;
  while (*end != '\0') {
    end += std::string_view(end).size() + 1;
  }
  std::string text(block, end);
  if (text.empty()) {
    text.push_back('\0');
  }
  text.push_back('\0');
  return text;
}

// How the launcher means a start, told by what it hands on.
start_way way_of(const platform::start_settings &settings) {
  if (!settings.is_interpreter) {
    return start_way::process;
  }
  if (!settings.give_standard_handles || standard_place_of(settings.output)) {
    return start_way::in_console;
  }
  return settings.output == settings.error ? start_way::process : start_way::output_discarded;
}

started_command begin_record(const std::string &command, const platform::start_settings &settings) {
  started_command record;
  record.command_line = command;
  record.command = command;
  if (settings.is_interpreter) {
    if (!command.starts_with(interpreter_beginning)) {
      fail("the interpreter is started without a command: " + command);
    }
    record.command = without_outer_quotes(command.substr(interpreter_beginning.size()));
  }
  record.way = way_of(settings);
  record.at = now();
  record.said_before = both_streams();
  record.gives_standard_handles = settings.give_standard_handles;
  record.hidden = settings.hidden;
  record.detached = settings.detached;
  record.handles = settings.handles;
  record.grouped = settings.grouped;
  record.is_interpreter = settings.is_interpreter;
  record.null_input = settings.input != nullptr && is_null_input(settings.input);
  if (settings.title != nullptr) {
    record.title = settings.title;
  }
  if (settings.directory != nullptr) {
    record.directory = settings.directory;
  }
  if (settings.environment != nullptr) {
    record.environment = block_text(settings.environment);
  }
  return record;
}

// Keeps the record of a start; a new process identifier unless there was an error.
started_command &keep_record(started_command record, unsigned long error) {
  world &here = the_world();
  record.error = error;
  if (error == 0) {
    record.id = here.next_process_id++;
  }
  here.started.push_back(std::move(record));
  return here.started.back();
}

void add_rule(tool_rule rule, const tool_answer &answer) {
  rule.answers.push_back(answer);
  the_world().rules.push_back(std::move(rule));
}

}  // namespace

// ---- What tests say and ask ---------------------------------------------------------------

tool_answer tool_answer::then_prints(const std::string &text, milliseconds delay) const {
  tool_answer longer = *this;
  longer.pieces.push_back({platform::standard_stream::output, text, delay});
  return longer;
}

tool_answer tool_answer::then_prints_error(const std::string &text, milliseconds delay) const {
  tool_answer longer = *this;
  longer.pieces.push_back({platform::standard_stream::error, text, delay});
  return longer;
}

tool_answer tool_answer::exits_with(unsigned long code) const {
  tool_answer other = *this;
  other.exit_code = code;
  return other;
}

tool_answer tool_answer::stays(milliseconds time) const {
  tool_answer other = *this;
  other.output_stays_open = time;
  return other;
}

tool_answer tool_answer::lives_on(milliseconds time) const {
  tool_answer other = *this;
  other.lives_without_output = time;
  return other;
}

tool_answer tool_answer::used_time(std::optional<std::uint64_t> hundred_ns,
                                   std::optional<std::uint64_t> with_all_it_started) const {
  tool_answer other = *this;
  other.processor_time = hundred_ns;
  other.group_time = with_all_it_started;
  return other;
}

tool_answer tool_answer::does(std::function<void()> something) const {
  tool_answer other = *this;
  other.deed = std::move(something);
  return other;
}

tool_answer prints(const std::string &text, milliseconds delay) {
  return tool_answer{}.then_prints(text, delay);
}

tool_answer exits_with(unsigned long code) {
  return tool_answer{}.exits_with(code);
}

tool_answer cannot_start(unsigned long error) {
  tool_answer answer;
  answer.start_error = error;
  return answer;
}

void given_tool(const std::string &command, const tool_answer &answer) {
  for (tool_rule &rule : the_world().rules) {
    if (rule.command == command) {
      rule.answers.push_back(answer);
      return;
    }
  }
  add_rule({.matches = [command](const std::string &asked) { return asked == command; },
            .command = command,
            .answers = {}},
           answer);
}

void given_tool_with(const std::string &piece_of_command, const tool_answer &answer) {
  add_rule({.matches =
                [piece_of_command](const std::string &asked) {
                  return asked.find(piece_of_command) != std::string::npos;
                },
            .command = {},
            .answers = {}},
           answer);
}

void given_tool_for(const std::function<bool(const std::string &command)> &matches,
                    const tool_answer &answer) {
  add_rule({.matches = matches, .command = {}, .answers = {}}, answer);
}

void given_no_command_interpreter(unsigned long error) {
  the_world().interpreter_error = error;
}
void given_no_groups() {
  the_world().no_groups = true;
}
void given_no_pipes() {
  the_world().no_pipes = true;
}

const std::vector<started_command> &started_commands() {
  return the_world().started;
}

std::vector<std::string> commands() {
  std::vector<std::string> texts;
  for (const started_command &one : the_world().started) {
    texts.push_back(one.command);
  }
  return texts;
}

bool process_runs(unsigned long id) {
  run_due_events();
  const auto &processes = the_world().processes;
  return std::any_of(processes.begin(), processes.end(),
                     [id](const auto &one) { return one->id == id && !one->gone; });
}

std::optional<unsigned long> terminated_with(unsigned long id) {
  for (const auto &one : the_world().processes) {
    if (one->id == id) {
      return one->terminated_with;
    }
  }
  return std::nullopt;
}

void given_shared_block(std::uint64_t mapping_handle) {
  the_world().shared_blocks[mapping_handle] = std::nullopt;
}

std::optional<std::uint32_t> shared_number(std::uint64_t mapping_handle) {
  const auto found = the_world().shared_blocks.find(mapping_handle);
  return found == the_world().shared_blocks.end() ? std::nullopt : found->second;
}

void pipe_was_read(pipe &read) {
  for (const auto &waiting : std::exchange(read.waiting, {})) {
    if (const auto one = waiting.lock()) {
      after(0, [one] { take_steps(one); });
    }
  }
}

}  // namespace stand_in

// ---- Behind the door ----------------------------------------------------------------------

namespace platform {

using stand_in::the_world;

std::optional<pipe_ends> create_pipe() {
  if (the_world().no_pipes) {
    return std::nullopt;
  }
  const auto made = std::make_shared<stand_in::pipe>();
  made->launcher_ends = 1;
  pipe_ends ends;
  ends.read_end.reset(stand_in::new_handle(stand_in::read_end{made}));
  ends.write_end.reset(stand_in::new_handle(stand_in::write_end{made}));
  return ends;
}

bool program_exists(const std::string &command) {
  const std::size_t start = command.starts_with('"') ? 1 : 0;
  const auto name = command.substr(start, command.find(".exe") + 4 - start);
  if (name.ends_with(".exe") && the_world().files.contains(stand_in::compared_path(name))) {
    return true;
  }
  const auto rule = stand_in::find_rule(command);
  return rule != the_world().rules.rend() &&
         rule->answers.front().start_error != stand_in::error_not_found;
}

started_process start_process(const std::string &command, const start_settings &settings) {
  stand_in::started_command record = stand_in::begin_record(command, settings);
  const stand_in::tool_answer answer = settings.is_interpreter
                                           ? stand_in::interpreted(record.command)
                                           : stand_in::started_directly(command);
  stand_in::output_target output;
  stand_in::output_target error;
  if (settings.give_standard_handles) {
    output = stand_in::target_of(settings.output);
    error = stand_in::target_of(settings.error);
    if (settings.handles == inheritance::none) {
      stand_in::fail("a program that inherits nothing is given standard handles");
    }
  } else if (settings.is_interpreter) {  // the launcher's own, as they are
    output = stand_in::standard_place::output;
    error = stand_in::standard_place::error;
  }
  record.output = stand_in::place_of(output);
  record.error_output = stand_in::place_of(error);
  const stand_in::started_command kept =
      stand_in::keep_record(std::move(record), answer.start_error);
  started_process started;
  started.error = kept.error;
  if (kept.error != 0) {
    return started;
  }
  started.id = kept.id;
  const auto one = stand_in::new_process(kept, answer);
  one->interpreted = settings.is_interpreter;
  one->output = output;
  one->error = error;
  stand_in::inherit(*one, settings.handles);
  stand_in::take_next_step_in_time(one);
  started.process.reset(stand_in::new_handle(one));
  if (settings.grouped && !the_world().no_groups) {
    started.group.reset(stand_in::new_handle(one));
  }
  return started;
}

unsigned long exit_code(void *process) {
  stand_in::run_due_events();
  const auto one = stand_in::handle_as<stand_in::process>(process, "exit_code");
  if (one == nullptr) {
    return 0;
  }
  return one->ended ? one->exit_code : process_still_active;
}

void terminate_process(void *process, unsigned long code) {
  stand_in::run_due_events();
  const auto one = stand_in::handle_as<stand_in::process>(process, "terminate_process");
  if (one == nullptr || one->ended) {
    return;
  }
  one->terminated_with = code;
  if (one->interpreted) {
    one->exit_code = code;  // the interpreter has ended, the tool goes on
    one->ended = true;
  } else {
    stand_in::end_process(*one, code);
  }
}

void terminate_group(void *group, unsigned long code) {
  stand_in::run_due_events();
  if (const auto one = stand_in::handle_as<stand_in::process>(group, "terminate_group")) {
    stand_in::end_process(*one, code);
  }
}

std::optional<std::uint64_t> processor_time(void *process) {
  const auto one = stand_in::handle_as<stand_in::process>(process, "processor_time");
  return one == nullptr ? std::nullopt : one->processor_time;
}

std::optional<std::uint64_t> group_processor_time(void *group) {
  const auto one = stand_in::handle_as<stand_in::process>(group, "group_processor_time");
  return one == nullptr ? std::nullopt : one->group_time;
}

void write_shared_number(std::uint64_t mapping_handle, std::uint32_t number) {
  auto &blocks = the_world().shared_blocks;
  if (const auto found = blocks.find(mapping_handle); found != blocks.end()) {
    found->second = number;
  }
}

}  // namespace platform
