// command_runner.cpp: starts tools behind the command interpreter.
#include "core/command_runner.h"

#include <atomic>
#include <utility>

#include "core/messages.h"
#include "core/run_record.h"
#include "core/trace.h"
#include "core/unc_path.h"
#include "platform/rehearsal.h"

namespace {

std::unique_ptr<run_record> runner_process;  // the current run
platform::owned_handle monitor_thread;       // reads the current run's output
std::atomic<bool> monitor_stopping = false;

constexpr int runner_trace_line = 4151;

// A monitor that hangs is interrupted so often, with a wait of this many
// milliseconds each, before its thread is ended.
constexpr int monitor_end_attempts = 40;
constexpr unsigned long monitor_end_wait = 25;

// Without a group the interpreter alone can be ended, and the tool goes on.
void end_processes_of(const run_record &run) {
  platform::terminate_process(run.process.get(), 0);
  if (run.group) {
    platform::terminate_group(run.group.get(), 0);
  }
}

constexpr const char *success = "success";

// Nothing for a tool that still ran when its reader had read enough.
std::optional<int> known_status(int status) {
  return status == static_cast<int>(platform::process_still_active) ? std::nullopt
                                                                    : std::optional(status);
}

// Hands the assumed output to the taker, line by line.
void rehearse_command(const std::string &command, step_kind kind, const std::string &output,
                      const line_taker &take_line) {
  tell_step(kind, command,
            output.empty() ? success : output.substr(0, output.find_last_not_of('\n') + 1));
  text_reader reader;
  reader.buffer = output;
  reader.filled = output.size();
  reader.ended = true;
  std::string line;
  while (read_line(reader, line) && take_line(line)) {
  }
}

// Starts the interpreter with a command. In a network folder it would complain, and go
// to Windows' folder: that complaint would be the first line of the tool's answer.
platform::started_process start_interpreter(const std::string &command,
                                            platform::start_settings settings) {
  const auto current = platform::current_directory();
  const std::string folder =
      current && is_network_path(*current) ? platform::windows_directory() : "";
  settings.directory = folder.empty() ? nullptr : folder.c_str();
  settings.is_interpreter = true;
  return platform::start_process(interpreter_line(command), settings);
}

// What a tool that is asked gets: an output of ours, and nothing to read.
platform::start_settings asked_settings(void *input, void *output, void *error) {
  platform::start_settings settings;
  settings.give_standard_handles = true;
  settings.input = input;
  settings.output = output;
  settings.error = error;
  settings.hidden = true;
  settings.handles = platform::inheritance::listed;
  return settings;
}

// Gives back the status, or -1 when the interpreter could not be started.
int wait_in_console(const std::string &command, console_output output) {
  platform::start_settings settings;
  platform::owned_handle nothing;
  void *const own_output = platform::standard_handle(platform::standard_stream::output);
  if (output == console_output::own_when_given && own_output != nullptr) {
    nothing = platform::open_null_input();
    settings.give_standard_handles = true;
    settings.input = nothing.get();
    settings.output = own_output;
    settings.error = platform::standard_handle(platform::standard_stream::error);
  }
  const platform::started_process started = start_interpreter(command, settings);
  if (!started.process) {
    return -1;
  }
  (void)platform::wait_for(started.process.get(), platform::wait_forever);
  return static_cast<int>(platform::exit_code(started.process.get()));
}

void discard_output_of(const std::string &command) {
  auto pipe = platform::create_pipe();
  if (!pipe) {
    return;
  }
  const platform::owned_handle nothing = platform::open_null_input();
  const platform::started_process started = start_interpreter(
      command, asked_settings(nothing.get(), pipe->write_end.get(),
                              platform::standard_handle(platform::standard_stream::error)));
  pipe->write_end.reset();  // the reading ends when the command's own write end closes
  char buffer[1024];
  while (platform::read_some(pipe->read_end.get(), buffer, sizeof buffer) > 0) {
  }
  if (started.process) {
    (void)platform::wait_for(started.process.get(), platform::wait_forever);
  }
}

}  // namespace

std::string interpreter_pair(const std::string &command) {
  return command.starts_with('"') ? "\"" : "";
}

std::string interpreter_line(const std::string &command) {
  const std::string pair = interpreter_pair(command);
  return "cmd.exe /c " + pair + command + pair;
}

