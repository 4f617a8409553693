// unix_text.h: the words of a Windows command line as a Unix program reads them.
#pragma once

#include <functional>
#include <string>

namespace mpi_bridge {

// Gives the Unix name of one Windows path.
using path_converter = std::function<std::string(const std::string &)>;

// A text without the single quotes around it.   'C:\a b'  ->  C:\a b
std::string unquoted(const std::string &text);

// A word in which every Windows path is replaced; all other words stay.
//   D:\cases\plate.case     ->  /home/jdoe/cases/plate.case
//   'C:\my files'           ->  /home/jdoe/my files
//   C:\a;D:\b               ->  /home/jdoe/a:/home/jdoe/b
//   PATH=C:\a               ->  PATH=/home/jdoe/a
//   -localonly              ->  unchanged
std::string unix_text(const std::string &word, const path_converter &unix_path);

// A word for the Unix shell.   it's  ->  'it'\''s'
std::string shell_quoted(const std::string &word);

}  // namespace mpi_bridge
