// stand_in_front.cpp: what only zprun asks of Windows.
#include "support/stand_in_world.h"

namespace stand_in {

void given_console() {
  the_world().console = true;
}

void given_machine_setting(const std::string &name, const std::string &value) {
  the_world().machine_settings[name] = value;
}

void given_word_beyond_code_page(const std::string &word) {
  the_world().word_beyond_code_page = word;
}

void given_double_byte_code_page() {
  the_world().double_byte_code_page = true;
}

void given_unknown_host(const std::string &name) {
  the_world().unknown_hosts.insert(name);
}

void given_control_event_after(milliseconds delay, platform::control_event event) {
  after(delay, [event] {
    if (const auto handler = the_world().control_handler) {
      (void)new_task([handler, event] { handler(event); });
    }
  });
}

}  // namespace stand_in

namespace platform {

using stand_in::the_world;

void set_control_handler(control_handler handler) {
  the_world().control_handler = handler;
}

void end_at_once(int status) {
  the_world().at_exit_functions.clear();
  exit_program(status);
}

int status_at_exit() {
  return the_world().status_at_exit;
}

bool stream_is_console(standard_stream) {
  return the_world().console;
}

std::optional<std::string> machine_setting(const char *name) {
  const auto &settings = the_world().machine_settings;
  const auto found = settings.find(name);
  return found != settings.end() ? std::optional(found->second) : std::nullopt;
}

std::optional<std::string> word_beyond_code_page() {
  return the_world().word_beyond_code_page;
}

bool is_lead_byte(char byte) {
  const auto number = static_cast<unsigned char>(byte);
  return the_world().double_byte_code_page &&
         ((number >= 0x81 && number <= 0x9F) || (number >= 0xE0 && number <= 0xFC));
}

void take_children_with_us() {
  the_world().children_end_with_us = true;
}

void let_children_outlive_us() {
  the_world().children_end_with_us = false;
}

bool host_is_known(const std::string &name) {
  return !the_world().unknown_hosts.contains(name);
}

}  // namespace platform
