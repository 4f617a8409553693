// unc_path.h: turns a path on a mapped drive into its network form.
#pragma once

#include <string>

// Rewrites the path to its universal form, such as \\server\share\folder, when
// Windows knows one; leaves it as it is otherwise.
void convert_to_unc(std::string &path);
