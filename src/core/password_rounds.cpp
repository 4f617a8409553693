// password_rounds.cpp: three rounds of a password.
#include "core/password_rounds.h"

#include "core/exit_status.h"
#include "core/messages.h"
#include "core/run_record.h"
#include "core/timed_question.h"
#include "platform/platform.h"
#include "platform/rehearsal.h"

namespace {

constexpr int question_seconds = 3600;
constexpr int round_limit = 3;

}  // namespace

int require_password(const password_rounds &rounds) {
  for (int round = 0;; ++round) {
    const password_state password = rounds.ask();
    if (password == password_state::valid) {
      return round;
    }
    if (password == password_state::invalid && round >= round_limit) {
      print("\nUser password has been inputed 3 times, but still wrong!\n\n");
      platform::exit_program(exit_wrong_password);
    }
    if (round > 0 &&
        timed_question(rounds.question, question_seconds, yes_no_buttons) != answer_yes) {
      print("%s", rounds.declined.c_str());
      platform::exit_program(exit_normal);
    }
    rounds.enter();
    if (rehearsal::is_on()) {
      tell_unknown("whether the password that the user enters is the right one");
      return round + 1;
    }
  }
}
