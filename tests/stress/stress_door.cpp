// stress_door.cpp: stands in front of four functions of the door to Windows.
#include "stress_door.h"

#include <windows.h>

#include <atomic>

#include "core/timed_question.h"
#include "platform/platform.h"

// The real ones, under the names that the build gives them.
namespace platform {

int show_windows_box(const std::string &caption, const std::string &text, unsigned style);
void close_windows_boxes(unsigned long thread_id);
void sleep_whole_time(unsigned long milliseconds);
void terminate_windows_thread(void *thread);

}  // namespace platform

namespace stress {

namespace {

constexpr int no_button = 0;
constexpr unsigned long longest_wait = 60000;  // for a box to come up, in milliseconds

std::atomic<unsigned long> sleep_factor = 1;
std::atomic<void (*)(unsigned)> each_sleep = nullptr;
std::atomic<unsigned> sleeps = 0;

std::atomic<bool> boxes_are_quick = false;
std::atomic<bool> box_is_stubborn = false;
std::atomic<bool> box_is_up = false;
std::atomic<unsigned long> box_thread = 0;
std::atomic<int> box_button = no_button;  // with which it closes
std::atomic<unsigned> requests = 0;
std::atomic<unsigned> terminated = 0;

void *event_of_box() {
  static const platform::created_event created = platform::create_event(nullptr);
  return created.event.get();
}

void *event_of_appearance() {
  static const platform::created_event created = platform::create_event(nullptr);
  return created.event.get();
}

int show_quick_box() {
  box_thread = GetCurrentThreadId();
  box_is_up = true;
  platform::set_event(event_of_appearance());
  int button = no_button;
  while ((button = box_button) == no_button) {
    (void)platform::wait_for(event_of_box(), platform::wait_forever);
  }
  return button;
}

// True when this button is the one with which the box closes.
bool close_quick_box(int button) {
  int none = no_button;
  const bool first = box_is_up && box_button.compare_exchange_strong(none, button);
  platform::set_event(event_of_box());
  return first;
}

}  // namespace

void given_shorter_sleeps(unsigned long factor) {
  sleep_factor = factor;
}

void given_each_sleep(void (*function)(unsigned number)) {
  each_sleep = function;
  sleeps = 0;
}

void given_windows_boxes() {
  boxes_are_quick = false;
}

void given_quick_box(bool stubborn) {
  boxes_are_quick = true;
  box_is_stubborn = stubborn;
  box_is_up = false;
  box_button = no_button;
  requests = 0;
  (void)platform::wait_for(event_of_box(), 0);  // set for the box before, perhaps
  (void)platform::wait_for(event_of_appearance(), 0);
}

// Several threads may wait for it, and the event wakes one of them.
bool wait_for_quick_box() {
  for (unsigned long waited = 0; waited < longest_wait && !box_is_up; ++waited) {
    (void)platform::wait_for(event_of_appearance(), 1);
  }
  return box_is_up;
}

unsigned long quick_box_thread() {
  return box_thread;
}

bool press_quick_box(int button) {
  return close_quick_box(button);
}

unsigned close_requests() {
  return requests;
}

unsigned terminated_threads() {
  return terminated;
}

}  // namespace stress

namespace platform {

int show_message_box(const std::string &caption, const std::string &text, unsigned style) {
  return stress::boxes_are_quick ? stress::show_quick_box()
                                 : show_windows_box(caption, text, style);
}

void close_message_boxes(unsigned long thread_id) {
  ++stress::requests;
  if (!stress::boxes_are_quick) {
    close_windows_boxes(thread_id);
  } else if (!stress::box_is_stubborn) {
    (void)stress::close_quick_box(answer_yes);  // its first button
  }
}

void sleep_ms(unsigned long milliseconds) {
  sleep_whole_time(milliseconds / stress::sleep_factor);
  const unsigned number = ++stress::sleeps;
  if (const auto function = stress::each_sleep.load()) {
    function(number);
  }
}

void terminate_thread(void *thread) {
  ++stress::terminated;
  terminate_windows_thread(thread);
}

}  // namespace platform
