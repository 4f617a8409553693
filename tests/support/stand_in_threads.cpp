// stand_in_threads.cpp: virtual time and the turn that goes from thread to
// thread, so that exactly one runs at a time and always in the same order.
#include <algorithm>
#include <utility>

#include "support/stand_in_world.h"

namespace stand_in {

namespace {

// Ends a thread from outside: unwinds it out of its platform call.
struct thread_killed {};

bool is_main(const task &one) {
  return &one == the_world().main_task.get();
}

bool is_over(const wait &request) {
  return request.deadline <= the_world().now || request.ready();
}

// The main thread must not wait any longer when the program is over.
bool main_must_go() {
  const world &here = the_world();
  return here.ended_with || here.stuck_report || here.out_of_waits;
}

bool can_go_on(const task &one) {
  if (one.ended) {
    return false;
  }
  if (one.waits == nullptr) {
    return !one.begun;
  }
  return is_over(*one.waits) || (one.waits->in_a_read_or_write && one.interrupted) ||
         (is_main(one) && main_must_go());
}

std::uint64_t place_in_line(const task &one) {
  if (is_main(one) && (the_world().main_thread_first || main_must_go())) {
    return 0;
  }
  return one.waits != nullptr ? one.waits->order : one.order;
}

std::string who_waits() {
  std::string text = "nothing can end these waits:";
  for (const auto &one : the_world().tasks) {
    if (!one->ended && one->waits != nullptr) {
      text +=
          is_main(*one) ? "\n  the main thread " : "\n  thread " + std::to_string(one->id) + " ";
      text += one->waits->what;
    }
  }
  return text;
}

// The time at which something can happen next; never when nothing will.
milliseconds next_moment() {
  const world &here = the_world();
  milliseconds next = here.timed.empty() ? never : here.timed.begin()->first.first;
  for (const auto &one : here.tasks) {
    if (!one->ended && one->waits != nullptr) {
      next = std::min(next, one->waits->deadline);
    }
  }
  return next;
}

// The thread that runs next. Passes time until there is one.
task &next_task() {
  world &here = the_world();
  for (;;) {
    run_due_events();
    task *next = nullptr;
    for (const auto &one : here.tasks) {
      if (can_go_on(*one) && (next == nullptr || place_in_line(*one) < place_in_line(*next))) {
        next = one.get();
      }
    }
    if (next != nullptr) {
      return *next;
    }
    const milliseconds moment = next_moment();
    if (moment == never) {
      here.stuck_report = who_waits();
      return *here.main_task;
    }
    here.now = moment;
  }
}

fiber &take_turn(task &next);

void run_task(task &one) {
  try {
    one.routine();
  } catch (const thread_killed &) {  // terminate_thread wants this
  } catch (const program_ended &) {  // exit_program has left the status in the world
  }
  world &here = the_world();
  one.ended = true;
  task &next = here.killer != nullptr ? *std::exchange(here.killer, nullptr) : next_task();
  one.own->end_with_turn_to(take_turn(next));
}

// Lets another thread be the one that runs; gives back its fiber.
fiber &take_turn(task &next) {
  the_world().running = &next;
  if (!next.begun) {
    next.begun = true;
    next.own = std::make_unique<fiber>([&next] { run_task(next); });
  }
  return *next.own;
}

void forget_ended_threads() {
  std::erase_if(the_world().tasks, [](const auto &one) { return one->ended; });
}

void kill(const std::shared_ptr<task> &one) {
  world &here = the_world();
  if (one->ended) {
    return;
  }
  one->killed = true;
  if (one->begun) {
    here.killer = here.running;
    here.running->own->give_turn_to(take_turn(*one));
  }
  one->ended = true;
}

// The main thread leaves the world: the program ended, or it would hang.
void leave_world() {
  world &here = the_world();
  here.main_task->unwinding = true;
  if (here.ended_with) {
    throw program_ended{*here.ended_with};
  }
  if (here.stuck_report) {
    const std::string report = *std::exchange(here.stuck_report, std::nullopt);
    fail(report);
    throw stuck(report);
  }
  if (std::exchange(here.out_of_waits, false)) {
    if (here.giving_up_is_a_failure) {
      fail(std::to_string(most_waits) + " waits: the launcher waits forever");
    }
    throw gave_up("the waits are used up");
  }
}

}  // namespace

void begin_threads() {
  world &here = the_world();
  here.main_task = std::make_shared<task>();
  here.main_task->id = 1;
  here.main_task->begun = true;
  here.main_task->own = std::make_unique<fiber>();
  here.tasks = {here.main_task};
  here.running = here.main_task.get();
}

void end_threads() {
  const auto tasks = the_world().tasks;
  for (const auto &one : tasks) {
    if (!is_main(*one)) {
      kill(one);
    }
  }
  forget_ended_threads();
}

void at_time(milliseconds time, std::function<void()> function) {
  if (time != never) {
    the_world().timed.emplace(std::pair(time, ++the_world().sequence), std::move(function));
  }
}

void run_due_events() {
  auto &timed = the_world().timed;
  while (!timed.empty() && timed.begin()->first.first <= the_world().now) {
    const auto event = timed.extract(timed.begin());
    event.mapped()();
  }
}

std::shared_ptr<task> new_task(std::function<void()> routine) {
  world &here = the_world();
  forget_ended_threads();
  auto one = std::make_shared<task>();
  one->id = 100 + static_cast<unsigned long>(++here.sequence);
  one->order = here.sequence;
  one->routine = std::move(routine);
  here.tasks.push_back(one);
  return one;
}

void wait_until(wait &request) {
  world &here = the_world();
  task &me = *here.running;
  if (me.unwinding) {
    return;
  }
  if (here.waits_left == 0) {
    here.out_of_waits = true;
  } else {
    --here.waits_left;
  }
  request.order = ++here.sequence;
  me.interrupted = false;
  me.waits = &request;
  task &next = next_task();
  if (&next != &me) {
    me.own->give_turn_to(take_turn(next));
  }
  me.waits = nullptr;
  if (me.killed) {
    me.unwinding = true;
    throw thread_killed{};
  }
  if (is_main(me) && main_must_go()) {
    leave_world();
  }
}

void given_no_threads() {
  the_world().no_threads = true;
}
void given_no_events(unsigned long error) {
  the_world().event_error = error;
}
void given_main_thread_first() {
  the_world().main_thread_first = true;
}
void given_threads_that_run_at_once() {
  the_world().threads_run_at_once = true;
}

std::size_t threads_started() {
  return the_world().threads_started;
}

std::size_t threads_alive() {
  const auto &tasks = the_world().tasks;
  return static_cast<std::size_t>(std::count_if(
      tasks.begin(), tasks.end(), [](const auto &one) { return !one->ended && !is_main(*one); }));
}

std::size_t threads_terminated() {
  return the_world().threads_terminated;
}
std::vector<std::string> events_created() {
  return the_world().events_created;
}

void set_events_named(const std::string &name) {
  for (const auto &[handle, target] : the_world().handles) {
    const auto *one = std::get_if<std::shared_ptr<event>>(&target);
    if (one != nullptr && (*one)->name == name) {
      (*one)->set = true;
    }
  }
}

}  // namespace stand_in

