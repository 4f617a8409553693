// Windows as a door. Children and programs are this program again, started with
// --as-child or --as-program.
#include <windows.h>

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <vector>

#include "door/door.h"

namespace {

using platform::owned_handle;
using texts = std::vector<std::string>;

constexpr const char *no_text = "-";

std::string own_command() {
  std::string path(MAX_PATH, '\0');
  path.resize(GetModuleFileNameA(nullptr, path.data(), MAX_PATH));
  return '"' + path + '"';
}

std::string as_word(const std::string &text) {
  return text.empty() ? no_text : text;
}

void say(platform::standard_stream stream, const std::string &text) {
  if (text != no_text) {
    (void)platform::write_all(platform::standard_handle(stream), text.data(), text.size());
  }
}

// ---- The children -------------------------------------------------------------------------

int play_child(const texts &words) {
  for (unsigned long turn = std::stoul(words.at(1)); turn > 0; --turn) {
    say(platform::standard_stream::output, words.at(0));
  }
  say(platform::standard_stream::error, words.at(2));
  Sleep(std::stoul(words.at(3)));
  say(platform::standard_stream::output, words.at(4));
  return static_cast<int>(std::stoul(words.at(5)));
}

int tell_what_it_sees() {
  STARTUPINFOA startup{};
  GetStartupInfoA(&startup);
  const bool is_hidden =
      (startup.dwFlags & STARTF_USESHOWWINDOW) != 0 && startup.wShowWindow == SW_HIDE;
  const std::string title = startup.lpTitle != nullptr ? startup.lpTitle : "";
  char letter = 0;
  const bool has_input = platform::read_some(GetStdHandle(STD_INPUT_HANDLE), &letter, 1) > 0;
  say(platform::standard_stream::output,
      "title=" + title + "\n" + (is_hidden ? "hidden" : "shown") + "\n" +
          (has_input ? "input" : "no input") + "\n" +
          platform::get_variable("DOOR_TEST").value_or("(not set)") + "\n");
  return 0;
}

// The processes of a group, once those that can end have had the time to.
unsigned long processes_left(HANDLE group) {
  JOBOBJECT_BASIC_ACCOUNTING_INFORMATION counts = {};
  for (int look = 0; look < 3'000; ++look) {
    EXPECT_TRUE(QueryInformationJobObject(group, JobObjectBasicAccountingInformation, &counts,
                                          sizeof counts, nullptr));
    if (counts.ActiveProcesses == 0) {
      break;
    }
    Sleep(10);
  }
  return counts.ActiveProcesses;
}

// What others hold while a test runs.
std::vector<owned_handle> held;

}  // namespace

namespace door {

std::string command_of(const child &part) {
  return own_command() + " --as-child " + as_word(part.output) + " " + std::to_string(part.times) +
         " " + as_word(part.error) + " " + std::to_string(part.stays) + " " +
         as_word(part.last_words) + " " + std::to_string(part.status);
}

std::string seen_by_child(platform::start_settings settings) {
  return run(own_command() + " --as-child what-it-sees", settings).output;
}

outcome run_program(const std::string &name) {
  auto output = platform::create_pipe();
  auto error = platform::create_pipe();
  platform::start_settings settings;
  settings.give_standard_handles = true;
  settings.output = output->write_end.get();
  settings.error = error->write_end.get();
  settings.handles = platform::inheritance::listed;
  settings.grouped = true;
  const auto started = platform::start_process(own_command() + " --as-program " + name, settings);
  output->write_end.reset();
  error->write_end.reset();
  outcome ended;
  ended.output = read_to_end(output->read_end.get());
  ended.error = read_to_end(error->read_end.get());
  EXPECT_TRUE(platform::wait_for(started.process.get(), 60'000));
  ended.status = platform::exit_code(started.process.get());
  ended.left = processes_left(started.group.get());
  platform::terminate_group(started.group.get(), 1);
  return ended;
}

void press_ctrl_c() {
  (void)std::raise(SIGINT);
}

std::string make_folder() {
  const std::filesystem::path folder = std::filesystem::temp_directory_path() /
                                       ("door tests " + std::to_string(GetCurrentProcessId()));
  std::filesystem::remove_all(folder);
  std::filesystem::create_directory(folder);
  return folder.string();
}

void remove_folder(const std::string &folder) {
  held.clear();
  std::filesystem::current_path(std::filesystem::temp_directory_path());
  std::filesystem::remove_all(folder);
}

void make_directory(const std::string &path) {
  std::filesystem::create_directory(path);
}

void change_directory(const std::string &path) {
  std::filesystem::current_path(path);
}

void given_locked_file(const std::string &path) {
  held.emplace_back(CreateFileA(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
}

void given_no_standard_handles() {
  (void)SetStdHandle(STD_OUTPUT_HANDLE, nullptr);
  (void)SetStdHandle(STD_ERROR_HANDLE, INVALID_HANDLE_VALUE);
}

void set_event_named(const std::string &name) {
  const owned_handle event(OpenEventA(EVENT_MODIFY_STATE, FALSE, name.c_str()));
  EXPECT_TRUE(event && SetEvent(event.get()));
}

void given_name_of_no_event(const std::string &name) {
  held.emplace_back(CreateMutexA(nullptr, FALSE, name.c_str()));
}

std::uint64_t make_shared_block() {
  held.emplace_back(
      CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 8, nullptr));
  return reinterpret_cast<std::uintptr_t>(held.back().get());
}

std::uint32_t number_in_shared_block(std::uint64_t block) {
  const auto *view = static_cast<const std::uint32_t *>(MapViewOfFile(
      reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(block)), FILE_MAP_READ, 0, 0, 0));
  EXPECT_NE(nullptr, view);
  EXPECT_EQ(0U, view[1]);  // what follows the number is left alone
  const std::uint32_t number = view[0];
  (void)UnmapViewOfFile(view);
  return number;
}

}  // namespace door

int main(int argc, char **argv) {
  const texts words(argv, argv + argc);
  if (argc > 2 && words[1] == "--as-child") {
    return words[2] == "what-it-sees" ? tell_what_it_sees()
                                      : play_child({words.begin() + 2, words.end()});
  }
  if (argc == 3 && words[1] == "--as-program") {
    door::programs.at(words[2])();
    return 0;
  }
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
