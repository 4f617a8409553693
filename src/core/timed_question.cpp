// timed_question.cpp: the one message box thread.
//
// The thread stores the button before it says that there is an answer, and the
// launcher closes the question before it closes the box. Whichever of the two
// moves comes first counts, so no answer is lost and none is made up.
#include "core/timed_question.h"

#include <atomic>

#include "core/launch_state.h"
#include "core/run_record.h"
#include "core/text.h"
#include "core/text_file.h"
#include "platform/platform.h"
#include "platform/rehearsal.h"

namespace {

constexpr unsigned long poll_interval = 100;  // milliseconds
constexpr unsigned button_set = 0xF;  // the part of a style that says which buttons there are

// How often, and how many milliseconds apart, a box is asked to close before its
// thread is ended. A thread ended while its box comes up would leave locks behind.
constexpr int close_attempts = 200;
constexpr unsigned long close_wait = 25;

enum question_phase : int { closed, shown, answered };

// In a rehearsal the user lets the run go on.
int rehearsed_answer(unsigned style) {
  return (style & button_set) == yes_no_buttons ? answer_yes : answer_ok;
}

step_kind kind_of(unsigned style) {
  return (style & button_set) == ok_button ? step_kind::message : step_kind::question;
}

platform::started_thread dialog_thread;
std::size_t dialog_step = 0;  // in the run's record
std::string dialog_text;
std::atomic<unsigned> dialog_style = 0;
std::atomic<int> dialog_answer = answer_ok;  // what counts as the answer
std::atomic<int> pressed_button = 0;
std::atomic<int> dialog_phase = closed;

// Owns nothing and takes no lock, as it can be ended at any moment.
void show_question(void *) {
  const int button = platform::show_message_box("Zephon", dialog_text, dialog_style | topmost_box);
  if (button != 0) {  // a box that could not be shown leaves the assumed answer
    pressed_button = button;
  }
  int expected = shown;
  dialog_phase.compare_exchange_strong(expected, answered);
}

// Not through messages, which takes the names of the buttons from here.
void say_question(platform::standard_stream stream, const std::string &text) {
  if (void *handle = platform::standard_handle(stream)) {
    const std::string bytes = with_line_ends(text);
    platform::write_all(handle, bytes.data(), bytes.size());
  }
}

}  // namespace

unsigned long start_question(const std::string &text, unsigned style, int assumed_answer) {
  stop_question();
  if (rehearsal::is_on()) {
    tell_step(kind_of(style), text, rehearsed_answer(style) == answer_yes ? "Yes" : "OK");
    dialog_answer = rehearsed_answer(style);
    dialog_phase = closed;
    return 0;
  }
  dialog_step = begin_step(kind_of(style), text);
  dialog_text = text;
  dialog_style = style;
  dialog_answer = assumed_answer;
  pressed_button = assumed_answer;
  if (!platform::boxes_are_visible()) {
    say_question(platform::standard_stream::output, with_one_line_end(text));
    end_step(dialog_step, {});
    return 0;
  }
  dialog_phase = shown;
  dialog_thread = platform::start_thread(show_question, nullptr);
  if (!dialog_thread.thread) {
    dialog_phase = closed;
    end_step(dialog_step, {});
    return 0;
  }
  return dialog_thread.id;
}

int question_answer() {
  if (dialog_phase == answered) {
    dialog_answer = pressed_button.load();
  }
  return dialog_answer;
}

void stop_question() {
  if (!dialog_thread.thread) {
    return;
  }
  // Ended before it was asked to, the box was answered by the user.
  bool ended = platform::wait_for(dialog_thread.thread.get(), 0);
  // The last moment for an answer. In one move, so that none comes between.
  if (dialog_phase.exchange(closed) == answered) {
    dialog_answer = pressed_button.load();
  }
  for (int attempt = 0; attempt < close_attempts && !ended; ++attempt) {
    platform::close_message_boxes(dialog_thread.id);
    ended = platform::wait_for(dialog_thread.thread.get(), close_wait);
  }
  if (!ended) {
    platform::terminate_thread(dialog_thread.thread.get());
  }
  dialog_thread.thread.reset();
  end_step(dialog_step, {.exit_code = dialog_answer, .lines = {}});
}

int timed_question(const std::string &text, int seconds, unsigned style) {
  if (state.attended && !rehearsal::is_on()) {
    const std::size_t step = begin_step(kind_of(style), text);
    say_question(platform::standard_stream::error, text + "\n");
    end_step(step, {.exit_code = answer_ok, .lines = {}});
    return answer_ok;  // as when nobody answers
  }
  start_question(text, style, answer_ok);
  const unsigned long limit = static_cast<unsigned long>(seconds) * 1000;
  for (unsigned long waited = 0; waited < limit && dialog_phase == shown; waited += poll_interval) {
    platform::sleep_ms(poll_interval);
  }
  stop_question();
  return question_answer();
}
