// password_rounds.h: asks for a user's password until an MPI takes it.
#pragma once

#include <functional>
#include <string>

enum class password_state {
  valid,
  invalid,
  unknown  // the MPI's tool could not be asked
};

// What an MPI does about the password, and what the user is told.
struct password_rounds {
  std::function<password_state()> ask;  // the MPI, whether it takes the password
  std::function<void()> enter;          // has the MPI ask the user for it in the console
  std::string question;                 // whether the user wants to enter it once more
  std::string declined;                 // said when the user does not; empty: nothing
};

// Gives back how often the password was entered until the MPI took it: the first
// time unasked, then when the user agrees. Ends the program with status 0 when the
// user does not, 4 when it is still wrong after three times. While the MPI's tool
// cannot be asked, the rounds go on: it is the user who gives up.
int require_password(const password_rounds &rounds);