std::unique_ptr<run_record> start_run(const std::string &command, stopping stop) {
  auto run = std::make_unique<run_record>();
  if (auto pipe = platform::create_pipe()) {
    run->output.handle = std::move(pipe->read_end);
    const platform::owned_handle nothing = platform::open_null_input();
    auto settings = asked_settings(nothing.get(), pipe->write_end.get(), pipe->write_end.get());
    settings.grouped = stop == stopping::possible;
    platform::started_process started = start_interpreter(command, settings);
    run->process = std::move(started.process);
    run->group = std::move(started.group);
    // Our own write end closes here: the reading ends when the command's does.
  }
  if (!run->process) {
    print_error("\nerror : cmd = %s\n", command.c_str());
    return nullptr;
  }
  return run;
}

int close_run(std::unique_ptr<run_record> run) {
  if (!run || !run->process) {
    return -1;
  }
  run->output.handle.reset();
  return static_cast<int>(platform::exit_code(run->process.get()));
}

text_reader *open_current_run(const std::string &command, stopping stop) {
  trace("cmd", command, runner_trace_line);
  if (!runner_process) {
    runner_process = start_run(command, stop);
  }
  return runner_process ? &runner_process->output : nullptr;
}

int close_current_run() {
  return close_run(std::move(runner_process));
}

void stop_current_run() {
  if (runner_process) {
    end_processes_of(*runner_process);
  }
  close_current_run();
}

tool_use asks() {
  return {};
}

tool_use acts(const std::string &assumed_output) {
  return {.changes_something = true, .assumed_output = assumed_output};
}

tool_use asks_about_the_assumed(const std::string &assumed_output) {
  return {.changes_something = false, .assumed_output = assumed_output};
}

std::optional<int> run_command(const std::string &command, const tool_use &use,
                               const line_taker &take_line) {
  const step_kind kind = use.changes_something ? step_kind::action : step_kind::query;
  if (rehearsal::is_on() && use.assumed_output) {
    rehearse_command(command, kind, *use.assumed_output, take_line);
    return 0;
  }
  const std::size_t step = begin_step(kind, command);
  text_reader *output = open_current_run(command);
  if (output == nullptr) {
    print_error("\nError in execute command %s\n", command.c_str());
    return std::nullopt;
  }
  int lines = 0;
  std::string line;
  while (read_line(*output, line)) {
    ++lines;
    if (!take_line(line)) {
      break;
    }
  }
  const int status = close_current_run();
  end_step(step, {.exit_code = known_status(status), .lines = lines});
  return status;
}

int run_in_console(const std::string &command, console_output output) {
  if (rehearsal::is_on()) {
    tell_step(step_kind::action, command, success);
    return 0;
  }
  const std::size_t step = begin_step(step_kind::action, command);
  const int status = wait_in_console(command, output);
  end_step(step, {.exit_code = status, .lines = {}});
  return status;
}

void run_without_output(const std::string &command) {
  if (rehearsal::is_on()) {
    tell_step(step_kind::action, command, success);
    return;
  }
  const std::size_t step = begin_step(step_kind::action, command);
  discard_output_of(command);
  end_step(step, {});
}

bool start_and_leave(const std::string &command, const platform::start_settings &settings) {
  if (rehearsal::is_on()) {
    tell_step(step_kind::action, command, "started");
    return true;
  }
  const std::size_t step = begin_step(step_kind::action, command);
  const bool started = platform::start_process(command, settings).process != nullptr;
  end_step(step, {});
  return started;
}

unsigned long start_monitor(platform::thread_routine routine, void *argument) {
  monitor_stopping = false;
  platform::started_thread started = platform::start_thread(routine, argument);
  monitor_thread = std::move(started.thread);
  return monitor_thread ? started.id : 0;
}

bool stop_monitor() {
  if (!monitor_thread) {
    return false;
  }
  // Ended in the middle of a write or an allocation, the thread would leave a
  // lock behind. So it may end by itself, as the tool's output now does; if it
  // does not, the read or write in which it hangs is broken off.
  monitor_stopping = true;
  if (runner_process) {
    end_processes_of(*runner_process);
  }
  bool ended = platform::wait_for(monitor_thread.get(), monitor_end_wait);
  for (int attempt = 0; attempt < monitor_end_attempts && !ended; ++attempt) {
    platform::interrupt_thread(monitor_thread.get());
    ended = platform::wait_for(monitor_thread.get(), monitor_end_wait);
  }
  if (!ended) {
    platform::terminate_thread(monitor_thread.get());
  }
  monitor_thread.reset();
  close_current_run();
  return true;
}

bool monitor_is_stopping() {
  return monitor_stopping;
}

void finish_monitor() {
  platform::wait_for(monitor_thread.get(), platform::wait_forever);
  monitor_thread.reset();
  close_current_run();
}
