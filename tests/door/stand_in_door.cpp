// The scripted Windows of the unit tests as a door.
#include <csignal>
#include <functional>

#include "door/door.h"
#include "support/platform_stand_in.h"

namespace door {

std::string command_of(const child &part) {
  static int number = 0;
  const std::string command = "child " + std::to_string(++number);
  stand_in::tool_answer answer;
  for (unsigned turn = 0; turn < part.times; ++turn) {
    answer = std::move(answer).then_prints(part.output);
  }
  stand_in::given_tool_for(
      [command](const std::string &asked) { return asked.starts_with(command); },
      answer.then_prints_error(part.error)
          .then_prints(part.last_words, part.stays)
          .exits_with(part.status));
  return command;
}

std::string seen_by_child(platform::start_settings settings) {
  settings.give_standard_handles = true;
  (void)platform::start_process(command_of({}), settings);
  const stand_in::started_command &seen = stand_in::started_commands().back();
  const std::string block = seen.environment.value_or("");
  const std::string name = "DOOR_TEST=";
  return "title=" + seen.title.value_or("") + "\n" + (seen.hidden ? "hidden" : "shown") + "\n" +
         (seen.gives_standard_handles ? "no input" : "input") + "\n" +
         (block.starts_with(name) ? block.c_str() + name.size() : "(not set)") + "\n";
}

outcome run_program(const std::string &name) {
  stand_in::fresh_world();
  const auto status = stand_in::status_of_exit(programs.at(name));
  return {stand_in::standard_output(), stand_in::standard_error(),
          static_cast<unsigned long>(status.value_or(0))};
}

void press_ctrl_c() {
  stand_in::given_ctrl_c_after(0);
}

std::string make_folder() {
  const std::string folder = "C:\\door tests";
  make_directory(folder);
  return folder;
}

void remove_folder(const std::string & /*folder*/) {}  // it goes with its world

void make_directory(const std::string &path) {
  stand_in::given_directory(path);
}

void change_directory(const std::string &path) {
  stand_in::given_current_directory(path);
}

void given_locked_file(const std::string &path) {
  stand_in::given_unreadable_file(path, stand_in::file_content(path).value_or(""));
  stand_in::given_unwritable_path(path);
}

void given_no_standard_handles() {
  stand_in::given_no_standard_handles();
}

void set_event_named(const std::string &name) {
  stand_in::set_events_named(name);
}

void given_name_of_no_event(const std::string & /*name*/) {
  constexpr unsigned long error_invalid_handle = 6;
  stand_in::given_no_events(error_invalid_handle);
}

std::uint64_t make_shared_block() {
  stand_in::given_shared_block(64);
  return 64;
}

std::uint32_t number_in_shared_block(std::uint64_t block) {
  return stand_in::shared_number(block).value_or(0);
}

}  // namespace door
