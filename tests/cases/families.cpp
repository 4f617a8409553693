// families.cpp: the list of all families.
#include "cases/families.h"

namespace cases {

std::vector<launch_family> all_families() {
  return {mpich_family()};
}

}  // namespace cases
