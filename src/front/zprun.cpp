// zprun.cpp: from what was typed to the launcher's run, and to its end.
#include "front/zprun.h"

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "core/environment.h"
#include "core/exit_status.h"
#include "core/launch_state.h"
#include "core/messages.h"
#include "core/run_record.h"
#include "core/text.h"
#include "front/arguments.h"
#include "front/console.h"
#include "front/findings.h"
#include "front/help.h"
#include "front/job_follow.h"
#include "front/launch_checks.h"
#include "front/launcher_line.h"
#include "front/left_jobs.h"
#include "front/progress.h"
#include "front/site.h"
#include "front/surroundings.h"
#include "launch/backend_selection.h"
#include "launch/discovery.h"
#include "launch/options.h"
#include "launch/solver_launch.h"
#include "platform/platform.h"
#include "platform/rehearsal.h"
#include "scheduler/job_submission.h"

namespace {

constexpr int exit_refused = exit_usage;

int argument_count = 0;  // the process's own
char **argument_vector = nullptr;
bool something_was_started = false;
bool has_ended = false;
bool is_checking = false;
finding_list findings;  // of -check

// The rehearsal of a launch that cannot take place ends with the launcher's status.
[[noreturn]] void end_of_check(int status) {
  if (status != exit_normal && !has_fault(findings)) {
    add_fault(findings, "launch", format_text("the launcher would end with status %d", status),
              "mend what it says above");
  }
  print("\n");
  print_findings(findings);
  platform::end_at_once(has_fault(findings) ? 1 : 0);
}

// What the launcher gathered for a box goes to standard error; a job that was made and
// has not ended is cancelled, which belongs into the record. An end with 0 before anything
// was started is no success.
void end_of_run() {
  if (std::exchange(has_ended, true)) {
    return;
  }
  clear_progress();
  if (!state.message_buffer.empty()) {
    print_error("%s\n", state.message_buffer.c_str());
    state.message_buffer.clear();
  }
  cancel_job();
  remove_job_note();
  platform::let_children_outlive_us();
  const int status = platform::status_at_exit();
  const bool idle = status == exit_normal && !something_was_started;
  finish_run_record(idle ? exit_refused : status);
  if (is_checking) {
    end_of_check(status);
  }
  if (idle) {
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

// ---- The launch ---------------------------------------------------------------------------

// What a start script sets before it calls the launcher.
std::string set_launch_variables(const installed_site &site, const std::string &release,
                                 const typed_launch &launch) {
  const std::string program = program_name(launch);
  set_environment("ZEPHON_INC", site.root);
  set_environment("ZEPHON_PROD_DIR", release_folder(site.root, release));
  set_environment("ZEPHON_ARCH", "win64");
  set_environment("ZEPHON_PROD", program);
  set_environment("STDOUT_FLUSH", "1");
  // A job that waits for its release is none that every MPI releases.
  if (launch.head_node && !launch.job && given_job() && to_number(*given_job()) < 0) {
    set_environment("CCP_JOB_ID", "");
  }
  return program_of_release(site.root, release, program);
}

void parse_launcher_options(const std::vector<std::string> &options) {
  std::vector<std::string> words = {"zprun"};
  words.insert(words.end(), options.begin(), options.end());
  std::vector<char *> arguments;
  arguments.reserve(words.size() + 1);
  for (std::string &option : words) {
    arguments.push_back(option.data());
  }
  const int count = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);
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
  add_to_job_note(job_id);
  if (rehearsal::is_on()) {
    platform::exit_program(exit_normal);
  }
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

bool makes_job(const typed_launch &launch) {
  return goes_to_scheduler() && !launch.job && !rehearsal::is_on();
}

void report_left_jobs(const std::string &head) {
  for (const std::string &sentence : find_left_jobs(head)) {
    print_error("zprun: %s\n", sentence.c_str());
  }
}

// The chapters of a run behind its options, as mpirun has them. A job is never made
// beforehand: each MPI has a way of its own that releases it.
[[noreturn]] void run_launcher(const typed_launch &launch) {
  if (is_installation(launch)) {
    something_was_started = true;
    install_on_request();
  }
  discover_installation();
  if (makes_job(launch)) {
    report_left_jobs(*head_node());
    platform::take_children_with_us();
    begin_job_note(*head_node());
  }
  select_backend();
  add_to_job_note(state.scheduler_job_id);  // Platform MPI has made it by now
  command_line command = join_solver_arguments();
  if (is_checking) {
    check_command(findings, command.text, goes_to_scheduler());
  }
  const bool submitted = submit_scheduler_job(command);
  something_was_started = something_was_started || submitted;
  if (submitted && goes_to_scheduler()) {
    run_on_cluster(launch);
  }
  if (!submitted) {
    launch_solver(command);
  }
  something_was_started = true;
  end_with_status_of_solver();
}

// Looks at everything that the run needs and reads the options. False when the
// launcher cannot even begin; the reason stands in the findings.
bool prepare_launch(const typed_launch &launch) {
  if (is_checking) {
    check_variables(findings);
  }
  check_arguments(findings, launch);
  const installed_site site = find_site();
  const std::string release = check_release(findings, site, launch);
  check_reports(findings, launch);
  if (release.empty()) {
    return false;
  }
  if (launch.task != zprun_task::run) {
    set_environment("ZEPHON_REHEARSAL", "1");
  }
  if (launch.record_file) {
    set_environment("ZEPHON_RUN_RECORD", *launch.record_file);
  }
  begin_run_record(argument_count, argument_vector);
  platform::at_exit(end_of_run);  // once more, as what was registered last runs first
  const std::string program = set_launch_variables(site, release, launch);
  state.attended = true;
  watch_console();
  parse_launcher_options(launcher_options(launch, release));
  state.solver_args_line = solver_line(program, launch.solver_arguments, goes_to_scheduler());
  if (!is_installation(launch)) {
    check_mpi(findings, site, release, state.mpi_name, state.num_procs);
  }
  if (launch.host_file) {
    check_hosts(findings, *launch.host_file, state.mpi_name);
  }
  if (is_checking) {
    check_surroundings(findings, {launch, site, release, state.mpi_name, state.num_procs});
  }
  return true;
}

[[noreturn]] void run_launch(const typed_launch &launch) {
  for (const std::string &mended : launch.mended) {
    print_error("zprun: %s\n", mended.c_str());
  }
  const bool can_begin = prepare_launch(launch);
  if (is_checking ? !can_begin : has_fault(findings)) {
    refuse(is_checking ? std::vector<std::string>() : reasons_of(findings));
  }
  run_launcher(launch);
}

}  // namespace

void start_zprun(int count, char **arguments) {
  platform::at_exit(end_of_run);
  argument_count = count;
  argument_vector = arguments;
  something_was_started = false;
  has_ended = false;
  is_checking = false;
  findings.clear();
  const typed_launch launch =
      read_arguments(std::vector<std::string>(arguments + (count > 0 ? 1 : 0), arguments + count));
  if (count < 2 || launch.task == zprun_task::help) {
    show_help();
    end_well();
  }
  is_checking = launch.task == zprun_task::check;
  if (!launch.refused.empty()) {
    for (const std::string &reason : launch.refused) {
      add_fault(findings, "arguments", reason, "type it so");
    }
    refuse(is_checking ? std::vector<std::string>() : launch.refused);
  }
  if (launch.task == zprun_task::version) {
    show_version();
    end_well();
  }
  if (launch.task == zprun_task::list) {
    list_site(find_site());
    end_well();
  }
  run_launch(launch);
}
