// fiber.cpp: fibers of Windows, and contexts of POSIX elsewhere.
//
// What is thrown is caught in the fiber that threw it, and no fiber gives its turn
// away while it unwinds: the language's runtime keeps one list of what is being
// caught for the whole thread.
#include "support/fiber.h"

#include <cstddef>
#include <cstdlib>
#include <utility>
#include <vector>

#ifdef _WIN32

#include <windows.h>

namespace stand_in {

struct fiber_place {
  void *address = nullptr;
  std::function<void()> routine;  // empty: it ran before there was any other
};

namespace {

void CALLBACK begin(void *place) {
  static_cast<fiber_place *>(place)->routine();
  std::abort();  // it ends with end_with_turn_to
}

}  // namespace

fiber::fiber() : place(std::make_unique<fiber_place>()) {
  place->address = IsThreadAFiber() ? GetCurrentFiber() : ConvertThreadToFiber(nullptr);
}

fiber::fiber(std::function<void()> routine) : place(std::make_unique<fiber_place>()) {
  place->routine = std::move(routine);
  place->address = CreateFiber(0, begin, place.get());
}

fiber::~fiber() {
  if (place->routine) {
    DeleteFiber(place->address);
  }
}

void fiber::give_turn_to(fiber &next) {
  SwitchToFiber(next.place->address);
}

void fiber::end_with_turn_to(fiber &next) {
  SwitchToFiber(next.place->address);
  std::abort();
}

}  // namespace stand_in

#else

#include <ucontext.h>

#if defined(__SANITIZE_ADDRESS__)
#define STACKS_ARE_WATCHED
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define STACKS_ARE_WATCHED
#endif
#endif
#ifdef STACKS_ARE_WATCHED
#include <sanitizer/common_interface_defs.h>
#endif

namespace stand_in {

using stack_memory = std::unique_ptr<char[]>;

struct fiber_place {
  ucontext_t context = {};
  stack_memory stack;
  std::function<void()> routine;
  // what the sanitizer keeps of a stack that does not run
  const void *bottom = nullptr;
  std::size_t size = 0;
  void *kept = nullptr;
};

namespace {

// The sanitizer wipes what it knows of all of a stack with each turn.
constexpr std::size_t stack_size = std::size_t{1} << 17;

std::vector<stack_memory> spare_stacks;  // new ones are dear
fiber_place *giver = nullptr;            // of the turn
fiber_place *taker = nullptr;

// First in a turn: the sanitizer learns which stack runs, and where the last one is.
void take_turn() {
#ifdef STACKS_ARE_WATCHED
  __sanitizer_finish_switch_fiber(taker->kept, &giver->bottom, &giver->size);
#endif
}

void announce_turn([[maybe_unused]] void **keep_in) {
#ifdef STACKS_ARE_WATCHED
  __sanitizer_start_switch_fiber(keep_in, taker->bottom, taker->size);
#endif
}

void begin() {
  take_turn();
  taker->routine();
  std::abort();  // it ends with end_with_turn_to
}

}  // namespace

fiber::fiber() : place(std::make_unique<fiber_place>()) {}

fiber::fiber(std::function<void()> routine) : place(std::make_unique<fiber_place>()) {
  if (spare_stacks.empty()) {
    spare_stacks.emplace_back(new char[stack_size]);
  }
  place->stack = std::move(spare_stacks.back());
  spare_stacks.pop_back();
  place->routine = std::move(routine);
  place->bottom = place->stack.get();
  place->size = stack_size;
  (void)getcontext(&place->context);
  place->context.uc_stack.ss_sp = place->stack.get();
  place->context.uc_stack.ss_size = stack_size;
  makecontext(&place->context, begin, 0);
}

fiber::~fiber() {
  if (place->stack) {
    spare_stacks.push_back(std::move(place->stack));
  }
}

void fiber::give_turn_to(fiber &next) {
  giver = place.get();
  taker = next.place.get();
  announce_turn(&place->kept);
  (void)swapcontext(&place->context, &next.place->context);
  take_turn();
}

void fiber::end_with_turn_to(fiber &next) {
  giver = place.get();
  taker = next.place.get();
  announce_turn(nullptr);
  (void)setcontext(&next.place->context);
  std::abort();
}

}  // namespace stand_in

#endif
