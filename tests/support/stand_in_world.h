// stand_in_world.h: what the parts of the stand-in share. Tests include
// platform_stand_in.h instead.
//
// The launcher's threads are fibers here: only the one that has the turn runs, so
// nothing here needs a lock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <variant>
#include <vector>

#include "platform/platform.h"
#include "support/fiber.h"
#include "support/platform_stand_in.h"

namespace stand_in {

// ---- What handles stand for ---------------------------------------------------------------

struct process;

struct file {
  std::string path;  // as it was given first
  std::string content;
  bool is_directory = false;
  std::optional<std::string> link_target;
};

struct pipe {
  std::string data;               // written and not read yet
  std::size_t launcher_ends = 0;  // write ends open in the launcher
  std::size_t child_ends = 0;     // write ends open in programs that it started
  bool read_end_open = true;
  std::vector<std::weak_ptr<process>> waiting;  // programs that wait for room
};

struct open_file {
  std::shared_ptr<file> content;
  std::size_t position = 0;
  platform::open_mode mode = platform::open_mode::read;
};

struct read_end {
  std::shared_ptr<pipe> of;
};

struct write_end {
  std::shared_ptr<pipe> of;
};

struct event {
  std::string name;
  bool set = false;
};

enum class standard_place { output, error };
using output_target =
    std::variant<std::monostate, standard_place, std::shared_ptr<pipe>, std::shared_ptr<file>>;

struct process {
  struct step {
    milliseconds delay = 0;
    enum { write_output, write_error, close_output, exit } what = exit;
    std::string text;
    std::size_t written = 0;  // characters of the text
  };
  unsigned long id = 0;
  std::string command;
  std::deque<step> steps;
  output_target output;
  output_target error;
  std::vector<std::shared_ptr<pipe>> held;  // pipes whose write end it holds
  std::optional<std::uint64_t> processor_time;
  std::optional<std::uint64_t> group_time;
  std::optional<unsigned long> terminated_with;
  unsigned long exit_code = 0;
  bool interpreted = false;  // the command interpreter, and the tool behind it
  bool ended = false;        // the process itself; a tool may go on without it
  bool gone = false;         // and the tool as well
};

// A wait of a thread: it is over when it is ready or its time is.
struct wait {
  std::string what;  // for the report when nothing can end it
  std::function<bool()> ready;
  milliseconds deadline = never;
  bool in_a_read_or_write = false;  // interrupt_thread breaks it off
  std::uint64_t order = 0;
};

struct task {
  unsigned long id = 0;
  std::function<void()> routine;
  std::unique_ptr<fiber> own;  // null: it has not begun
  wait *waits = nullptr;       // null: it runs, or has not begun
  std::uint64_t order = 0;     // of its start
  bool begun = false;
  bool ended = false;
  bool killed = false;
  bool terminated = false;  // killed by the launcher
  bool unwinding = false;   // it leaves: its waits are over at once
  bool interrupted = false;
};

using handle_target =
    std::variant<std::shared_ptr<open_file>, read_end, write_end, std::shared_ptr<process>,
                 std::shared_ptr<task>, std::shared_ptr<event>>;

// ---- The world ----------------------------------------------------------------------------

struct case_blind_less {
  using is_transparent = void;
  bool operator()(std::string_view one, std::string_view other) const;
};

struct tool_rule {
  std::function<bool(const std::string &)> matches;
  std::optional<std::string> command;  // the rule is for exactly this command
  std::deque<tool_answer> answers;
};

struct box_answer {
  std::optional<int> button;  // nothing: it cannot be shown
  milliseconds delay = never;
};

struct shown_box {
  message_box record;
  bool open = true;
};

struct library {
  std::string name;
};

constexpr std::size_t most_waits = 150'000;  // more is a launcher that waits forever

struct world {
  // time and threads
  milliseconds now = 0;
  std::uint64_t sequence = 0;
  std::map<std::pair<milliseconds, std::uint64_t>, std::function<void()>> timed;
  std::shared_ptr<task> main_task;
  std::vector<std::shared_ptr<task>> tasks;
  task *running = nullptr;
  task *killer = nullptr;  // gets the turn back from the thread that it ends
  std::size_t waits_left = most_waits;
  bool giving_up_is_a_failure = true;
  bool main_thread_first = false;
  bool threads_run_at_once = false;
  bool no_threads = false;
  std::size_t threads_started = 0;
  std::size_t threads_terminated = 0;
  std::size_t handles_lost_with_threads = 0;
  unsigned long event_error = 0;
  std::vector<std::string> events_created;
  std::optional<std::string> stuck_report;
  bool out_of_waits = false;

