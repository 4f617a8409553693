// window_entry.cpp: the entry of mpirun.exe, a program without a console.
#include <windows.h>

#include <cstdlib>

#include "launch/mpirun.h"

#ifdef __MINGW32__
extern "C" int _dowildcard;
int _dowildcard = 0;  // an argument such as *.jou reaches the solver as it stands
#endif

int WINAPI WinMain(HINSTANCE instance, HINSTANCE, LPSTR, int nShowCmd) {
  start_from_window(instance, nShowCmd, __argc, __argv);
}
