// platform_stand_in.cpp: the world as a whole, the program itself, variables,
// handles, message boxes and libraries. Files, tools and threads have files of
// their own.
#include "support/platform_stand_in.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>

#include "support/stand_in_world.h"

namespace stand_in {

namespace {

constexpr unsigned long error_bad_parameter = 87;
constexpr unsigned long error_name_too_long = 206;
constexpr int status_ended_by_ctrl_c = static_cast<int>(0xC000013AU);
constexpr int interrupt_signal = 2;

void print_and_abort(const std::string &failure) {
  (void)std::fprintf(stderr, "platform stand-in: %s\n", failure.c_str());
  std::abort();
}

void (*failure_report)(const std::string &) = print_and_abort;

std::unique_ptr<world> current_world;

// Handles are addresses in here. They are never used again in the worlds that
// follow soon, so that a handle of an old world is known as such.
std::array<char, std::size_t{1} << 22> handle_addresses;
std::size_t handles_given = 0;

bool is_from_this_world(const void *handle) {
  const char *address = static_cast<const char *>(handle);
  return std::greater_equal<>()(address, handle_addresses.data() + the_world().first_handle) &&
         std::less<>()(address, handle_addresses.data() + handles_given);
}

bool is_from_an_old_world(const void *handle) {
  const char *address = static_cast<const char *>(handle);
  return std::greater_equal<>()(address, handle_addresses.data()) &&
         std::less<>()(address, handle_addresses.data() + handle_addresses.size()) &&
         !is_from_this_world(handle);
}

void press_ctrl_c() {
  world &here = the_world();
  if (here.ctrl_c_ignored) {
    return;
  }
  if (here.handler == nullptr) {
    here.ended_with = status_ended_by_ctrl_c;
    return;
  }
  // As the runtime does: the handler serves once, then the system's own is back.
  (void)new_task([handler = std::exchange(here.handler, nullptr)] { handler(interrupt_signal); });
}

}  // namespace

// ---- The world ----------------------------------------------------------------------------

world &the_world() {
  if (!current_world) {
    fresh_world();
  }
  return *current_world;
}

void fail(const std::string &failure) {
  failure_report(failure);
}

void report_failures_to(void (*report)(const std::string &failure)) {
  failure_report = report;
}

void fresh_world() {
  if (current_world) {
    end_threads();
  } else {
    (void)std::atexit(end_world);  // a world that is destroyed with threads would abort
  }
  current_world = std::make_unique<world>();
  if (handles_given > handle_addresses.size() / 2) {
    handles_given = 0;
  }
  current_world->first_handle = handles_given;
  begin_threads();
}

void end_world() {
  world &here = the_world();
  end_threads();
  here.main_task->unwinding = false;
  here.ended_with.reset();
  here.stuck_report.reset();
  here.out_of_waits = false;
  here.waits_left = most_waits;
}

void check_world() {
  end_threads();
  const world &here = the_world();
  if (here.handles_lost_with_threads > 0) {
    fail("a thread that was ended from outside owned " +
         std::to_string(here.handles_lost_with_threads) + " handle(s): they are lost");
  }
  if (here.exited) {
    return;
  }
  if (!here.handles.empty()) {
    fail(std::to_string(here.handles.size()) + " handle(s) were not closed");
  }
  if (!here.loaded.empty()) {
    fail(std::to_string(here.loaded.size()) + " library(s) were not released");
  }
}

std::optional<int> status_of_exit(const std::function<void()> &program) {
  try {
    program();
    return std::nullopt;
  } catch (const program_ended &end) {
    the_world().exited = true;
    end_world();
    return end.status;
  }
}

void give_up_after(std::size_t waits) {
  the_world().waits_left = waits;
  the_world().giving_up_is_a_failure = false;
}

std::size_t open_handles() {
  return the_world().handles.size();
}
std::size_t open_handles_at_exit() {
  return the_world().open_handles_at_exit;
}

void after(milliseconds delay, std::function<void()> function) {
  at_time(delay == never ? never : the_world().now + delay, std::move(function));
}

milliseconds now() {
  return the_world().now;
}

void pass_time(milliseconds time) {
  wait request{.what = "passes time", .ready = [] { return false; }};
  request.deadline = time == never ? never : the_world().now + time;
  wait_until(request);
}

namespace {

char small_letter(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

}  // namespace

bool case_blind_less::operator()(std::string_view one, std::string_view other) const {
  const std::size_t shorter = std::min(one.size(), other.size());
  for (std::size_t index = 0; index < shorter; ++index) {
    const auto letter = static_cast<unsigned char>(small_letter(one[index]));
    const auto other_letter = static_cast<unsigned char>(small_letter(other[index]));
    if (letter != other_letter) {
      return letter < other_letter;
    }
  }
  return one.size() < other.size();
}

std::string small_letters(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(), small_letter);
  return result;
}

std::string in_text_mode(std::string_view bytes) {
  std::string result;
  std::size_t start = 0;
  for (std::size_t end; (end = bytes.find("\r\n", start)) != std::string_view::npos;
       start = end + 1) {
    result.append(bytes, start, end - start);
  }
  return result.append(bytes, start);
}

// ---- Handles ------------------------------------------------------------------------------

void *new_handle(handle_target target) {
  if (handles_given == handle_addresses.size()) {
    fail("more handles in one world than the stand-in has");
  }
  void *handle = &handle_addresses.at(handles_given++);
  the_world().handles.emplace(handle, std::move(target));
  return handle;
}

const handle_target *find_handle(const void *handle, const char *use) {
  const auto &handles = the_world().handles;
  const auto found = handles.find(handle);
  if (found != handles.end()) {
    return &found->second;
  }
  if (handle != nullptr) {
    fail(std::string(use) + " of a handle that is not open");
  }
  return nullptr;
}

// ---- The program itself -------------------------------------------------------------------

void given_windows_version(unsigned long version) {
  the_world().windows_version = version;
}
void given_process_id(unsigned long id) {
  the_world().process_id = id;
}

void given_time(std::time_t time) {
  the_world().time_at_begin = time - static_cast<std::time_t>(the_world().now / 1000);
}

void given_ctrl_c_after(milliseconds delay) {
  after(delay, press_ctrl_c);
}
bool ctrl_c_is_ignored() {
  return the_world().ctrl_c_ignored;
}
platform::interrupt_handler current_interrupt_handler() {
  return the_world().handler;
}

// ---- Environment --------------------------------------------------------------------------

void given_variable(const std::string &name, const std::string &value) {
  the_world().variables.insert_or_assign(name, value);
}

void given_no_variable(const std::string &name) {
  the_world().variables.erase(name);
}

std::optional<std::string> variable(const std::string &name) {
  const auto found = the_world().variables.find(name);
  return found == the_world().variables.end() ? std::nullopt : std::optional(found->second);
}

void given_refused_variables(unsigned long error) {
  the_world().variable_error = error;
}

// ---- Message boxes ------------------------------------------------------------------------

void given_box_answer(int button, milliseconds delay) {
  the_world().box_answers.push_back({button, delay});
}

void given_box_without_answer() {
  the_world().box_answers.push_back({pressed_ok, never});
}

void given_box_that_cannot_be_shown() {
  the_world().box_answers.push_back({std::nullopt, 0});
}

void given_no_visible_boxes() {
  the_world().boxes_are_visible = false;
}

void given_box_closing(int button, milliseconds delay) {
  the_world().box_closing = {button, delay};
}

const std::vector<message_box> &message_boxes() {
  static std::vector<message_box> records;
  records.clear();
  for (const auto &box : the_world().boxes) {
    records.push_back(box->record);
  }
  return records;
}

namespace {

// The first button of a box, which the launcher presses to close it.
int first_button(unsigned style) {
  constexpr unsigned button_set = 0xF;
  switch (style & button_set) {
    case 2:
      return 3;  // Abort
    case 3:
    case 4:
      return pressed_yes;
    case 5:
      return 4;  // Retry
    default:
      return pressed_ok;
  }
}

box_answer next_box_answer() {
  world &here = the_world();
  if (here.box_answers.empty()) {
    return {pressed_ok, here.running == here.main_task.get() ? 0 : never};
  }
  const box_answer answer = here.box_answers.front();
  here.box_answers.pop_front();
  return answer;
}

void end_box(shown_box &box, box_end end, int button) {
  if (box.open) {
    box.open = false;
    box.record.end = end;
    box.record.button = button;
    box.record.ended_at = the_world().now;
  }
}

void end_box_at(const std::shared_ptr<shown_box> &box, milliseconds delay, box_end end,
                int button) {
  if (delay != never) {
    after(delay, [box, end, button] { end_box(*box, end, button); });
  }
}

}  // namespace

// ---- Network paths ------------------------------------------------------------------------

void given_no_library(const std::string &name) {
  the_world().libraries.erase(name);
}

void given_network_drive(const std::string &drive, const std::string &share) {
  the_world().network_drives[drive] = share;
}

std::size_t times_loaded(const std::string &library) {
  const auto found = the_world().times_loaded.find(library);
  return found == the_world().times_loaded.end() ? 0 : found->second;
}

}  // namespace stand_in

