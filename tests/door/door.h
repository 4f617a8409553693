// door.h: what the tests of platform.h ask of the door that they are linked
// against and cannot ask through platform.h. windows_door.cpp answers for Windows,
// stand_in_door.cpp for the scripted Windows of the unit tests.
//
// Where Windows refuses something by itself, the stand-in is told to refuse it:
// the functions given_... do the one or the other, so that a test need not know.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

#include "platform/platform.h"

namespace door {

// ---- Programs -----------------------------------------------------------------------------

// A program that the door starts, from its start to its end. Its texts have no blank.
struct child {
  std::string output;        // written first
  unsigned times = 1;        // so often
  std::string error;         // then this
  unsigned long stays = 0;   // milliseconds that it goes on after that
  std::string last_words;    // its output after them
  unsigned long status = 0;  // its exit code
};
std::string command_of(const child &part);

// What a child sees of the settings it was started with and of its standard
// handles: title=..., hidden or shown, input or no input, and the value of
// DOOR_TEST in its environment block, a line each.
std::string seen_by_child(platform::start_settings settings);

// Launchers in miniature, by name; the tests define them.
extern const std::map<std::string, void (*)()> programs;

struct outcome {
  std::string output;
  std::string error;
  unsigned long status = 0;
  unsigned long left = 0;  // programs that it started and that did not end; Windows tells it
};

// Runs one of them from its start to its end: on Windows as a process of its own.
outcome run_program(const std::string &name);

void press_ctrl_c();

// ---- Files --------------------------------------------------------------------------------

std::string make_folder();  // an empty one, its name with a blank
void remove_folder(const std::string &folder);
void make_directory(const std::string &path);
void change_directory(const std::string &path);
void given_locked_file(const std::string &path);  // another program has it for itself

// ---- What other programs share with the launcher ------------------------------------------

void given_no_standard_handles();
void set_event_named(const std::string &name);
void given_name_of_no_event(const std::string &name);  // something else has the name

std::uint64_t make_shared_block();  // its handle as a number
std::uint32_t number_in_shared_block(std::uint64_t block);

// ---- What the tests do with either door ---------------------------------------------------

// Reads a handle to its end, so many bytes at a time.
std::string read_to_end(void *handle, std::size_t piece = 4096);

struct ended_child {
  std::string output;  // both streams
  unsigned long status = 0;
  unsigned long error = 0;  // it did not start
};

// Runs a command to its end with its output in a pipe.
ended_child run(const std::string &command, platform::start_settings settings = {});

// The same behind the command interpreter, whose line and settings these are.
std::string interpreter_line(const std::string &command);
ended_child interpret(const std::string &command, platform::start_settings settings = {});

}  // namespace door
