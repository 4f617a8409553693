// job_submission.cpp: the ways in which the MPIs get their work to the scheduler.
#include "scheduler/job_submission.h"

#include <algorithm>
#include <atomic>
#include <cfloat>
#include <cmath>
#include <cstdint>

#include "core/command_runner.h"
#include "core/environment.h"
#include "core/launch_state.h"
#include "core/messages.h"
#include "core/run_record.h"
#include "core/text_file.h"
#include "core/trace.h"
#include "platform/platform.h"
#include "platform/rehearsal.h"
#include "scheduler/job_exit.h"
#include "scheduler/job_identifier.h"
#include "scheduler/job_watch.h"
#include "scheduler/scheduler_options.h"

namespace {

constexpr std::size_t shortened_command_limit = 1024;
constexpr float default_submit_wait = 60.0F;     // seconds
constexpr std::uint64_t wake_up_interval = 100;  // milliseconds
constexpr std::uint64_t no_limit = ~std::uint64_t{0};
constexpr int submit_trace_line = 3432;
constexpr int inside_job_trace_line = 3448;

// What the monitor of the submit command hands to the main thread.
std::atomic<int> submitted_job_id = -1;  // below 0: it has not read one
std::atomic<bool> submit_answered = false;
std::atomic<void *> job_event = nullptr;

// A log that cannot be written changes nothing.
void log_run_command(const std::string &command) {
  const auto path = env_text("ZEPHON_RUN_DEBUG");
  if (!path) {
    return;
  }
  if (auto log = create_text(*path, platform::open_mode::append)) {
    write_text(*log, "\n" + command + "\n");
  }
}

void run_and_echo(const std::string &command) {
  run_command(command, acts(), [](const std::string &line) {
    print_text(platform::standard_stream::output, line);
    return true;
  });
}

// The monitor: echoes the submit command's output until it has answered. The main
// thread closes the run, before or after the answer.
void print_submit_output(void *stream_holder) {
  auto &output = *static_cast<text_reader *>(stream_holder);
  bool answered = false;
  bool echoes = true;
  std::string line;
  while (!answered && read_line(output, line)) {
    const int job_id = parse_job_id(line);
    // A write that was broken off at the end of the time would hang again with each line.
    echoes =
        echoes && (print_text(platform::standard_stream::output, line) || !monitor_is_stopping());
    if (job_id >= 0) {
      submitted_job_id = job_id;
    }
    answered = contains(line, "submitted") || contains(line, "Cannot connect");
  }
  if (answered || !monitor_is_stopping()) {
    submit_answered = true;
  }
  platform::set_event(job_event);
}

// Without a monitor the main thread hears the submit command out.
void hear_submit_output(text_reader &output) {
  std::string line;
  while (read_line(output, line)) {
    const int job_id = parse_job_id(line);
    print_text(platform::standard_stream::output, line);
    if (job_id >= 0) {
      state.scheduler_job_id = job_id;
    }
  }
}

// CCP_JOB_SUBMIT_WAIT_TIME in milliseconds; what is no number leaves 60 seconds, a
// negative number is no limit.
std::uint64_t submit_wait() {
  float seconds = default_submit_wait;
  if (const auto wait_time = env_text("CCP_JOB_SUBMIT_WAIT_TIME")) {
    print("\nCCP_JOB_SUBMIT_WAIT_TIME = %s\n", wait_time->c_str());
    const double value = to_decimal(*wait_time).value_or(default_submit_wait);
    seconds = std::fabs(value) <= FLT_MAX ? static_cast<float>(value) : default_submit_wait;
  }
  constexpr double longest = 4e15;  // as good as none
  return seconds < 0.0F
             ? no_limit
             : static_cast<std::uint64_t>(std::min(static_cast<double>(seconds) * 1000.0, longest));
}

// Waits until the monitor has seen the answer or the time is over.
//
// The event's name is known to every launcher on the machine, so that another
// one may set it or take it: the flag decides, the event only wakes us early.
void wait_for_monitor(void *event, std::uint64_t limit) {
  const std::uint64_t start = platform::elapsed_ms();
  for (std::uint64_t waited = 0; waited < limit && !submit_answered;
       waited = platform::elapsed_ms() - start) {
    const auto slice = static_cast<unsigned long>(std::min(wake_up_interval, limit - waited));
    if (platform::wait_for(event, slice) && !submit_answered) {
      platform::sleep_ms(1);  // woken for another launcher's answer
    }
  }
}

// Hears the submit command until it has answered; false when the time ran out.
bool wait_for_submit_answer(text_reader *output, void *event) {
  submitted_job_id = -1;
  submit_answered = false;
  job_event = event;
  const std::uint64_t limit = submit_wait();
  if (start_monitor(print_submit_output, output) == 0) {
    hear_submit_output(*output);
    return true;
  }
  wait_for_monitor(event, limit);
  if (submit_answered) {
    finish_monitor();
  } else {
    stop_monitor();
  }
  if (submitted_job_id >= 0) {
    state.scheduler_job_id = submitted_job_id;
  }
  return submit_answered;  // also when the answer came as the time ran out
}

void record_interpreted_launch(const command_line &command) {
  record_launch(command);
  if (command.text.size() > platform::longest_interpreted) {
    tell_unknown("what the command interpreter makes of a command of this length");
  }
}

void submit_and_watch(const std::string &command) {
  if (rehearsal::is_on()) {
    tell_step(step_kind::action, command, "the task was taken");
    run_job_exit_command();
    tell_unknown("how long the job waits and runs, and how it ends");
    return;
  }
  const std::size_t step = begin_step(step_kind::action, command);
  // Stopped with the tool behind it, or a job would be submitted twice.
  text_reader *output = open_current_run(command, stopping::possible);
  if (output == nullptr) {
    print_error("\nError in run the job submit command!\n");
  } else {
    const platform::created_event created = platform::create_event("for_print_thread");
    if (!created.event) {
      print_error("\nError in CreateEvent, error ID = %d!\n", static_cast<int>(created.error));
      hear_submit_output(*output);  // or the job is released before its task is there
    } else {
      if (!wait_for_submit_answer(output, created.event.get())) {
        // In the console, so that the tool can ask for what it seems to wait for.
        run_in_console(command +
                       (state.attended ? "" : " -ccp_job %CCP_TASKCONTEXT%@%CCP_CLUSTER_NAME% "));
      }
      // The MPI's name stands where a count might be expected: scripts match this line.
      print_error("Waiting for CCP scheduler@%s to start %s nodes ...\n", chars_of(head_node()),
                  state.mpi_name.c_str());
    }
    close_current_run();
  }
  end_step(step, {});
  run_job_exit_command();
  watch_scheduler_job();
}

// Platform MPI: the command adds a task to the job, which is submitted unless it
// was there before.
void add_and_submit(const std::string &command) {
  run_and_echo(command);
  if (!given_job() && !env_is_set("CCP_JOBID")) {
    const std::string submit =
        format_text("%s submit /scheduler:%s /id:%d ", state.ccp_job_command.c_str(),
                    chars_of(head_node()), state.scheduler_job_id);
    trace("args", submit, submit_trace_line);
    run_and_echo(submit);
  }
  run_job_exit_command();
  watch_scheduler_job();
}

}  // namespace

bool submit_scheduler_job(command_line &command) {
  if (command.text.size() <= shortened_command_limit) {
    remove_leading_blanks(command);
  }
  log_run_command(command.text);
  const auto head = head_node();
  if (!head || host_file()) {
    return false;
  }
  if (state.mpi_name == "ibmmpi" && contains(command.text, state.ccp_job_command + " add")) {
    record_interpreted_launch(command);
    add_and_submit(command.text);
    return true;
  }
  // A front follows the job of Intel MPI as well, so it has to learn its number.
  const bool answers = state.mpi_name == "msmpi" ||
                       (state.attended && state.mpi_name == "intel" && *head != inside_job);
  if (answers && contains(command.text, "mpiexec")) {
    record_interpreted_launch(command);
    if (*head == inside_job) {
      trace("args", command.text, inside_job_trace_line);
      record_launch_started(std::nullopt);
      state.solver_status = run_in_console(command.text, console_output::own_when_given);
      record_launch_status(*state.solver_status);
      watch_scheduler_job();
    } else {
      submit_and_watch(command.text);
    }
    return true;
  }
  watch_scheduler_job();
  return false;
}
