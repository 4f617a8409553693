// surroundings.cpp: the checks of -check, a function each.
#include "front/surroundings.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

#include "core/command_runner.h"
#include "core/environment.h"
#include "core/launch_state.h"
#include "core/text.h"
#include "core/text_file.h"
#include "core/unc_path.h"
#include "platform/platform.h"

namespace {

constexpr std::array session_variables = {
    "USE_CCP",
    "CCP_JOB_ID",
    "CCP_JOBID",
    "CCP_USER_FLAGS",
    "ZP_CCP_UNIT",
    "ZP_CCP_JOB_TEMPLATE",
    "ZP_CCP_NODE_GROUP",
    "ZP_CCP_JOB_COMMAND",
    "NP_PER_NODE",
    "STD_DIR",
    "CWD",
    "ZEPHON_HOSTS_FILE",
    "MSMPI_HOME",
    "MPICH2_HOME",
    "MPICH2_CHANNEL",
    "MPICH2_USER_FLAGS",
    "MPICH_HOME",
    "MPICH_NETMASK",
    "IBMMPI_ROOT",
    "IBMMPI_USER_FLAGS",
    "ZEPHON_AUTO_SPAWN",
    "INTELMPI_USER_FLAGS",
    "ZEPHON_AFFINITY",
    "ZEPHON_CRED_CHECK",
    "CACHE_PASSWORD",
    "MESHING_MODE",
    "PARA_MESH_NPROCS",
    "ZEPHON_WORK_SIZE",
};

std::string folder_of(const std::string &path) {
  return path.substr(0, std::min(path.rfind('\\'), path.size()));
}

std::vector<std::string> search_path() {
  auto folders = split_at(env_text("PATH").value_or(""), ";");
  for (std::string &folder : folders) {
    folder.erase(std::remove(folder.begin(), folder.end(), '"'), folder.end());
  }
  std::erase(folders, "");
  return folders;
}

// The first folder of PATH that has a program; nothing when none has.
std::optional<std::string> find_on_path(const std::string &program) {
  for (const std::string &folder : search_path()) {
    if (file_is_readable(std::string(folder).append("\\").append(program))) {
      return folder;
    }
  }
  return std::nullopt;
}

// Whether a line of a tool's answer holds the text.
bool answers(const std::string &command, std::string_view text) {
  bool found = false;
  (void)run_command(command, asks(), [&](const std::string &line) {
    found = found || contains(line, text);
    return true;
  });
  return found;
}

std::string mpi_folder(const checked_launch &launch) {
  return folder_of(mpi_program(launch.site.root, launch.release, launch.mpi));
}

// Only runs on hosts need a service and a password.
bool needs_smpd(const checked_launch &launch) {
  return file_is_readable(mpi_program(launch.site.root, launch.release, launch.mpi)) &&
         (launch.mpi == "intel" || launch.mpi == "mpich2") && launch.typed.host_file &&
         launch.typed.credential_check != "no";
}

void check_service(finding_list &list, const checked_launch &launch) {
  if (!needs_smpd(launch)) {
    add_ok(list, "service", "this run needs none");
  } else if (answers(quote_path(mpi_folder(launch) + "\\smpd.exe") + " -status", "no smpd")) {
    add_note(list, "service", "SMPD does not run on this computer",
             "the run starts it; on the other hosts, have it installed");
  } else {
    add_ok(list, "service", "SMPD runs on this computer");
  }
}

void check_password(finding_list &list, const checked_launch &launch) {
  const bool platform_mpi =
      launch.mpi == "ibmmpi" && (launch.typed.host_file || launch.typed.cache_password);
  const std::string folder = mpi_folder(launch);
  if (!needs_smpd(launch) && !platform_mpi) {
    add_ok(list, "password", "this run needs none");
  } else if (platform_mpi
                 ? answers(quote_path(folder + "\\mpirun.exe") + " -pwcheck",
                           "Cached password is valid")
                 : answers(quote_path(folder + "\\mpiexec.exe") + " -validate", "SUCCESS")) {
    add_ok(list, "password", "the MPI has it");
  } else {
    add_note(list, "password", "the MPI has no valid password of yours",
             "the run asks for it in the console");
  }
}

// The launcher's own mpirun.exe, which its installer puts on PATH, is none of an MPI.
bool is_launcher(const std::string &folder, const std::string &program) {
  return program == "mpirun.exe" && file_is_readable(folder + "\\zprun.exe");
}

// Another MPI's program in front of PATH starts where somebody types its bare name.
void check_other_mpi(finding_list &list, const checked_launch &launch) {
  const std::string own = mpi_folder(launch);
  for (const char *program : {"mpiexec.exe", "mpirun.exe", "smpd.exe"}) {
    const auto folder = find_on_path(program);
    if (folder && !equal_ignoring_case(*folder, own) && !is_launcher(*folder, program) &&
        launch.mpi != "net") {
      add_note(list, "other-mpi", *folder + " on PATH has a " + program + " of another MPI",
               "ranks that come up alone, or wrong libraries, come from there: take it off PATH");
      return;
    }
  }
  add_ok(list, "other-mpi", "PATH has no program of another MPI");
}

void check_scheduler(finding_list &list) {
  const auto head = head_node();
  if (!head || head == "-1") {
    return;
  }
  const std::string tool = state.ccp_job_command;
  if (contains(tool, "\\") || find_on_path(tool + ".exe")) {
    add_ok(list, "scheduler-tool", tool);
  } else {
    add_fault(list, "scheduler-tool", "there is no " + tool + ".exe on PATH",
              "install the client tools of the scheduler");
    return;
  }
  const auto status = run_command("cluscfg listenvs /scheduler:" + *head, asks(),
                                  [](const std::string &) { return true; });
  if (status == 0) {
    add_ok(list, "head-node", *head);
  } else {
    add_fault(list, "head-node", *head + " does not answer",
              "mend its name, its short name where the full one fails, or ask its administrator");
  }
}

void check_folder_names(finding_list &list, const checked_launch &launch) {
  const std::size_t before = list.size();
  const std::string host_file = launch.typed.host_file.value_or("");
  const bool unquoted = launch.mpi == "msmpi" || launch.mpi == "mpich2" || launch.mpi == "mpich";
  if (unquoted && contains_blank(host_file)) {
    add_fault(list, "folder-names", host_file + " has a blank, and this MPI's command no quotes",
              "put the host file where there is none");
  }
  const std::string folder = mpi_folder(launch);
  if (launch.mpi == "ibmmpi" && contains_blank(folder) && launch.typed.host_file) {
    add_fault(list, "folder-names", folder + " has a blank: Platform MPI cannot keep the password",
              "install it where there is none");
  } else if (launch.mpi != "ibmmpi" && contains_blank(folder)) {
    add_note(list, "folder-names", folder + " has a blank, and the command no quotes",
             "see that no program has the name in front of the blank");
  }
  for (const std::string &name : {folder, host_file, platform::current_directory().value_or("")}) {
    if (name.find_first_of("&%^()") != std::string::npos) {
      add_note(list, "folder-names", name + " has signs that the command interpreter reads",
               "use a folder without & % ^ ( )");
    }
  }
  if (list.size() == before) {
    add_ok(list, "folder-names", "no folder has signs that something trips over");
  }
}

void check_working_folder(finding_list &list, const checked_launch &launch) {
  std::string folder =
      launch.typed.task_folder.value_or(platform::current_directory().value_or(""));
  const std::string as_named = folder;
  convert_to_unc(folder);
  const bool scheduled = launch.typed.head_node.has_value();
  if (!scheduled && !launch.typed.host_file) {
    add_ok(list, "working-folder", as_named);
  } else if (folder.starts_with("\\\\")) {
    add_ok(list, "working-folder", folder + ", as the other computers see it");
  } else if (scheduled) {
    add_fault(list, "working-folder", "the nodes do not see " + as_named,
              "start in a folder on a network share, or name one with -cwd");
  } else {
    add_note(list, "working-folder", "other computers do not see " + as_named,
             "start in a folder on a network share, or have the folder on each of them");
  }
}

void check_processors(finding_list &list, const checked_launch &launch) {
  const int processors = env_number("NUMBER_OF_PROCESSORS");
  const bool here = !launch.typed.host_file && !launch.typed.head_node;
  if (here && processors > 0 && launch.processes > processors) {
    add_note(list, "processors",
             format_text("%d processes share %d processors", launch.processes, processors),
             "take fewer, or more hosts with -cnf");
  } else {
    add_ok(list, "processors", format_text("%d processes", launch.processes));
  }
}

}  // namespace

