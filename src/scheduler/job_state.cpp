// job_state.cpp: reads the answer of the scheduler's view command.
#include "scheduler/job_state.h"

#include "core/command_runner.h"
#include "core/launch_state.h"
#include "core/text.h"
#include "scheduler/job_identifier.h"

std::string job_view_command(const std::string &head, int job_id) {
  return format_text("%s view %d /scheduler:%s", state.ccp_job_command.c_str(), job_id,
                     head.c_str());
}

bool job_state_is(const std::string &head, int job_id, const char *wanted_state,
                  std::string *error_text) {
  bool found = false;
  run_command(job_view_command(head, job_id),
              asks_about_job(job_id, format_text("State : %s\n", wanted_state)),
              [&](const std::string &line) {
                // The two generations of the scheduler call the line Status and State.
                if ((begins_ignoring_case(line, "Status") || begins_ignoring_case(line, "State")) &&
                    contains(line, wanted_state)) {
                  found = true;
                }
                const std::size_t colon = line.find(':');
                if (error_text != nullptr && begins_ignoring_case(line, "Error message") &&
                    colon != std::string::npos) {
                  *error_text = line.substr(colon + 1);
                }
                return true;
              });
  return found;
}
