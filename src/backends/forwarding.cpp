// forwarding.cpp: variables and values on their way to the remote processes.
#include "backends/forwarding.h"

#include "core/environment.h"
#include "core/launch_state.h"
#include "core/text.h"

bool interconnect_is_infiniband() {
  return state.interconnect == "ib" || state.interconnect == "infiniband";
}

std::string forwarded_value(const std::string &value) {
  return quote(contains_blank(value) ? "'" + value + "'" : value);
}

void append_processes(command_line &line, const std::string &option) {
  append(line, option + std::to_string(state.num_procs) + " ",
         "processes: " + state.num_procs_source);
}

void append_work_size(command_line &line) {
  const bool platform_mpi = state.mpi_name == "ibmmpi";
  const std::string option = platform_mpi ? " -e " : " -env ";
  const char *separator = platform_mpi ? "=" : " ";
  for (const char *name : {"ZEPHON_WORK_SIZE", "ZEPHON_WORK_UNIT"}) {
    const auto value = env_text(name);
    if (value && static_cast<float>(to_decimal(*value).value_or(0.0)) > 0.0F) {
      append(line, option + name + separator + *value + " ", std::string("work size: ") + name);
    }
  }
}

void append_solver_variables(command_line &line, const std::string &option,
                             const std::string &separator) {
  if (const auto root = env_text("QMX_ROOT")) {
    append(line, option + "QMX_ROOT" + separator + forwarded_value(*root),
           "for the solver: QMX_ROOT");
  }
  if (const auto architecture = env_text("QMX_ARCH")) {
    append(line, option + "QMX_ARCH" + separator + quote(*architecture),
           "for the solver: QMX_ARCH");
  }
  if (const auto directory = env_text("ZEPHON_PROD_DIR")) {
    append(line, option + "ZEPHON_PROD_DIR" + separator + forwarded_value(*directory),
           "for the solver: ZEPHON_PROD_DIR");
  }
}
