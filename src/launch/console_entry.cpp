// console_entry.cpp: the entry of mpirun_console.exe.
#include "launch/mpirun.h"

#ifdef __MINGW32__
extern "C" int _dowildcard;
int _dowildcard = 0;  // an argument such as *.jou reaches the solver as it stands
#endif

int main(int count, char **arguments) {
  return start_from_console(count, arguments);
}
