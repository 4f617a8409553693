// job_follow.cpp: asks for the state of a job, and reads the files that it writes.
#include "front/job_follow.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <map>
#include <optional>
#include <string_view>

#include "core/command_runner.h"
#include "core/exit_status.h"
#include "core/launch_state.h"
#include "core/messages.h"
#include "core/run_record.h"
#include "core/text.h"
#include "front/console.h"
#include "front/progress.h"
#include "platform/platform.h"
#include "scheduler/job_state.h"

namespace {

constexpr unsigned long poll_interval = 1000;  // milliseconds, also of a look at the files
constexpr int patience = 300;                  // answers without a state, one after the other
constexpr int job_failed = 1;

// What one answer of the scheduler's tool says about a job.
struct job_view {
  std::string job_state;  // empty: the answer names none
  std::string remark;     // why it waits, or what went wrong
};

// The value of a line "key : value"; nothing when the line has another key.
std::optional<std::string> value_of(std::string_view line, std::string_view key) {
  const std::size_t colon = line.find(':');
  if (colon == std::string_view::npos) {
    return std::nullopt;
  }
  const std::size_t key_end = line.substr(0, colon).find_last_not_of(' ');
  if (key_end == std::string_view::npos || !equal_ignoring_case(line.substr(0, key_end + 1), key)) {
    return std::nullopt;
  }
  const std::size_t start = std::min(line.find_first_not_of(' ', colon + 1), line.size());
  const std::string_view value = line.substr(start);
  return std::string(value.substr(0, value.find_last_not_of(" \r\n") + 1));
}

job_view view_job(const std::string &head, int job_id) {
  job_view view;
  (void)run_command(
      format_text("%s view %d /scheduler:%s", state.ccp_job_command.c_str(), job_id, head.c_str()),
      asks(), [&](const std::string &line) {
        for (const char *key : {"State", "Status"}) {
          view.job_state = value_of(line, key).value_or(view.job_state);
        }
        for (const char *key : {"Pending Reason", "Error message"}) {
          const auto remark = value_of(line, key);
          view.remark = remark && !remark->empty() ? *remark : view.remark;
        }
        return true;
      });
  return view;
}

// The files of a job, ZP12.1.jdoe.o and .e, and those of other tasks.
using output_files = std::map<std::string, platform::owned_handle>;

void show_new_output(int job_id, output_files &files) {
  const auto names = platform::list_directory(format_text("ZP%d.*", job_id));
  for (const std::string &name : names.value_or(std::vector<std::string>())) {
    const bool is_error = name.ends_with(".e");
    if (!is_error && !name.ends_with(".o")) {
      continue;
    }
    platform::owned_handle &file = files[name];
    if (!file) {
      file = platform::open_file(name, platform::open_mode::read);
    }
    std::array<char, 4096> piece;
    std::size_t size = 0;
    while (file && (size = platform::read_some(file.get(), piece.data(), piece.size())) > 0) {
      clear_progress();
      void *stream = platform::standard_handle(is_error ? platform::standard_stream::error
                                                        : platform::standard_stream::output);
      (void)platform::write_all(stream, piece.data(), size);
    }
  }
}

// The line of the job's state, and since when.
void show_state(int job_id, const job_view &view, std::time_t since) {
  const std::string shown = view.job_state.empty() ? "not known yet" : view.job_state;
  const std::string remark = view.remark.empty() ? "" : ", " + view.remark;
  show_progress(format_text("zprun: job %d is %s%s", job_id, shown.c_str(), remark.c_str()),
                ", since " + duration_text(platform::current_time() - since));
}

int end_of_job(int job_id, const job_view &view) {
  clear_progress();
  set_job_to_cancel(0);
  print_error("zprun: job %d is %s%s%s\n", job_id, view.job_state.c_str(),
              view.remark.empty() ? "" : ", ", view.remark.c_str());
  return was_interrupted()              ? exit_interrupted
         : view.job_state == "Finished" ? exit_normal
                                        : job_failed;
}

}  // namespace

int follow_job(const std::string &head, int job_id) {
  output_files files;
  std::string last_state;
  std::time_t since = platform::current_time();
  poll_pace pace = pace_of_polls(poll_interval);
  for (int unknown = 0; unknown < patience;) {
    if (was_interrupted()) {
      cancel_job();
    }
    const bool cancelled = was_interrupted();
    const job_view view = view_job(head, job_id);
    show_new_output(job_id, files);
    unknown = view.job_state.empty() ? unknown + 1 : 0;
    if (view.job_state != last_state) {
      last_state = view.job_state;
      since = platform::current_time();
      record_job_state(last_state);
    }
    if (job_has_ended(view.job_state)) {
      return end_of_job(job_id, view);
    }
    // Between two questions the files, the line and the user are looked at as often as ever.
    const unsigned long pause = next_pause(pace);
    for (unsigned long waited = 0; waited < pause && was_interrupted() == cancelled;) {
      show_state(job_id, view, since);
      platform::sleep_ms(std::min(poll_interval, pause - waited));
      waited += poll_interval;
      if (waited < pause) {
        show_new_output(job_id, files);
      }
    }
  }
  clear_progress();
  print_error("zprun: the scheduler says no more about job %d\n", job_id);
  return job_failed;
}

std::string state_of_job(const std::string &head, int job_id) {
  return view_job(head, job_id).job_state;
}

bool job_has_ended(const std::string &job_state) {
  return job_state == "Finished" || job_state == "Failed" || job_state == "Canceled" ||
         job_state == "Cancelled";
}
