// host_files.h: the host files that the launcher reads and writes.
//
// A user's host file has one machine's name on each line. A blank here is the
// space character alone: a line that holds only its line end is an entry without
// a name, and only a last line of spaces without a line end is no entry.
#pragma once

#include <optional>
#include <string>

// The host file of the run. Ends the program with status 2 when none is set.
std::string require_hosts_file();

// Where the run's host file comes from, as a reason of a piece that names it.
std::string hosts_reason();

// The same for a file that may have been written in its place.
std::string reason_of(const std::optional<std::string> &written);

// Spreads num_procs over the hosts of a file without counts: writes a temporary
// file of host:count lines, one for each host, and has ZEPHON_HOSTS_FILE name it.
// Gives back the new file's name; nothing when the given file can stay in use: it has
// counts already, a line for each process, or no line. Ends the program with status
// 2 when a file cannot be opened, created or written.
[[nodiscard]] std::optional<std::string> write_process_host_file(
    const std::optional<std::string> &path);

// Copies a host file, or a list of hosts separated by comma, semicolon, colon or
// blank, into a temporary file without the PARA_MESH_NPROCS slots that meshing
// processes hold. Gives back the new file's name; nothing when it could not be
// written.
[[nodiscard]] std::optional<std::string> write_scheduler_host_file(const std::string &hosts);

// The host file of the run as one line of names separated by commas, without
// neighbouring duplicates; ends at the first line shorter than two characters.
// The value of ZEPHON_HOSTS_FILE itself when no such file can be opened; nothing
// when the file names no host.
std::optional<std::string> read_host_list();

// Whether the first entries of a host file, as many as there are processes, name
// one machine only: 1, also when the file cannot be judged; else 0.
int host_file_is_single_host(const std::optional<std::string> &path, int processes);

// Whether the first entry of a host file names this computer. The last character
// of the name is cut off as its line end, so a name with a blank behind it loses
// a letter and is another computer's.
bool first_host_is_this_computer(const std::string &path);

// Cuts leading blanks off, and everything from the next blank on. Nothing when
// the text is absent, empty or all blanks.
std::optional<std::string> first_word(const std::optional<std::string> &text);
