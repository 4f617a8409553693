// console.cpp: what Ctrl-C stops. Every event comes on a thread of its own, so what is
// shared is atomic.
#include "front/console.h"

#include <atomic>

#include "core/command_runner.h"
#include "core/environment.h"
#include "core/exit_status.h"
#include "core/launch_state.h"
#include "core/messages.h"
#include "core/run_record.h"
#include "core/text.h"
#include "front/progress.h"
#include "launch/solver_launch.h"
#include "platform/platform.h"

namespace {

// The MPI's own program gets Ctrl-C too, and has this long to end its ranks.
constexpr unsigned long milliseconds_to_stop = 10'000;

std::atomic<int> interruptions = 0;
std::atomic<int> job_to_cancel = 0;

std::string cancel_command(int job_id) {
  return format_text("%s cancel %d /scheduler:%s", state.ccp_job_command.c_str(), job_id,
                     chars_of(head_node()));
}

// Seconds are left: the tool is started and not waited for.
void cancel_job_without_waiting() {
  if (const int job_id = job_to_cancel.exchange(0)) {
    platform::start_settings settings;
    settings.hidden = true;
    settings.detached = true;
    settings.handles = platform::inheritance::none;
    settings.is_interpreter = true;
    (void)start_and_leave(interpreter_line(cancel_command(job_id)), settings);
    record_job_released();
  }
}

// What is written down has to be written here: nothing runs behind it.
void end_everything() {
  stop_solver();
  platform::let_children_outlive_us();  // the tool that cancels the job
  cancel_job_without_waiting();
  finish_run_record(exit_interrupted);
}

void stop_in_time(void *) {
  if (!wait_for_solver(milliseconds_to_stop)) {
    stop_solver();
  }
}

void on_first_interruption() {
  clear_progress();
  if (solver_runs()) {
    print_error("zprun: stopping the run. Ctrl-C once more ends it at once.\n");
    (void)platform::start_thread(stop_in_time, nullptr);
  } else if (job_to_cancel == 0) {
    platform::exit_program(exit_interrupted);
  }
  // Who follows the job looks at was_interrupted, and cancels it.
}

void on_control_event(platform::control_event event) {
  if (event == platform::control_event::closing) {
    end_everything();
  } else if (++interruptions == 1) {
    on_first_interruption();
  } else {
    end_everything();
    platform::end_at_once(exit_interrupted);
  }
}

}  // namespace

void watch_console() {
  interruptions = 0;
  job_to_cancel = 0;
  platform::set_control_handler(on_control_event);
}

bool was_interrupted() {
  return interruptions > 0;
}

void set_job_to_cancel(int job_id) {
  job_to_cancel = job_id;
}

void cancel_job() {
  if (const int job_id = job_to_cancel.exchange(0)) {
    print_error("zprun: cancelling job %d\n", job_id);
    run_without_output(cancel_command(job_id));
    record_job_released();
  }
}
