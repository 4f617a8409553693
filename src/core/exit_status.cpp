// exit_status.cpp: whose status the launcher ends with.
#include "core/exit_status.h"

#include "core/environment.h"
#include "core/launch_state.h"

bool solver_status_is_wanted() {
  return env_text("ZEPHON_EXIT_STATUS") == "solver";
}

int status_at_the_end() {
  return solver_status_is_wanted() ? state.solver_status.value_or(exit_normal) : exit_normal;
}
