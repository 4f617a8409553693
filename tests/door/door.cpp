// What the tests do with either door.
#include "door/door.h"

#include <gtest/gtest.h>

namespace door {

std::string read_to_end(void *handle, std::size_t piece) {
  std::string text;
  std::string buffer(piece, '\0');
  while (const std::size_t got = platform::read_some(handle, buffer.data(), piece)) {
    text.append(buffer, 0, got);
  }
  return text;
}

ended_child run(const std::string &command, platform::start_settings settings) {
  auto pipe = platform::create_pipe();
  settings.give_standard_handles = true;
  settings.output = pipe->write_end.get();
  settings.error = pipe->write_end.get();
  const auto started = platform::start_process(command, settings);
  pipe->write_end.reset();
  ended_child ended;
  ended.error = started.error;
  if (started.process) {
    ended.output = read_to_end(pipe->read_end.get());
    EXPECT_TRUE(platform::wait_for(started.process.get(), 60'000));
    ended.status = platform::exit_code(started.process.get());
  }
  return ended;
}

std::string interpreter_line(const std::string &command) {
  const std::string pair = command.starts_with('"') ? "\"" : "";
  return "cmd.exe /c " + pair + command + pair;
}

ended_child interpret(const std::string &command, platform::start_settings settings) {
  settings.is_interpreter = true;
  return run(interpreter_line(command), settings);
}

}  // namespace door
