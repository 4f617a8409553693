// mpi_directory.h: where the release keeps an MPI.
#pragma once

#include <string>

// Where an installation is looked for.
enum class root_choice {
  shared,        // below the installation root
  local_allowed  // below ZEPHON_INC_LOCAL_RESERVED when it is set and holds no blank
};

// The installation folder of an MPI in the release, by the MPI's folder name
// such as "ibmmpi".
std::string mpi_installation_directory(const std::string &mpi_directory, root_choice choice);

// The same below a given root and release.
std::string mpi_directory_of_release(const std::string &root, const std::string &release,
                                     const std::string &mpi_directory);

// The release's own programs below an installation root: ROOT\ntbin\win64.
std::string ntbin_directory(const std::string &root);
