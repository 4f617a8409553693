// console.h: Ctrl-C, Ctrl-Break and the closing of the console.
//
// Once: the run is asked to stop, and what it started on this computer is ended when
// it does not; a job of the scheduler is cancelled. Once more: everything is ended at once.
#pragma once

// From now on these events are zprun's.
void watch_console();

// Whether the user wants the run to end.
bool was_interrupted();

// A job that ends with the run; 0: none, or not ours.
void set_job_to_cancel(int job_id);

// Cancels that job, when there is one and it was not cancelled yet.
void cancel_job();
