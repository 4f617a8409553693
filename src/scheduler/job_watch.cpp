// job_watch.cpp: the states of a job, asked for one by one.
#include "scheduler/job_watch.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string>

#include "core/environment.h"
#include "core/exit_status.h"
#include "core/launch_state.h"
#include "core/messages.h"
#include "core/run_record.h"
#include "core/text_file.h"
#include "platform/platform.h"
#include "platform/rehearsal.h"
#include "scheduler/job_state.h"
#include "scheduler/scheduler_options.h"

namespace {

constexpr std::size_t output_file_line_limit = 4095;
constexpr unsigned long poll_interval = 1000;  // milliseconds
constexpr unsigned long running_polls = 300;

// In the order in which they are asked for. Both spellings of the cancelled state
// are in use: one for each generation of the scheduler.
constexpr std::array state_names = {"Queued",   "Running", "Cancelled",
                                    "Canceled", "Failed",  "Finished"};
constexpr std::size_t queued = 0;
constexpr std::size_t running = 1;
constexpr std::size_t finished = 5;

// The index of the job's state; nothing when it is in none of them.
std::optional<std::size_t> ask_job_state(const std::string &head, int job_id, std::string &detail) {
  for (std::size_t i = 0; i < state_names.size(); ++i) {
    if (job_state_is(head, job_id, state_names[i], &detail)) {
      return i;
    }
  }
  return std::nullopt;
}

void print_file(const std::string &path, const char *header, platform::standard_stream stream) {
  auto file = open_text(path);
  std::string line;
  if (!file || !read_line(*file, line, output_file_line_limit)) {
    return;
  }
  print_text(stream, header);
  do {
    print_text(stream, line);
  } while (read_line(*file, line, output_file_line_limit));
}

}  // namespace

void watch_scheduler_job() {
  const auto head = head_node();
  const int job_id = state.scheduler_job_id;
  if (!head || job_id < 1 || state.attended) {
    return;
  }
  if (rehearsal::is_on()) {
    tell_unknown("how long the job waits and runs, and how it ends");
    return;
  }
  std::size_t last = queued;
  std::string detail;
  poll_pace pace = pace_of_polls(poll_interval);
  for (unsigned long polls = 0; last == queued || (last == running && polls < running_polls);) {
    const auto now = ask_job_state(*head, job_id, detail);
    if (now && *now != last) {
      print("Job %d is %s.%s%s\n", job_id, state_names[*now], detail.empty() ? "" : " ",
            detail.c_str());
      last = *now;
      record_job_state(state_names[last]);
    }
    if (last != queued && last != running && last != finished) {
      print_job_output_files(job_id);
      state.solver_status = exit_job_failed;
    }
    // A job that has ended is not asked about again: no reason to wait long.
    const unsigned long pause =
        last == queued || last == running ? next_pause(pace) : poll_interval;
    platform::sleep_ms(pause);
    polls += pause / poll_interval;
  }
}

void print_job_output_files(int job_id) {
  if (job_id < 0) {
    return;
  }
  const std::string base_name = format_text("ZP%d.1", job_id) + output_user_part();
  // Standard error first: what went wrong stands above what came of it.
  print_file(base_name + ".e", "\n\n---------- stderr ----------\n",
             platform::standard_stream::error);
  print_file(base_name + ".o", "\n\n---------- stdout ----------\n",
             platform::standard_stream::output);
}
