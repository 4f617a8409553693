// job_state.cpp: reads the answer of the scheduler's view command.
#include "scheduler/job_state.h"

#include <algorithm>
#include <cstddef>

#include "core/command_runner.h"
#include "core/environment.h"
#include "core/launch_state.h"
#include "core/text.h"
#include "scheduler/job_identifier.h"

std::string job_view_command(const std::string &head, int job_id) {
  return format_text("%s view %d /scheduler:%s", state.ccp_job_command.c_str(), job_id,
                     head.c_str());
}

const char *find_job_state(const std::string &head, int job_id, std::span<const char *const> names,
                           std::string *error_text) {
  std::size_t found = names.size();
  run_command(job_view_command(head, job_id),
              asks_about_job(job_id, format_text("State : %s\n", names.front())),
              [&](const std::string &line) {
                // The two generations of the scheduler call the line Status and State.
                if (begins_ignoring_case(line, "Status") || begins_ignoring_case(line, "State")) {
                  const auto name =
                      std::find_if(names.begin(), names.end(),
                                   [&line](const char *one) { return contains(line, one); });
                  found = std::min(found, static_cast<std::size_t>(name - names.begin()));
                }
                const std::size_t colon = line.find(':');
                if (error_text != nullptr && begins_ignoring_case(line, "Error message") &&
                    colon != std::string::npos) {
                  *error_text = line.substr(colon + 1);
                }
                return true;
              });
  return found < names.size() ? names[found] : nullptr;
}

bool job_state_is(const std::string &head, int job_id, const char *wanted_state,
                  std::string *error_text) {
  return find_job_state(head, job_id, {&wanted_state, 1}, error_text) != nullptr;
}

poll_pace pace_of_polls(unsigned long usual_pause) {
  constexpr double longest_limit = 86'400.0;  // seconds: a day
  const std::string limit = env_text("ZEPHON_JOB_POLL_LIMIT").value_or("");
  const double seconds = to_decimal(limit).value_or(0.0);
  // Compared so that what is no number at all changes nothing either.
  const double bounded = seconds > 0.0 ? std::min(seconds, longest_limit) : 0.0;
  return {usual_pause, std::max(usual_pause, static_cast<unsigned long>(bounded * 1000.0))};
}

unsigned long next_pause(poll_pace &pace) {
  const unsigned long pause = pace.next;
  pace.next = std::min(2 * pause, pace.longest);
  return pause;
}
