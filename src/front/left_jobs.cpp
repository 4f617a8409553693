// left_jobs.cpp: the notes, and what became of their jobs.
//
// A run holds its note open, and Windows removes no file that somebody holds: what can
// be removed belongs to a run that is no more.
#include "front/left_jobs.h"

#include <optional>

#include "core/environment.h"
#include "core/launch_state.h"
#include "core/text.h"
#include "core/text_file.h"
#include "front/job_follow.h"
#include "platform/platform.h"

namespace {

platform::owned_handle note;  // of this run; null: it has none
std::string note_path;

std::string note_beginning() {
  return env_text("TEMP").value_or(".") + "\\zprun-job-";
}

bool add_line(void *file, const std::string &text) {
  const std::string line = with_line_ends(text + "\n");
  return platform::write_all(file, line.data(), line.size());
}

struct noted_job {
  std::string head;
  int job_id = 0;  // 0: the run ended before it was known
};

noted_job read_note(const std::string &path) {
  noted_job job;
  std::string number;
  if (auto file = open_text(path)) {
    (void)read_line(*file, job.head);
    (void)read_line(*file, number);
  }
  job.head = without_line_end(job.head);
  job.job_id = to_number(number);
  return job;
}

// Takes the note of a run that is no more away; false when its run still lives.
bool take_note(const std::string &path) {
  platform::remove_file(path);
  return !file_is_readable(path);
}

void put_note_back(const std::string &path, const noted_job &job) {
  if (const auto file = platform::open_file(path, platform::open_mode::create)) {
    (void)(add_line(file.get(), job.head) && add_line(file.get(), std::to_string(job.job_id)));
  }
}

// What to tell of a job; empty when it has ended. `goes_on`: it runs or waits.
std::string tell_of(const noted_job &job, const std::string &head, bool &goes_on) {
  const std::string tool = state.ccp_job_command;
  const std::string scheduler = " /scheduler:" + head;
  if (job.job_id < 1) {
    return "a run that was ended from outside may have left a job on " + head + ": \"" + tool +
           " list" + scheduler + "\" shows it";
  }
  const std::string number = std::to_string(job.job_id);
  const std::string job_state = state_of_job(head, job.job_id);
  if (job_has_ended(job_state)) {
    return "";
  }
  goes_on = !job_state.empty();
  return "a run that was ended from outside has left job " + number + " on " + head + ", " +
         (goes_on ? "which is " + job_state : "of which the scheduler says nothing") + ": \"" +
         tool + " cancel " + number + scheduler + "\" ends it";
}

}  // namespace

void begin_job_note(const std::string &head) {
  note_path = note_beginning() + std::to_string(platform::process_id()) + "-" +
              std::to_string(platform::current_microseconds()) + ".txt";
  note = platform::open_file(note_path, platform::open_mode::create);
  (void)(note && add_line(note.get(), head));
}

void add_to_job_note(int job_id) {
  if (note && job_id > 0) {
    (void)add_line(note.get(), std::to_string(job_id));
  }
}

void remove_job_note() {
  if (note) {
    note.reset();
    platform::remove_file(note_path);
  }
}

std::vector<std::string> find_left_jobs(const std::string &head) {
  std::vector<std::string> sentences;
  const std::string beginning = note_beginning();
  const std::string folder = beginning.substr(0, beginning.rfind('\\') + 1);
  const auto names = platform::list_directory(beginning + "*.txt");
  for (const std::string &name : names.value_or(std::vector<std::string>())) {
    const noted_job job = read_note(folder + name);
    // Only the name that was typed goes into a command: anybody may write into TEMP.
    if (!equal_ignoring_case(job.head, head) || !take_note(folder + name)) {
      continue;
    }
    bool goes_on = false;
    const std::string sentence = tell_of(job, head, goes_on);
    if (goes_on) {
      put_note_back(folder + name, job);
    }
    if (!sentence.empty()) {
      sentences.push_back(sentence);
    }
  }
  return sentences;
}
