// smpd_installer.cpp: the SMPD service of MPICH2, installed or started.
#include "install/smpd_installer.h"

#include "core/command_runner.h"
#include "core/exit_status.h"
#include "core/launch_state.h"
#include "core/messages.h"
#include "core/text.h"
#include "core/text_file.h"
#include "core/timed_question.h"
#include "install/install_log.h"
#include "install/mpi_directory.h"
#include "install/releases.h"
#include "install/smpd_service.h"
#include "platform/platform.h"

namespace {

constexpr std::size_t request_limit = 1024;
constexpr int start_notice_seconds = 10;
constexpr int success_notice_seconds = 5;

[[noreturn]] void fail_installation(const std::string &message) {
  install_log_write(message);
  add_message("%s", message.c_str());
  platform::exit_program(exit_installer_failed);
}

// The log, unless it is closed before, gets its end mark when the notice is gone.
[[noreturn]] void show_and_end(const std::string &message, int seconds) {
  timed_question(message, seconds, ok_button | information_icon);
  platform::exit_program(exit_normal);
}

std::string find_installation(const std::string &request) {
  if (request.size() >= 2) {
    return request;
  }
  const auto release = requested_or_latest_release();
  if (!release) {
    fail_installation(format_text("\nError in find %s release!\n", "zephon"));
  }
  return mpi_directory_of_release(state.zephon_inc.value_or(""), *release, "mpich2");
}

// The service check answers 2 after any attempt to start the service, so a start
// that failed is reported as started too; the message for 0 is never shown.
[[noreturn]] void start_service(const std::string &tools_directory) {
  std::string message = "MPICH2 SMPD has already been running!";
  switch (check_intel_smpd(tools_directory)) {
    case 0:
      message = "Failed to start MPICH2 SMPD from " + tools_directory + "!";
      break;
    case 2:
      message = "MPICH2 SMPD started from " + tools_directory + "!";
      break;
    default:
      break;
  }
  install_log_write(message);
  install_log_close();
  show_and_end(message, start_notice_seconds);
}

std::string missing_program_message(const std::string &program) {
  const char *root = chars_of(state.zephon_inc);
  return format_text(
      "\nFile %s does not exist!\n\n"
      "Please use one of the following two commands with full UNC path:\n\n"
      "1. To install the Zephon packaged MPICH2 SMPD, which has been tested and validated:\n"
      "%s\\ntbin\\%s\\zephon -install_smpd 0\n\n"
      "2. To install your own version of MPICH2 SMPD on your own responsibility:\n"
      "%s\\ntbin\\%s\\zephon -install_smpd MPICH2_HOME_DIRECTORY\n",
      program.c_str(), root, "win64", root, "win64");
}

[[noreturn]] void install_service(const std::string &tools_directory) {
  const std::string program = tools_directory + "\\smpd.exe";
  if (!file_is_readable(program)) {
    fail_installation(missing_program_message(program));
  }

  const std::string command = program + " -install";
  std::string last_line;
  bool failed = false;
  const auto status = run_command(command, acts(), [&](const std::string &line) {
    last_line = line;
    failed = contains(line, "fail") || contains(line, "error");
    return !failed;
  });
  if (!status || failed) {
    fail_installation(format_text("\nMPICH2 SMPD Installation Failed:\n%s\n%s", command.c_str(),
                                  last_line.c_str()));
  }
  const std::string message = format_text("\nMPICH2 SMPD Installation Successful:\n%s\n%s",
                                          command.c_str(), last_line.c_str());
  install_log_write(message);
  show_and_end(message, success_notice_seconds);
}

}  // namespace

void install_mpich2_smpd(const std::optional<std::string> &request) {
  if (!request) {
    return;
  }
  install_log_open();
  const std::string tools_directory =
      find_installation(request->substr(0, request_limit)) + "\\bin";
  if (state.start_smpd) {
    start_service(tools_directory);
  }
  install_service(tools_directory);
}
