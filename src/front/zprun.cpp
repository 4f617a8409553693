// zprun.cpp: from what was typed to the launcher's run, and to its end.
#include "front/zprun.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "core/environment.h"
#include "core/exit_status.h"
#include "core/launch_state.h"
#include "core/messages.h"
#include "core/text.h"
#include "core/text_file.h"
#include "front/arguments.h"
#include "front/console.h"
#include "front/files.h"
#include "front/help.h"
#include "front/job_follow.h"
#include "front/near_misses.h"
#include "front/progress.h"
#include "front/site.h"
#include "launch/backend_selection.h"
#include "launch/discovery.h"
#include "launch/options.h"
#include "launch/solver_launch.h"
#include "platform/platform.h"
#include "scheduler/job_submission.h"

namespace {

constexpr int exit_refused = exit_usage;

bool something_was_started = false;

// What the launcher gathered for a box goes to standard error; a job that was made and
// has not ended is cancelled. An end with 0 before anything was started is no success.
void end_of_run() {
  clear_progress();
  if (!state.message_buffer.empty()) {
    print_error("%s\n", state.message_buffer.c_str());
    state.message_buffer.clear();
  }
  cancel_job();
  if (platform::status_at_exit() == exit_normal && !something_was_started) {
    print_error("zprun: nothing was started\n");
    platform::end_at_once(exit_refused);
  }
}

[[noreturn]] void end_well() {
  something_was_started = true;
  platform::exit_program(exit_normal);
}

// Says what is wrong, each on a line, and ends the program.
[[noreturn]] void refuse(const std::vector<std::string> &reasons) {
  for (const std::string &reason : reasons) {
    print_error("zprun: %s\n", reason.c_str());
  }
  platform::exit_program(exit_refused);
}

// ---- What is installed --------------------------------------------------------------------

installed_site require_site() {
  installed_site site = find_site();
  if (site.root.empty()) {
    refuse(
        {"no folder of releases: set ZEPHON_INC, such as D:\\zephon, or install the launcher "
         "with it"});
  }
  if (site.releases.empty()) {
    refuse({"there is no release below " + site.root + " (from " + site.root_source + ")"});
  }
  return site;
}

std::string require_release(const installed_site &site, const typed_launch &launch) {
  const std::string release = launch.release.value_or(site.default_release.value_or(""));
  if (!has_release(site, release)) {
    const auto near = nearest(release, site.releases);
    const std::string source =
        launch.release ? "" : " (the default, from " + site.default_source + ")";
    refuse({"there is no release " + release + source + " below " + site.root + ". " +
            (near ? "Probably -r" + *near + " was meant. " : "") + "There is " +
            alternatives(site.releases)});
  }
  return release;
}

// ---- What the run would misread or destroy -------------------------------------------------

void require_mpi(const installed_site &site, const std::string &release, const std::string &mpi) {
  const auto missing = missing_file_of_mpi(site.root, release, mpi);
  if (!missing) {
    return;
  }
  const auto complete = complete_mpis(site.root, release);
  refuse(
      {"-mpi=" + mpi + ": release " + release + " lacks " + *missing + ". " +
       (complete.empty() ? "It has no MPI that is complete" : "It has " + alternatives(complete))});
}

void require_host_file(const std::string &path, const std::string &mpi) {
  const auto faults = faults_of_host_file(path, mpi);
  if (!faults.empty()) {
    refuse(faults);
  }
}

void require_own_files(const typed_launch &launch) {
  std::vector<std::string> reasons;
  if (launch.timing_file && !may_be_overwritten(*launch.timing_file, "Start: ")) {
    reasons.push_back("-o " + *launch.timing_file +
                      ": the file is there and is no timing report. Name another one");
  }
  if (launch.record_file && !may_be_overwritten(*launch.record_file, "zephon-run-record")) {
    reasons.push_back("-record " + *launch.record_file +
                      ": the file is there and is no run record. Name another one");
  }
  if (!reasons.empty()) {
    refuse(reasons);
  }
}

// ---- The launch ---------------------------------------------------------------------------

// What a start script sets before it calls the launcher.
std::string set_launch_variables(const installed_site &site, const std::string &release,
                                 const typed_launch &launch) {
  const std::string program = launch.mpitest ? "mpitest" : "zephon";
  set_environment("ZEPHON_INC", site.root);
  set_environment("ZEPHON_PROD_DIR", release_folder(site.root, release));
  set_environment("ZEPHON_ARCH", "win64");
  set_environment("ZEPHON_PROD", program);
  set_environment("STDOUT_FLUSH", "1");
  if (launch.record_file) {
    set_environment("ZEPHON_RUN_RECORD", *launch.record_file);
  }
  // A job that waits for its release is none that every MPI releases.
  if (launch.head_node && !launch.job && given_job() && to_number(*given_job()) < 0) {
    set_environment("CCP_JOB_ID", "");
  }
  return program_of_release(site.root, release, program);
}

void parse_launcher_options(const std::vector<std::string> &options) {
  static std::vector<std::string> kept;  // the launch state keeps the vector
  static std::vector<char *> arguments;
  kept = {"zprun"};
  kept.insert(kept.end(), options.begin(), options.end());
  arguments.clear();
  for (std::string &option : kept) {
    arguments.push_back(option.data());
  }
  const int count = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);
  state.arg_count = count;
  state.arg_vector = arguments.data();
  parse_options(count, arguments.data());
}

