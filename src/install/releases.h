// releases.h: which releases are installed, and which of them is the newest.
#pragma once

#include <optional>
#include <string>
#include <vector>

// Adds the version of every folder below the root whose name begins with the
// prefix, in the order in which Windows lists them. True when there was at least
// one. Ends the program with status 254 when the root cannot be listed or a
// folder's version has 16 characters or more.
bool find_releases(const std::string &root, const std::string &prefix,
                   std::vector<std::string> &releases);

// The highest version of a list, compared number by number; nothing when the
// list is empty.
std::optional<std::string> latest_release(const std::vector<std::string> &releases);

// The release that the user asked for, or else the newest one installed below
// ZEPHON_INC; nothing when there is none.
std::optional<std::string> requested_or_latest_release();
