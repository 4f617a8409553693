// stress_door.h: what the stress tests change at the door to Windows. Everything
// else that the modules call there is the real thing.
//
// The time limits of questions are whole seconds, a box of Windows takes tens of
// milliseconds, and the watch of a job looks once a second: thousands of rounds
// would take hours. So the launcher's sleeps can be made shorter by a factor, which
// leaves the number and the order of its looks as they are; and a box can be a quick
// one, which waits for its button on its thread as Windows' own does, without a
// window. Threads that are ended from outside are counted.
#pragma once

namespace stress {

// ---- Sleeps -------------------------------------------------------------------------------

// The launcher sleeps so many times shorter; 1 is the whole time.
void given_shorter_sleeps(unsigned long factor);

// Called at the end of each sleep with its number, from 1 on; null: nothing is called.
void given_each_sleep(void (*function)(unsigned number));

// ---- Boxes --------------------------------------------------------------------------------

// From now on boxes are Windows' own.
void given_windows_boxes();

// The next box is a quick one. A stubborn one does not close when it is asked to.
void given_quick_box(bool stubborn = false);

// Waits until the quick box is up; false when it does not come in time.
bool wait_for_quick_box();

// The thread of the quick box that is up.
unsigned long quick_box_thread();

// Presses a button of the quick box. False when the box had been asked to close
// before, or was not there.
bool press_quick_box(int button);

// How often the launcher asked a box to close.
unsigned close_requests();

// ---- Threads ------------------------------------------------------------------------------

// How many threads the launcher ended from outside.
unsigned terminated_threads();

}  // namespace stress
