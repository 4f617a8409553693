// discovery.cpp: installers on request, the MPI wrapper library, the remote PATH.
#include "launch/discovery.h"

#include <string>

#include "core/environment.h"
#include "core/exit_status.h"
#include "core/launch_state.h"
#include "core/messages.h"
#include "core/text.h"
#include "core/text_file.h"
#include "install/platform_mpi_installer.h"
#include "install/smpd_installer.h"

namespace {

std::string wrapper_directory(const std::string &name) {
  return format_text("%s\\netweave\\mpi_wrapper\\%s\\%s", chars_of(state.zephon_prod_dir),
                     chars_of(state.zephon_arch), name.c_str());
}

// Only the existence of the library counts: the solver loads it.
void require_wrapper_library() {
  if (!file_is_readable(wrapper_directory(state.mpi_name) + "\\mpi_wrapper.dll")) {
    fatal(exit_config_fault, "Error: communicator \"%s\" is not available on this machine.\n",
          state.mpi_name.c_str());
  }
}

void add_to_node_path(const std::string &directory) {
  if (state.node_path.empty()) {
    state.node_path = directory;
  } else if (state.node_path != directory) {
    state.node_path += ";" + directory;
  }
}

}  // namespace

void install_on_request() {
  install_mpich2_smpd(state.smpd_request);
  if (env_text("ZEPHON_INSTALL_IBMMPI") == "1") {
    install_platform_mpi();
  }
}

void discover_installation() {
  const bool without_mpi = state.mpi_name == "net";
  if (!without_mpi) {
    require_wrapper_library();
  }
  add_to_node_path(wrapper_directory(without_mpi ? "stub" : state.mpi_name));

  // Of the sibling programs only the accelerated one gets the GPU folder.
  if (state.zephon_prod == "lumis_acc" && state.zephon_arch == "win64") {
    state.node_path +=
        ";" + state.zephon_prod_dir.value_or("") + "\\netweave\\gpu_wrapper\\win64\\stub";
  }
}
