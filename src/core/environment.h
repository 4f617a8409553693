// environment.h: variables that the launcher reads, and those that it sets so
// that it and the programs it starts both see them.
#pragma once

#include <optional>
#include <string>

// The variable's value, copied; nothing when it is not set.
std::optional<std::string> env_text(const char *name);

bool env_is_set(const char *name);

// The variable's value read as a decimal number; 0 when it is not set or no number.
int env_number(const char *name);

// What many places ask for; each is read here alone.
std::optional<std::string> head_node();  // where the scheduler is asked; nothing: no scheduler
std::optional<std::string> host_file();  // the run's host file; nothing: none was given
std::optional<std::string> given_job();  // the job's number as text; below 0: a job is wanted

// What stands for a head node inside a job that the scheduler started.
constexpr const char *inside_job = "-1";

// Sets a variable from a text of the form name=value: adds it to env_pool and,
// except on Win32s, puts it into the launcher's own environment. An empty value
// removes the variable there. A refusal by Windows is reported on standard error.
void set_environment_text(const std::string &name_and_value);

// The same from a name and a value.
void set_environment(const char *name, const std::string &value);