// ---- Behind the door ----------------------------------------------------------------------

namespace platform {

using stand_in::the_world;

started_thread start_thread(thread_routine routine, void *argument) {
  stand_in::world &here = the_world();
  if (here.no_threads) {
    return {};
  }
  ++here.threads_started;
  const auto one = stand_in::new_task([routine, argument] { routine(argument); });
  started_thread started;
  started.thread.reset(stand_in::new_handle(one));
  started.id = one->id;
  if (here.threads_run_at_once) {
    sleep_ms(0);
  }
  return started;
}

void interrupt_thread(void *thread) {
  const auto one = stand_in::handle_as<stand_in::task>(thread, "interrupt_thread");
  if (one != nullptr && one->waits != nullptr && one->waits->in_a_read_or_write) {
    one->interrupted = true;
  }
}

void terminate_thread(void *thread) {
  const auto one = stand_in::handle_as<stand_in::task>(thread, "terminate_thread");
  if (one == nullptr || one->ended) {
    return;
  }
  if (one.get() == the_world().running) {
    stand_in::fail("a thread terminates itself");
    return;
  }
  ++the_world().threads_terminated;
  one->terminated = true;
  stand_in::kill(one);
}

bool wait_for(void *handle, unsigned long milliseconds) {
  const stand_in::handle_target *target = stand_in::find_handle(handle, "wait_for");
  if (target == nullptr) {
    return false;
  }
  stand_in::wait request;
  if (const auto *process = std::get_if<std::shared_ptr<stand_in::process>>(target)) {
    request.what = "waits for the end of \"" + (*process)->command + "\"";
    request.ready = [one = *process] { return one->ended; };
  } else if (const auto *task = std::get_if<std::shared_ptr<stand_in::task>>(target)) {
    request.what = "waits for the end of thread " + std::to_string((*task)->id);
    request.ready = [one = *task] { return one->ended; };
  } else if (const auto *event = std::get_if<std::shared_ptr<stand_in::event>>(target)) {
    request.what = "waits for the event \"" + (*event)->name + "\"";
    request.ready = [one = *event] { return one->set; };
  } else {
    stand_in::fail("a wait for a file or pipe");
    return false;
  }
  if (milliseconds != wait_forever) {
    request.deadline = the_world().now + milliseconds;
  }
  const auto event = stand_in::handle_as<stand_in::event>(handle, "wait_for");
  stand_in::wait_until(request);
  const bool is_ready = request.ready();
  if (event != nullptr) {
    event->set = false;  // it resets itself when a wait sees it
  }
  return is_ready;
}

void sleep_ms(unsigned long milliseconds) {
  stand_in::pass_time(milliseconds == wait_forever ? stand_in::never : milliseconds);
}

created_event create_event(const char *name) {
  stand_in::world &here = the_world();
  created_event created;
  if (here.event_error != 0) {
    created.error = here.event_error;
    return created;
  }
  here.events_created.emplace_back(name != nullptr ? name : "");
  const auto event = std::make_shared<stand_in::event>();
  event->name = here.events_created.back();
  created.event.reset(stand_in::new_handle(event));
  return created;
}

void set_event(void *event) {
  if (const auto one = stand_in::handle_as<stand_in::event>(event, "set_event")) {
    one->set = true;
  }
}

}  // namespace platform
