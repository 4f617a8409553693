// fiber.h: pieces of code that take turns on one thread of the system, each with a
// stack of its own. A turn is given from one to the next by name, so equal worlds
// give equal runs, and it costs a fraction of what waking a thread costs.
#pragma once

#include <functional>
#include <memory>

namespace stand_in {

struct fiber_place;

class fiber {
 public:
  fiber();                                        // the one that runs already
  explicit fiber(std::function<void()> routine);  // begins with its first turn
  fiber(const fiber &) = delete;
  fiber &operator=(const fiber &) = delete;
  ~fiber();  // it has ended or never begun

  // Gives the turn to another one; comes back when somebody gives it back.
  void give_turn_to(fiber &next);

  // The same at the end of its routine, which must not come back.
  [[noreturn]] void end_with_turn_to(fiber &next);

 private:
  std::unique_ptr<fiber_place> place;
};

}  // namespace stand_in