  // the program itself
  std::optional<int> ended_with;
  bool exited = false;
  std::vector<void (*)()> at_exit_functions;
  int status_at_exit = 0;
  std::size_t open_handles_at_exit = 0;
  unsigned long windows_version = 0x1DB10106UL;
  unsigned long process_id = 4711;
  std::time_t time_at_begin = 1'234'567'890;
  bool ctrl_c_ignored = false;
  platform::interrupt_handler handler = nullptr;

  // environment
  std::map<std::string, std::string, case_blind_less> variables;
  unsigned long variable_error = 0;

  // handles
  std::unordered_map<const void *, handle_target> handles;
  std::size_t first_handle = 0;

  // files
  std::map<std::string, std::shared_ptr<file>> files;  // by compared path
  std::set<std::string> unreadable;
  std::set<std::string> unwritable;
  std::map<std::string, std::size_t> openings_left;
  std::map<std::string, std::size_t> openings;
  std::map<std::string, std::optional<std::vector<std::string>>> listings;
  std::optional<std::string> current_directory = "C:\\work";
  std::optional<std::size_t> disk_space;
  std::optional<std::size_t> share_space;
  bool share_is_gone = false;
  std::size_t most_bytes_read = ~std::size_t{0};
  std::vector<std::string> written;
  std::vector<std::string> removed;

  // standard output and error
  std::string output;
  std::string error;
  std::string both;
  bool no_standard_handles = false;
  bool output_is_broken = false;
  std::optional<std::size_t> output_hangs_after;

  // tools
  std::vector<tool_rule> rules;
  std::vector<started_command> started;
  std::vector<std::shared_ptr<process>> processes;
  unsigned long next_process_id = 5000;
  unsigned long interpreter_error = 0;
  bool no_pipes = false;
  bool no_groups = false;
  std::map<std::uint64_t, std::optional<std::uint32_t>> shared_blocks;

  // message boxes
  std::vector<std::shared_ptr<shown_box>> boxes;
  std::deque<box_answer> box_answers;
  bool boxes_are_visible = true;
  box_answer box_closing = {std::nullopt, 0};  // no button: the first one

  // what the front asks
  platform::control_handler control_handler = nullptr;
  bool console = false;
  std::map<std::string, std::string> machine_settings;
  std::optional<std::string> word_beyond_code_page;
  bool double_byte_code_page = false;
  bool children_end_with_us = false;
  std::set<std::string, case_blind_less> unknown_hosts;

  // network paths
  std::set<std::string, case_blind_less> libraries = {"mpr.dll"};
  std::map<std::string, std::string, case_blind_less> network_drives;
  std::map<std::string, std::size_t, case_blind_less> times_loaded;
  std::vector<std::unique_ptr<library>> loaded;
};

world &the_world();

// ---- What the parts offer each other ------------------------------------------------------

void fail(const std::string &failure);

std::string small_letters(std::string_view text);
std::string in_text_mode(std::string_view bytes);  // CR LF is one newline

// Handles.
void *new_handle(handle_target target);
const handle_target *find_handle(const void *handle, const char *use);  // null: not open

template <typename target>
std::shared_ptr<target> handle_as(const void *handle, const char *use) {
  const handle_target *found = find_handle(handle, use);
  const auto *wanted = found == nullptr ? nullptr : std::get_if<std::shared_ptr<target>>(found);
  return wanted == nullptr ? nullptr : *wanted;
}

// Time and threads.
void begin_threads();
void end_threads();  // all but the main thread
void wait_until(wait &request);
void run_due_events();
void at_time(milliseconds time, std::function<void()> function);
std::shared_ptr<task> new_task(std::function<void()> routine);

// Files.
std::string full_path(const std::string &path);
std::string compared_path(const std::string &path);  // the same for equal paths

// Output.
std::optional<standard_place> standard_place_of(const void *handle);
bool is_null_input(const void *handle);
void write_standard(standard_place place, std::string_view text);

// Processes.
void pipe_was_read(pipe &read);

}  // namespace stand_in
