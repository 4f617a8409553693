// unc_path.h: turns a path on a mapped drive into its network form.
#pragma once

#include <string>

// Whether the path begins at a computer, \\server, and not at a drive.
bool is_network_path(const std::string &path);

// Rewrites the path to its universal form, such as \\server\share\folder, when
// Windows knows one; leaves it as it is otherwise.
void convert_to_unc(std::string &path);
