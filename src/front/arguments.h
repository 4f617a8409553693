// arguments.h: what people type behind "zprun", read and, where that is certain,
// mended. Pure: the same words always give the same answer.
#pragma once

#include <string>
#include <vector>

#include "front/typed_launch.h"

// Reads the words behind the program's name.
typed_launch read_arguments(const std::vector<std::string> &words);
