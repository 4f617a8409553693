// trace.cpp: prints what the launcher is about to do.
#include "core/trace.h"

#include "core/environment.h"
#include "core/messages.h"

void trace(const char *label, const std::optional<std::string> &value, int line) {
  if (!env_is_set("ZEPHON_STARTUP_DEBUG")) {
    return;
  }
  print("\n%s = %s (%s:%d)", label, value ? value->c_str() : "(null)", "..\\src\\mpirun", line);
}
