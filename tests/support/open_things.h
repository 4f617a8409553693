// open_things.h: what this process has of Windows, for tests that do the same again and
// again.
#pragma once

#include <cstddef>

struct open_things {
  unsigned long handles = 0;
  unsigned long threads = 0;
  std::size_t memory = 0;  // of its own, in bytes
};

open_things open_now();
