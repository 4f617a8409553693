// platform_mpi_installer.cpp: the Platform MPI setup program of the release.
#include "install/platform_mpi_installer.h"

#include <string>

#include "core/command_runner.h"
#include "core/exit_status.h"
#include "core/launch_state.h"
#include "core/text_file.h"
#include "core/timed_question.h"
#include "install/mpi_directory.h"
#include "install/releases.h"
#include "platform/platform.h"

namespace {

constexpr int notice_seconds = 10;

void show_notice(const std::string &text) {
  timed_question(text, notice_seconds, ok_button | information_icon);
}

}  // namespace

void install_platform_mpi() {
  const std::string setup =
      mpi_directory_of_release(state.zephon_inc.value_or(""),
                               requested_or_latest_release().value_or(""), "ibmmpi") +
      "\\sbin\\setup.exe";
  if (!file_is_readable(setup)) {
    show_notice(setup + ": File does not exist!");
    platform::exit_program(exit_normal);
  }

  // "plaformmpi" is how the setup program spells its component.
  const std::string command = setup + " /verysilent /components=\"plaformmpi\"";
  const auto status = run_command(command, acts(), [](const std::string &line) {
    // Up to a zero byte. The program goes on writing meanwhile.
    show_notice(line.substr(0, line.find('\0')));
    return false;
  });
  if (!status) {
    show_notice(command + ": Failed to execute!");
    platform::exit_program(exit_normal);
  }
  show_notice("Check running services to see if Platform MPI is installed?");
  platform::exit_program(exit_normal);
}
