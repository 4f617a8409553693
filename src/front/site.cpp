// site.cpp: looks for releases and for the files of their MPIs.
#include "front/site.h"

#include <algorithm>

#include "core/environment.h"
#include "core/messages.h"
#include "core/text.h"
#include "core/text_file.h"
#include "install/mpi_directory.h"
#include "install/releases.h"
#include "platform/platform.h"

namespace {

constexpr std::string_view release_prefix = "zephon";

struct named_value {
  std::string value;
  std::string source;
};

// From a variable, else from what the installer wrote.
std::optional<named_value> find_setting(const char *variable, const char *machine_setting) {
  if (const auto value = env_text(variable)) {
    return named_value{*value, variable};
  }
  if (const auto value = platform::machine_setting(machine_setting)) {
    return named_value{*value, "the installation"};
  }
  return std::nullopt;
}

bool is_version(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789.") == std::string_view::npos &&
         text.front() != '.' && text.back() != '.';
}

std::vector<std::string> find_versions(const std::string &root) {
  std::vector<std::string> found;
  const auto names = platform::list_directory(root + "\\" + std::string(release_prefix) + "*");
  for (const std::string &name : names.value_or(std::vector<std::string>())) {
    if (begins_ignoring_case(name, release_prefix) &&
        is_version(std::string_view(name).substr(release_prefix.size()))) {
      found.push_back(name.substr(release_prefix.size()));
    }
  }
  std::vector<std::string> newest_first;
  while (const auto newest = latest_release(found)) {
    newest_first.push_back(*newest);
    found.erase(std::find(found.begin(), found.end(), *newest));
  }
  return newest_first;
}

// A variable that names the MPI's own folder, when it counts.
std::string folder_of_mpi(const std::string &root, const std::string &release,
                          const std::string &mpi) {
  const auto named = [](const char *variable) { return env_text(variable).value_or(""); };
  if (mpi == "mpich") {
    return named(env_is_set("MPICH_HOME") ? "MPICH_HOME" : "MPI_HOME");
  }
  const char *variable = mpi == "msmpi"    ? "MSMPI_HOME"
                         : mpi == "mpich2" ? "MPICH2_HOME"
                         : mpi == "ibmmpi" ? "IBMMPI_ROOT"
                                           : nullptr;
  if (variable != nullptr && !named(variable).empty() && !contains(named(variable), "MPIPro")) {
    return named(variable);
  }
  return mpi_directory_of_release(root, release, mpi == "msmpi" ? "ms" : mpi);
}

void list_release(const installed_site &site, const std::string &release) {
  const bool is_default = site.default_release == release;
  print("  %s%s\n", release.c_str(),
        is_default ? ("   the default (" + site.default_source + ")").c_str() : "");
  for (const std::string &mpi : known_mpis()) {
    const auto missing = missing_file_of_mpi(site.root, release, mpi);
    print("    %-8s %s%s\n", mpi.c_str(), missing ? "lacks " : "complete", chars_of(missing));
  }
}

}  // namespace

installed_site find_site() {
  installed_site site;
  if (const auto root = find_setting("ZEPHON_INC", "ZEPHON_INC")) {
    site.root = root->value;
    site.root_source = root->source;
    site.releases = find_versions(site.root);
  }
  if (const auto release = find_setting("ZEPHON_DEFAULT_RELEASE", "DefaultRelease")) {
    site.default_release = release->value;
    site.default_source = release->source;
  } else if (!site.releases.empty()) {
    site.default_release = site.releases.front();
    site.default_source = "the newest";
  }
  return site;
}

bool has_release(const installed_site &site, const std::string &release) {
  return std::find(site.releases.begin(), site.releases.end(), release) != site.releases.end();
}

std::string release_folder(const std::string &root, const std::string &release) {
  return root + "\\zephon" + release;
}

std::string program_of_release(const std::string &root, const std::string &release,
                               const std::string &program) {
  return ntbin_directory(release_folder(root, release)) + "\\" + program + ".exe";
}

std::string wrapper_of_release(const std::string &root, const std::string &release,
                               const std::string &mpi) {
  return release_folder(root, release) + "\\netweave\\mpi_wrapper\\win64\\" + mpi +
         "\\mpi_wrapper.dll";
}

std::string mpi_program(const std::string &root, const std::string &release,
                        const std::string &mpi) {
  if (mpi == "net") {
    return "";
  }
  const std::string asked = mpi == "vmpi"                    ? "msmpi"
                            : mpi == "smpi" || mpi == "nmpi" ? "mpich"
                                                             : mpi;
  const bool has_mpirun = asked == "ibmmpi" || asked == "mpich";
  return folder_of_mpi(root, release, asked) +
         (has_mpirun ? "\\bin\\mpirun.exe" : "\\bin\\mpiexec.exe");
}

std::optional<std::string> missing_file_of_mpi(const std::string &root, const std::string &release,
                                               const std::string &mpi) {
  for (const std::string &file :
       {wrapper_of_release(root, release, mpi), mpi_program(root, release, mpi)}) {
    if (!file_is_readable(file)) {
      return file;
    }
  }
  return std::nullopt;
}

const std::vector<std::string> &known_mpis() {
  static const std::vector<std::string> names = {"msmpi", "intel", "ibmmpi", "mpich2", "mpich"};
  return names;
}

std::vector<std::string> complete_mpis(const std::string &root, const std::string &release) {
  std::vector<std::string> complete;
  for (const std::string &mpi : known_mpis()) {
    if (!missing_file_of_mpi(root, release, mpi)) {
      complete.push_back(mpi);
    }
  }
  return complete;
}

void list_site(const installed_site &site) {
  if (site.root.empty()) {
    print("Nobody names the folder of the releases: set ZEPHON_INC, such as D:\\zephon\n");
    return;
  }
  print("Releases below %s (from %s):\n", site.root.c_str(), site.root_source.c_str());
  for (const std::string &release : site.releases) {
    list_release(site, release);
  }
  if (site.releases.empty()) {
    print("  none\n");
  }
  if (site.default_release && !has_release(site, *site.default_release)) {
    print("The default release %s (from %s) is not there.\n", site.default_release->c_str(),
          site.default_source.c_str());
  }
}
