// job_identifier.cpp: the lines in which the scheduler's tool names a job.
#include "scheduler/job_identifier.h"

#include <climits>
#include <cstdlib>
#include <string_view>

namespace {

constexpr const char *created_job = "Created job, ID:";

// The number behind a prefix; -1 when the line does not begin with it, holds none, or
// one that no job can have.
int id_after(const std::string &line, std::string_view prefix) {
  if (!line.starts_with(prefix)) {
    return -1;
  }
  const char *const text = line.c_str() + prefix.size();
  char *end = nullptr;
  const long long id = std::strtoll(text, &end, 10);
  return end == text || id > INT_MAX || id < INT_MIN ? -1 : static_cast<int>(id);
}

}  // namespace

std::string assumed_new_job() {
  return created_job + (" " + std::to_string(assumed_job_id)) + "\n";
}

tool_use asks_about_job(int job_id, const std::string &assumed_output) {
  return job_id == assumed_job_id ? asks_about_the_assumed(assumed_output) : asks();
}

int parse_new_job_id(const std::string &line) {
  const int queued = id_after(line, "Job queued, ID:");
  return queued >= 0 ? queued : id_after(line, created_job);
}

int parse_job_id(const std::string &line) {
  const int created = parse_new_job_id(line);
  return created >= 0 ? created : id_after(line, "Job has been submitted. ID:");
}