// ---- Behind the door ----------------------------------------------------------------------

namespace platform {

using stand_in::the_world;

void handle_closer::operator()(void *handle) const {
  stand_in::world &here = the_world();
  const auto found = here.handles.find(handle);
  if (found == here.handles.end()) {
    if (!stand_in::is_from_an_old_world(handle)) {
      stand_in::fail("a handle was closed that is not open");
    }
    return;
  }
  if (here.running->terminated) {
    ++here.handles_lost_with_threads;
  }
  const stand_in::handle_target target = std::move(found->second);
  here.handles.erase(found);
  if (const auto *reading = std::get_if<stand_in::read_end>(&target)) {
    reading->of->read_end_open = false;
    stand_in::pipe_was_read(*reading->of);
  } else if (const auto *writing = std::get_if<stand_in::write_end>(&target)) {
    --writing->of->launcher_ends;
  }
}

unsigned long windows_version() {
  return the_world().windows_version;
}
unsigned long process_id() {
  return the_world().process_id;
}

std::time_t current_time() {
  return the_world().time_at_begin + static_cast<std::time_t>(the_world().now / 1000);
}

std::uint64_t elapsed_ms() {
  return the_world().now;
}

void at_exit(void (*function)()) {
  the_world().at_exit_functions.push_back(function);
}

std::int64_t current_microseconds() {
  return static_cast<std::int64_t>(the_world().time_at_begin) * 1'000'000 +
         static_cast<std::int64_t>(the_world().now) * 1'000;
}

// A code page whose letters are those of the first 256 of Unicode.
std::string utf8_of(const std::string &text) {
  std::string result;
  for (const char letter : text) {
    const auto number = static_cast<unsigned char>(letter);
    if (number < 0x80) {
      result += letter;
    } else {
      result += static_cast<char>(0xC0U | (number >> 6U));
      result += static_cast<char>(0x80U | (number & 0x3FU));
    }
  }
  return result;
}

void exit_program(int status) {
  stand_in::world &here = the_world();
  here.status_at_exit = status;
  while (!here.at_exit_functions.empty()) {
    void (*function)() = here.at_exit_functions.back();
    here.at_exit_functions.pop_back();
    function();
  }
  here.open_handles_at_exit = here.handles.size();
  here.ended_with = status;
  here.running->unwinding = true;
  throw stand_in::program_ended{status};
}

void ignore_ctrl_c() {
  the_world().ctrl_c_ignored = true;
}

interrupt_handler set_interrupt_handler(interrupt_handler handler) {
  return std::exchange(the_world().handler, handler);
}

std::string system_message(unsigned long error) {
  switch (error) {
    case 2:
      return "The system cannot find the file specified.\r\n";
    case 5:
      return "Access is denied.\r\n";
    case 87:
      return "The parameter is incorrect.\r\n";
    case 206:
      return "The filename or extension is too long.\r\n";
    default:
      return "";
  }
}

std::optional<std::string> get_variable(const char *name) {
  const auto &variables = the_world().variables;
  const auto found = variables.find(std::string_view(name));
  return found == variables.end() ? std::nullopt : std::optional(found->second);
}

unsigned long put_variable(const std::string &name_and_value) {
  stand_in::world &here = the_world();
  const std::string text = name_and_value.substr(0, name_and_value.find('\0'));
  const std::size_t equals = text.find('=');
  if (equals == std::string::npos || equals == 0) {
    return stand_in::error_bad_parameter;
  }
  const std::string name = text.substr(0, equals);
  const std::string value = text.substr(equals + 1);
  if (here.variable_error != 0) {
    return here.variable_error;
  }
  if (name_and_value.size() > longest_variable) {
    return stand_in::error_name_too_long;
  }
  if (value.empty()) {
    here.variables.erase(name);
  } else {
    here.variables.insert_or_assign(name, value);
  }
  return 0;
}

bool boxes_are_visible() {
  return the_world().boxes_are_visible;
}

int show_message_box(const std::string &caption, const std::string &text, unsigned style) {
  stand_in::world &here = the_world();
  const auto box = std::make_shared<stand_in::shown_box>();
  box->record.caption = caption;
  box->record.text = text;
  box->record.style = style;
  box->record.thread = here.running->id;
  box->record.shown_at = here.now;
  here.boxes.push_back(box);
  const stand_in::box_answer answer = stand_in::next_box_answer();
  if (!answer.button) {
    stand_in::end_box(*box, stand_in::box_end::not_shown, 0);
    return 0;
  }
  stand_in::end_box_at(box, answer.delay, stand_in::box_end::answered, *answer.button);
  struct end_with_thread {
    stand_in::shown_box &box;
    ~end_with_thread() { stand_in::end_box(box, stand_in::box_end::thread_ended, 0); }
  };
  const end_with_thread guard{*box};
  stand_in::wait request{.what = "shows the message box \"" + text + "\"",
                         .ready = [&box] { return !box->open; }};
  stand_in::wait_until(request);
  return box->record.button;
}

void close_message_boxes(unsigned long thread_id) {
  const stand_in::box_answer closing = the_world().box_closing;
  for (const auto &box : the_world().boxes) {
    if (box->open && box->record.thread == thread_id) {
      stand_in::end_box_at(box, closing.delay, stand_in::box_end::closed,
                           closing.button.value_or(stand_in::first_button(box->record.style)));
    }
  }
  stand_in::run_due_events();
}

void *load_system_library(const char *name) {
  stand_in::world &here = the_world();
  ++here.times_loaded[name];
  if (!here.libraries.contains(name)) {
    return nullptr;
  }
  here.loaded.push_back(std::make_unique<stand_in::library>(stand_in::library{name}));
  return here.loaded.back().get();
}

void free_library(void *library) {
  auto &loaded = the_world().loaded;
  const auto found = std::find_if(loaded.begin(), loaded.end(),
                                  [library](const auto &one) { return one.get() == library; });
  if (found == loaded.end()) {
    stand_in::fail("a library was released that is not loaded");
    return;
  }
  loaded.erase(found);
}

std::optional<std::string> universal_name(void *mpr_library, const std::string &path) {
  const stand_in::world &here = the_world();
  const bool is_mpr =
      std::any_of(here.loaded.begin(), here.loaded.end(), [mpr_library](const auto &one) {
        return one.get() == mpr_library && stand_in::small_letters(one->name) == "mpr.dll";
      });
  if (!is_mpr) {
    stand_in::fail("a universal name was asked of something that is not mpr.dll");
    return std::nullopt;
  }
  const auto found = here.network_drives.find(path.substr(0, 2));
  if (found == here.network_drives.end()) {
    return std::nullopt;
  }
  return found->second + path.substr(2);
}

}  // namespace platform
