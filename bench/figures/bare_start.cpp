// bare_start.cpp: starts what stands behind its own name in the command line and
// waits for it. What the launcher takes beyond this is its own.
#include "bare_start.h"

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR line, int) {
  return start_and_wait(line);
}
