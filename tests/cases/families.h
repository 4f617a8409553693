// families.h: the families of rows, each in a file of its own.
#pragma once

#include "cases/launch_case.h"

namespace cases {

launch_family mpich_family();

}  // namespace cases