void check_variables(finding_list &list) {
  std::string names;
  for (const char *name : session_variables) {
    if (const auto value = env_text(name)) {
      names += (names.empty() ? "" : ", ") + std::string(name) + "=" + *value;
    }
  }
  if (names.empty()) {
    add_ok(list, "variables", "none of an earlier session takes part");
  } else {
    add_note(list, "variables", "these take part: " + names, "unset those that are not meant");
  }
}

void check_surroundings(finding_list &list, const checked_launch &launch) {
  check_service(list, launch);
  check_password(list, launch);
  check_other_mpi(list, launch);
  check_scheduler(list);
  check_folder_names(list, launch);
  check_working_folder(list, launch);
  check_processors(list, launch);
}

void check_command(finding_list &list, const std::string &command, bool scheduled) {
  constexpr std::size_t longest_for_scheduler = 480;
  const std::size_t task = std::min(command.find("mpi"), command.size());
  const std::size_t limit =
      scheduled ? platform::longest_interpreted : platform::longest_command_line;
  const std::string length = std::to_string(command.size()) + " characters";
  if (command.size() > limit) {
    add_fault(list, "command-length",
              length + ", at most " + std::to_string(limit) + " can be started",
              "put arguments of the solver into a file of its own");
  } else if (scheduled && command.size() - task > longest_for_scheduler) {
    add_note(list, "command-length", length + ", and the scheduler takes 480 for a task",
             "newer schedulers take more; else put the arguments into a file, or shorten folders");
  } else {
    add_ok(list, "command-length", length);
  }
}
