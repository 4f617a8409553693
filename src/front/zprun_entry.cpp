// zprun_entry.cpp: the entry of zprun.exe.
#include "front/zprun.h"

#ifdef __MINGW32__
extern "C" int _dowildcard;
int _dowildcard = 0;  // an argument such as *.jou reaches the solver as it stands
#endif

int main(int count, char **arguments) {
  start_zprun(count, arguments);
}
