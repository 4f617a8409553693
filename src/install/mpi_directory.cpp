// mpi_directory.cpp: the layout of an installed release.
#include "install/mpi_directory.h"

#include "core/environment.h"
#include "core/launch_state.h"
#include "core/text.h"

std::string mpi_directory_of_release(const std::string &root, const std::string &release,
                                     const std::string &mpi_directory) {
  return root + "\\zephon" + release + "\\netweave\\mpi\\win64\\" + mpi_directory;
}

std::string mpi_installation_directory(const std::string &mpi_directory, root_choice choice) {
  std::string root = state.zephon_inc.value_or("");
  if (choice == root_choice::local_allowed) {
    const auto local_root = env_text("ZEPHON_INC_LOCAL_RESERVED");
    if (local_root && !contains_blank(*local_root)) {
      root = *local_root;
    }
  }
  return mpi_directory_of_release(root, state.release.value_or(""), mpi_directory);
}

std::string ntbin_directory(const std::string &root) {
  return root + "\\ntbin\\win64";
}
