// environment.cpp: reads and sets environment variables.
#include "core/environment.h"

#include "core/launch_state.h"
#include "core/messages.h"
#include "core/run_record.h"
#include "core/text.h"
#include "platform/platform.h"

std::optional<std::string> env_text(const char *name) {
  auto value = platform::get_variable(name);
  record_variable_read(name, value);
  return value;
}

bool env_is_set(const char *name) {
  return env_text(name).has_value();
}

int env_number(const char *name) {
  return to_number(env_text(name).value_or(""));
}

std::optional<std::string> head_node() {
  return env_text("USE_CCP");
}

std::optional<std::string> host_file() {
  return env_text("ZEPHON_HOSTS_FILE");
}

std::optional<std::string> given_job() {
  return env_text("CCP_JOB_ID");
}

void set_environment_text(const std::string &name_and_value) {
  // The pool is a Windows environment block: each text with its zero, one more
  // zero at the end. The new text goes where that last zero stands.
  state.env_pool.pop_back();
  state.env_pool.append(name_and_value).append(2, '\0');
  record_variable_set(name_and_value);

  if (state.windows_version_class == 2) {
    return;  // Win32s has no environment of its own: children get the pool
  }
  const unsigned long error = platform::put_variable(name_and_value);
  if (error != 0) {
    print_error("\n Error:  Failed to set environment variable %s: %s\n",
                name_and_value.substr(0, name_and_value.find('=')).c_str(),
                platform::system_message(error).c_str());
  }
}

void set_environment(const char *name, const std::string &value) {
  set_environment_text(std::string(name) + "=" + value);
}
