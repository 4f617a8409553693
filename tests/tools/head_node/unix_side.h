// unix_side.h: files and programs of the Unix below Wine.
#pragma once

#include <optional>
#include <string>

namespace head_node {

// The name under which Windows programs reach a Unix path when Wine runs them. It
// needs no drive letter.
std::string wine_path(const std::string &unix_path);

// The same on drive Z, for what is to be a current directory.
std::string drive_path(const std::string &unix_path);

// An environment variable's value; empty when it is not set.
std::string variable(const std::string &name);

// A whole file, by its Windows name; nothing when it cannot be read.
std::optional<std::string> read_file(const std::string &path);
bool write_file(const std::string &path, const std::string &text);

// Starts a Unix program with two arguments and waits until it has made a file, which
// it must do in one go. False when it could not be started or the time ran out.
bool run_until_file(const std::string &command, const std::string &file,
                    unsigned long milliseconds);

}  // namespace head_node
