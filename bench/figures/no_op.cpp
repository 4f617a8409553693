// no_op.cpp: the program that is started when only the start counts.
#include <windows.h>

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int) {
  return 0;
}
