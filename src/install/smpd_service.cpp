// smpd_service.cpp: asks smpd and mpiexec, starts the one, registers with the other.
#include "install/smpd_service.h"

#include "core/command_runner.h"
#include "core/exit_status.h"
#include "core/messages.h"
#include "core/password_rounds.h"
#include "core/run_record.h"
#include "core/text.h"
#include "core/user_defined.h"
#include "platform/platform.h"
#include "platform/rehearsal.h"

namespace {

bool service_is_missing(const std::string &tools_directory) {
  bool missing = false;
  run_command(quote_path(tools_directory) + "\\smpd.exe -status", asks(),
              [&](const std::string &line) {
                missing = line.starts_with("no smpd");
                print_text(platform::standard_stream::output, " " + line);
                return false;
              });
  return missing;
}

// The service lives on, so it gets none of the launcher's handles: a script that
// reads the launcher's output must see its end.
void start_service(const std::string &tools_directory) {
  const std::string command = tools_directory + "\\smpd.exe -d 0";
  platform::start_settings settings;
  settings.detached = true;
  settings.hidden = true;
  settings.title = "INTEL MPI SMPD";
  settings.handles = platform::inheritance::none;
  if (start_and_leave(command, settings)) {
    print("\nSuccessfully started the SMPD for INTEL MPI!\n");
  } else {
    print("\nFailed to start the SMPD for INTEL MPI [%s]!\n", command.c_str());
  }
}

bool says_invalid(const std::string &line) {
  return begins_ignoring_case(line, "FAIL") || begins_ignoring_case(line, "Unable") ||
         contains(line, "failure");
}

password_state ask_password_state(const std::string &mpiexec) {
  bool invalid = false;
  const auto status = run_command(mpiexec + " -validate", asks(), [&](const std::string &line) {
    invalid = says_invalid(line);
    return false;
  });
  if (!status) {
    return password_state::unknown;
  }
  return invalid ? password_state::invalid : password_state::valid;
}

}  // namespace

void require_smpd_and_credentials(const std::string &tools_directory) {
  if (credential_checks_are_off()) {
    echo_user_defined("ZEPHON_CRED_CHECK", "Skipping credential validation!");
    return;
  }
  // Neither gives 0 today; the two ends stay for the day when one does.
  const int service = check_intel_smpd(tools_directory);
  if (service == 0) {
    fatal(exit_config_fault, "\n Error:  SMPD is not available!\n");
  }
  if (service == 2 && rehearsal::is_on()) {
    tell_unknown("whether the MPI takes the user's password, since the service does not run");
    return;
  }
  if (validate_intel_credentials(tools_directory) == 0) {
    fatal(exit_no_credential, "\n Error:  Credential is not available!\n");
  }
}

int check_intel_smpd(const std::string &tools_directory) {
  print("\nChecking the status of SMPD for INTEL MPI on the local machine ...");
  if (!service_is_missing(tools_directory)) {
    return 1;
  }
  start_service(tools_directory);
  return 2;
}

int validate_intel_credentials(const std::string &tools_directory) {
  const std::string mpiexec = quote_path(tools_directory) + "\\mpiexec.exe";
  const int registrations =
      require_password({.ask = [&] { return ask_password_state(mpiexec); },
                        .enter = [&] { run_in_console(mpiexec + " -register"); },
                        .question = "The password is invalid for INTEL MPI to launch jobs.\n"
                                    "Do you want to input your password now?",
                        .declined = ""});
  if (registrations > 0) {
    print("\nUser password encrypted into the Registry.\n");
  }
  return 1;
}
