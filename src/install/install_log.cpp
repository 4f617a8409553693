// install_log.cpp: the append-only log of installations.
#include "install/install_log.h"

#include "core/environment.h"
#include "core/run_record.h"
#include "core/text.h"
#include "core/text_file.h"
#include "platform/platform.h"
#include "platform/rehearsal.h"

namespace {

platform::owned_handle install_log;  // empty: no log

}  // namespace

void install_log_open() {
  if (rehearsal::is_on()) {
    tell_step(step_kind::file, "append to install_smpd_log.txt", "the log grew by what follows");
    return;
  }
  install_log = platform::open_file("install_smpd_log.txt", platform::open_mode::append);
  if (!install_log) {
    return;
  }
  platform::at_exit(install_log_close);
  const std::string now = calendar_text(platform::current_time());
  if (const auto computer = env_text("COMPUTERNAME")) {
    install_log_write(
        format_text("\n------------- start on %s @ %s\n", computer->c_str(), now.c_str()));
  } else {
    install_log_write(format_text("\n------------- start @ %s\n", now.c_str()));
  }
}

void install_log_write(const std::string &message) {
  if (install_log) {
    const std::string text = with_line_ends(message);
    platform::write_all(install_log.get(), text.data(), text.size());
  }
}

void install_log_close() {
  install_log_write(
      format_text("\n------------- end @ %s\n", calendar_text(platform::current_time()).c_str()));
  install_log.reset();
}
