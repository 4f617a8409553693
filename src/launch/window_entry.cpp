// window_entry.cpp: the entry of mpirun.exe, a program without a console.
#include <cstdlib>

#include "launch/mpirun.h"
#include "platform/platform.h"

#ifdef __MINGW32__
extern "C" int _dowildcard;
int _dowildcard = 0;  // an argument such as *.jou reaches the solver as it stands
#endif

// As Windows' own headers have it, which only src/platform includes: a handle is
// a pointer.
extern "C" int __stdcall WinMain(void *instance, void *, char *, int show_command) {
  platform::use_console_of_caller();  // before anything is opened or written
  start_from_window(instance, show_command, __argc, __argv);
}
