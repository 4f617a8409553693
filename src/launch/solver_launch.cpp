// solver_launch.cpp: from the finished command line to the timing report.
#include "launch/solver_launch.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <ctime>

#include "core/environment.h"
#include "core/exit_status.h"
#include "core/launch_state.h"
#include "core/messages.h"
#include "core/run_record.h"
#include "core/text.h"
#include "core/text_file.h"
#include "platform/platform.h"
#include "platform/rehearsal.h"
#include "scheduler/job_exit.h"

namespace {

constexpr double processor_ticks_per_second = 10'000'000.0;  // units of 100 ns

void warn_without_launch_command() {
  if (state.launch_command.text.empty() && state.mpi_selected && !state.mpi_name.empty() &&
      state.mpi_name != "net") {
    add_message(
        "\nWarning: MPI \"%s\" has no launch command, so the program is started without one.\n",
        state.mpi_name.c_str());
  }
}

platform::start_settings child_settings() {
  platform::start_settings settings;
  settings.grouped = state.attended || run_is_recorded();  // to end it, or for its times
  if (env_text("STDOUT_FLUSH") == "1") {
    settings.give_standard_handles = true;
    settings.output = platform::standard_handle(platform::standard_stream::output);
    settings.error = platform::standard_handle(platform::standard_stream::error);
    settings.hidden = true;
  }
  if (state.windows_version_class == 2) {
    settings.environment = state.env_pool.data();
  }
  return settings;
}

// The program of an attended run. Another thread may end it at any moment, so its
// handles are closed with the launcher.
std::atomic<void *> attended_process = nullptr;
std::atomic<void *> attended_group = nullptr;
std::atomic<bool> is_starting = false;  // it may run already, and is not attended yet

void attend(platform::started_process &child) {
  attended_group = child.group.release();
  attended_process = child.process.get();
  is_starting = false;
}

platform::started_process start_child(const command_line &command) {
  command_line started = command;
  remove_leading_blanks(started);  // Windows starts nothing behind one
  record_launch(started);
  platform::started_process child = platform::start_process(started.text, child_settings());
  if (!child.process) {
    is_starting = false;
    add_message("Unable to execute %s %s\n", "(null)", command.text.c_str());
    add_message("%s\n", platform::system_message(child.error).c_str());
    platform::exit_program(exit_cannot_launch);
  }
  record_launch_started(child.id);
  return child;
}

// Tells the program that started the launcher which process to watch.
void announce_child(unsigned long process_id) {
  if (const auto mapping = env_text("ZEPHON_CHILD")) {
    platform::write_shared_number(std::strtoull(mapping->c_str(), nullptr, 10),
                                  static_cast<std::uint32_t>(process_id));
  }
}

// Every sibling program is waited for, "tessa" too; the solver only in wait mode.
bool must_wait() {
  return state.zephon_prod != "zephon" || state.ctrl_c_ignored ||
         (state.attended && state.wait_mode);
}

// A report that cannot be written changes nothing.
void write_timing_file(std::time_t start, std::time_t end, void *child) {
  if (!state.timing_file) {
    return;
  }
  auto report = create_text(*state.timing_file, platform::open_mode::write);
  if (!report) {
    return;
  }
  write_text(*report, "Start: " + calendar_text(start));
  write_text(*report, "End:   " + calendar_text(end));
  write_text(*report, format_text("Elapsed Time: %.2f sec\n", std::difftime(end, start)));
  if (const auto ticks = platform::processor_time(child)) {
    write_text(*report, format_text("CPU Time:     %.2f sec\n",
                                    static_cast<double>(*ticks) / processor_ticks_per_second));
  } else {
    write_text(*report, "CPU Time: (unavailable)\n");
  }
}

// The end of a local run, told and not done.
void rehearse_launch(command_line command) {
  remove_leading_blanks(command);
  record_launch(command);
  const bool too_long = command.text.size() > platform::longest_command_line;
  if (too_long || !platform::program_exists(command.text)) {
    tell_step(step_kind::action, command.text,
              too_long ? "not started: Windows takes no command of this length"
                       : "not started: there is no such program");
    platform::exit_program(exit_cannot_launch);
  }
  tell_step(step_kind::action, command.text, "started");
  if (state.wait_mode || state.zephon_prod != "zephon") {
    tell_unknown("how long the program runs and how it ends");
    if (state.timing_file) {
      tell_step(step_kind::file, "write " + *state.timing_file, "start, end and times of the run");
    }
  }
  if (!state.mpi_selected) {
    run_job_exit_command();
  }
}

}  // namespace

command_line join_solver_arguments() {
  warn_without_launch_command();
  command_line command = state.launch_command;
  append(command, " ", "between the launch command and the solver's arguments");
  append(command, state.solver_args_line, "the solver's arguments");
  return command;
}

void launch_solver(const command_line &command) {
  if (rehearsal::is_on()) {
    rehearse_launch(command);
    return;
  }
  attended_process = nullptr;
  is_starting = state.attended;
  platform::started_process child = start_child(command);
  announce_child(child.id);
  if (state.attended) {
    attend(child);
  } else if (state.wait_mode) {
    platform::ignore_ctrl_c();  // the child was started before and keeps its own handling
    state.ctrl_c_ignored = true;
  }
  if (must_wait()) {
    const std::time_t start = platform::current_time();
    platform::wait_for(child.process.get(), platform::wait_forever);
    record_launch_ended(child.process.get(),
                        state.attended ? attended_group.load() : child.group.get());
    write_timing_file(start, platform::current_time(), child.process.get());
    if (state.attended || solver_status_is_wanted()) {
      state.solver_status = static_cast<int>(platform::exit_code(child.process.get()));
    }
  }
  if (state.attended) {
    (void)child.process.release();
  }
  child.process.reset();

  if (!state.mpi_selected) {
    run_job_exit_command();
  }
}

bool solver_runs() {
  while (is_starting) {
    platform::sleep_ms(1);
  }
  void *process = attended_process;
  return process != nullptr && !platform::wait_for(process, 0);
}

bool wait_for_solver(unsigned long milliseconds) {
  return platform::wait_for(attended_process, milliseconds);
}

void stop_solver() {
  if (!solver_runs()) {
    return;
  }
  platform::terminate_process(attended_process, exit_interrupted);
  if (void *group = attended_group) {
    platform::terminate_group(group, exit_interrupted);
  }
}
