// mpi_directory.h: where the release keeps an MPI.
#pragma once

#include <string>

// The installation folder of an MPI in the release, by the MPI's folder name
// such as "ibmmpi". With allow_local_root, ZEPHON_INC_LOCAL_RESERVED takes the
// place of the installation root when it is set and holds no blank.
std::string mpi_installation_directory(const std::string &mpi_directory, bool allow_local_root);

// The same below a given root and release.
std::string mpi_directory_of_release(const std::string &root, const std::string &release,
                                     const std::string &mpi_directory);

// The release's own programs below an installation root: ROOT\ntbin\win64.
std::string ntbin_directory(const std::string &root);
