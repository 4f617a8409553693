// timed_question.h: questions and notices in message boxes on a thread of their
// own, which answer themselves when nobody does.
#pragma once

#include <string>

// Button sets, styles and buttons, as Windows numbers them.
constexpr unsigned ok_button = 0;
constexpr unsigned ok_cancel_buttons = 1;
constexpr unsigned yes_no_buttons = 4;
constexpr unsigned information_icon = 0x40;  // with the OK button
constexpr unsigned topmost_box = 0x40000;    // above all other windows
constexpr int answer_ok = 1;
constexpr int answer_cancel = 2;
constexpr int answer_yes = 6;

// Shows a text with buttons and waits for the answer, at most the given time in
// seconds. Gives back the button, or 1 when the time ran out or the box could
// not be shown.
int timed_question(const std::string &text, int seconds, unsigned style);

// Shows a text with buttons without waiting. Gives back the thread's identifier,
// 0 when it could not be started. Where nobody can see a box the text goes to
// standard output, and it is 0 as well.
unsigned long start_question(const std::string &text, unsigned style, int assumed_answer);

// The button pressed in the last question; the assumed answer until then.
int question_answer();

// Takes the box of a question away if it is still shown. The time of an answer
// is over with that: a box closed by the launcher is no answer.
void stop_question();
