// site.h: what is installed here: the root of the releases, the releases, and the MPIs
// of each.
#pragma once

#include <optional>
#include <string>
#include <vector>

struct installed_site {
  std::string root;                            // folder of the releases; empty: nobody named one
  std::string root_source;                     // who named it, such as "ZEPHON_INC"
  std::vector<std::string> releases;           // newest first
  std::optional<std::string> default_release;  // of those who name none; may be missing
  std::string default_source;                  // who named it
};

// The root and the default release come from the variables, else from what the
// installer wrote for the machine; without a default it is the newest release.
installed_site find_site();

bool has_release(const installed_site &site, const std::string &release);

// ROOT\zephonRELEASE
std::string release_folder(const std::string &root, const std::string &release);

// The program of a release: the solver, or another one by its name.
std::string program_of_release(const std::string &root, const std::string &release,
                               const std::string &program);

// The wrapper library of an MPI, which the solver loads.
std::string wrapper_of_release(const std::string &root, const std::string &release,
                               const std::string &mpi);

// The program of an MPI that the launcher will start; empty for "net".
std::string mpi_program(const std::string &root, const std::string &release,
                        const std::string &mpi);

// The file that an MPI lacks in a release; nothing when it is complete.
std::optional<std::string> missing_file_of_mpi(const std::string &root, const std::string &release,
                                               const std::string &mpi);

// The MPIs that a release may have, and of these the complete ones.
const std::vector<std::string> &known_mpis();
std::vector<std::string> complete_mpis(const std::string &root, const std::string &release);

// Prints releases and MPIs.
void list_site(const installed_site &site);
