// job_creation.cpp: new, submit, wait for the nodes; cancel on request.
#include "scheduler/job_creation.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <string>

#include "core/command_runner.h"
#include "core/environment.h"
#include "core/exit_status.h"
#include "core/launch_state.h"
#include "core/messages.h"
#include "core/run_record.h"
#include "core/timed_question.h"
#include "core/trace.h"
#include "platform/platform.h"
#include "scheduler/job_identifier.h"
#include "scheduler/job_state.h"
#include "scheduler/scheduler_options.h"

namespace {

constexpr int new_trace_line = 1706;
constexpr int submit_trace_line = 1739;
constexpr unsigned long poll_interval = 500;  // milliseconds
constexpr int polls_per_dot = 10;

bool new_job_is_wanted() {
  const auto job = given_job();
  return state.mpi_selected && head_node() && job && to_number(*job) < 0;
}

int create_job(const std::string &head) {
  command_line command;
  append(command,
         format_text("%s new /scheduler:%s /jobname:\"ORBEX ZEPHON\" /%s:%d /rununtilcanceled:true",
                     state.ccp_job_command.c_str(), head.c_str(), scheduler_unit_option().c_str(),
                     scheduler_processor_count()),
         "a job that waits for its release");
  append_scheduler_options(command, scheduled::job);
  trace("buf", command.text, new_trace_line);

  return run_job_new(command.text);
}

bool submit_job(const std::string &head, int job_id) {
  const std::string command = format_text("%s submit /scheduler:%s /id:%d",
                                          state.ccp_job_command.c_str(), head.c_str(), job_id);
  trace("buf", command, submit_trace_line);
  return run_command(command, acts(), [](const std::string &) { return true; }).has_value();
}

void show_wait_box(const std::string &head, int job_id) {
  const std::string text = format_text(
      "\nWaiting for the scheduler on %s to allocate nodes for your job %d.\n"
      "If you want to cancel the job, you may press the \"Cancel\" button!\n"
      "If you want to close this message box, you may press the \"OK\" button!\n\n"
      "Otherwise, please wait ...",
      head.c_str(), job_id);
  start_question(text, ok_cancel_buttons, answer_ok);
}

// Cancel in the wait box is asked once more: Yes ends the program, No shows the
// wait box again.
void confirm_cancel(const std::string &head, int job_id) {
  const std::string text =
      format_text("\nDo you want to cancel your submitted job %d to the scheduler on %s?", job_id,
                  head.c_str());
  const std::size_t step = begin_step(step_kind::question, text);
  const int answer = platform::show_message_box("Zephon", text, yes_no_buttons | topmost_box);
  end_step(step, {.exit_code = answer, .lines = {}});
  if (answer == answer_yes) {
    cancel_scheduler_job(SIGINT);
  }
  show_wait_box(head, job_id);
}

// A job that has ended without its nodes will never have them.
bool job_runs(const std::string &head, int job_id) {
  static constexpr std::array names = {"Running", "Finished", "Failed", "Cancelled", "Canceled"};
  const char *const found = find_job_state(head, job_id, names, nullptr);
  if (found != nullptr && found != names[0]) {
    stop_question();  // the box waits for nothing any more
    fatal(exit_config_fault, "\n Error:  Job %d is %s and will not run!\n", job_id, found);
  }
  return found != nullptr;
}

void wait_for_nodes(const std::string &head, int job_id) {
  poll_pace pace = pace_of_polls(poll_interval);
  int slices = 0;
  while (!job_runs(head, job_id)) {
    // In slices: the box is looked at as often as ever.
    for (unsigned long pause = next_pause(pace); pause > 0; ++slices) {
      const unsigned long slice = std::min(pause, poll_interval);
      platform::sleep_ms(slice);
      pause -= slice;
      if (slices % polls_per_dot == 0) {
        print(".");
      }
      if (question_answer() == answer_cancel) {
        confirm_cancel(head, job_id);
      }
    }
  }
}

}  // namespace

int run_job_new(const std::string &command) {
  int job_id = -1;
  run_command(command, acts(assumed_new_job()), [&](const std::string &line) {
    print_text(platform::standard_stream::output, line);
    if (job_id < 0) {
      job_id = parse_new_job_id(line);
    }
    return true;
  });
  return job_id;
}

int create_scheduler_job() {
  if (!new_job_is_wanted()) {
    return -1;
  }
  const std::string head = *head_node();
  check_scheduler_credentials();
  const int job_id = create_job(head);
  if (job_id < 0 || !submit_job(head, job_id)) {
    return job_id;
  }

  show_wait_box(head, job_id);
  set_environment("CCP_JOB_ID", std::to_string(job_id));
  const auto previous_handler = platform::set_interrupt_handler(cancel_scheduler_job);
  wait_for_nodes(head, job_id);
  print(". done!\n");
  stop_question();
  platform::set_interrupt_handler(previous_handler);

  set_environment("CANCEL_CCP_JOB_EXIT1",
                  format_text("%s modify %d /rununtilcanceled:false /scheduler:%s",
                              state.ccp_job_command.c_str(), job_id, head.c_str()));
  return job_id;
}

void cancel_scheduler_job(int) {
  const auto job = given_job();
  const int job_id = job ? to_number(*job) : -1;
  if (job_id >= 0) {
    print("\nCancelling job %d ... ", job_id);
    run_without_output(format_text("%s cancel %d /scheduler:%s", state.ccp_job_command.c_str(),
                                   job_id, chars_of(head_node())));
    record_job_released();
    print("done!\nPress Ctrl-C to stop after done!\n");
  }
  platform::exit_program(exit_job_cancelled);
}