// Inside a job of the scheduler the run is on its nodes already.
bool goes_to_scheduler() {
  return head_node() && *head_node() != inside_job && !host_file();
}

[[noreturn]] void end_with_status_of_solver() {
  const int status = state.solver_status.value_or(exit_normal);
  if (was_interrupted() && status == exit_normal) {
    platform::exit_program(exit_interrupted);
  }
  if (status != exit_normal) {
    print_error("zprun: the run ended with status %d\n", status);
  }
  platform::exit_program(status);
}

[[noreturn]] void run_on_cluster(const typed_launch &launch) {
  const int job_id = state.scheduler_job_id;
  if (job_id < 1) {
    print_error("zprun: the scheduler has not taken the job\n");
    platform::exit_program(exit_config_fault);
  }
  if (launch.no_wait) {
    print_error("zprun: job %d runs on its own\n", job_id);
    platform::exit_program(exit_normal);
  }
  set_job_to_cancel(launch.job ? 0 : job_id);
  platform::exit_program(follow_job(*head_node(), job_id));
}

[[noreturn]] void run_launch(const typed_launch &launch) {
  for (const std::string &mended : launch.mended) {
    print_error("zprun: %s\n", mended.c_str());
  }
  if (const auto word = platform::word_beyond_code_page()) {
    refuse({*word + ": the code page of this computer lacks some of its characters"});
  }
  const installed_site site = require_site();
  const std::string release = require_release(site, launch);
  require_own_files(launch);

  const std::string program = set_launch_variables(site, release, launch);
  state.attended = true;
  watch_console();
  parse_launcher_options(launcher_options(launch, release));
  if (is_installation(launch)) {
    something_was_started = true;
    install_on_request();
  }
  if (!file_is_readable(program)) {
    refuse({"the release has no program " + program});
  }
  require_mpi(site, release, state.mpi_name);
  if (launch.host_file) {
    require_host_file(*launch.host_file, state.mpi_name);
  }
  state.solver_args_line = solver_line(program, launch.solver_arguments, goes_to_scheduler());

  discover_installation();
  select_backend();
  command_line command = join_solver_arguments();
  if (goes_to_scheduler()) {
    (void)submit_scheduler_job(command);
    something_was_started = true;
    run_on_cluster(launch);
  }
  if (!submit_scheduler_job(command)) {
    launch_solver(command);
  }
  something_was_started = true;
  end_with_status_of_solver();
}

}  // namespace

void start_zprun(int count, char **arguments) {
  platform::at_exit(end_of_run);
  something_was_started = false;
  const typed_launch launch =
      read_arguments(std::vector<std::string>(arguments + (count > 0 ? 1 : 0), arguments + count));
  if (count < 2 || launch.task == zprun_task::help) {
    show_help();
    end_well();
  }
  if (!launch.refused.empty()) {
    refuse(launch.refused);
  }
  if (launch.task == zprun_task::version) {
    show_version();
    end_well();
  }
  if (launch.task == zprun_task::list) {
    list_site(require_site());
    end_well();
  }
  run_launch(launch);
}
