// host_files.cpp: reads the user's host file, writes the MPI's.
#include "backends/host_files.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "core/environment.h"
#include "core/exit_status.h"
#include "core/launch_state.h"
#include "core/messages.h"
#include "core/text.h"
#include "core/text_file.h"
#include "platform/platform.h"

namespace {

constexpr std::size_t host_line_limit = 255;
constexpr std::size_t entry_line_limit = 1023;

bool is_blank_line(std::string_view line) {
  return line.find_first_not_of(' ') == std::string_view::npos;
}

// A host file ends at a Ctrl-Z, as for other programs that read it as a text.
std::optional<text_reader> open_hosts(const std::string &path) {
  auto file = open_text(path);
  if (file) {
    file->ends_at_ctrl_z = true;
  }
  return file;
}

// TEMP\PREFIX-PROCESS.txt, so that launchers side by side never share a file.
// Nothing, with a message, when there is neither TEMP nor a current directory.
std::optional<std::string> temporary_name(const char *prefix) {
  const auto temp = env_text("TEMP");
  const auto directory = temp ? temp : platform::current_directory();
  if (!directory) {
    print_error("Error: getcwd() error\n");
    return std::nullopt;
  }
  return format_text("%s\\%s-%lu.txt", directory->c_str(), prefix, platform::process_id());
}

// The name can be foreseen, so what stands there already is removed, not
// followed: it could be a link that somebody planted.
std::optional<text_writer> create_temporary(const std::string &name) {
  remove_text(name);
  return create_text(name, platform::open_mode::create);
}

// Writes what is left; a file that is not complete is removed.
bool finish_temporary(text_writer &file, const std::string &name) {
  if (close_text(file)) {
    return true;
  }
  remove_text(name);
  return false;
}

// The host lines of a file; nothing when they have counts already.
std::optional<int> count_host_lines(text_reader &file) {
  int hosts = 0;
  std::string line;
  while (read_line(file, line, host_line_limit)) {
    if (is_blank_line(line)) {
      continue;
    }
    if (line.find(':') != std::string::npos) {
      return std::nullopt;
    }
    ++hosts;
  }
  return hosts;
}

// What stands behind a host's name.
std::string count_text(int processes) {
  return ":" + std::to_string(processes) + "\n";
}

// How many processes each host gets; the first lines take what is left over.
//   8 on 3 hosts -> 3 3 2        5 on 2 hosts -> 3 2
// A blank line takes its share of what is left over too.
void write_host_counts(text_reader &hosts_file, text_writer &file, int hosts) {
  int per_host = state.num_procs / hosts;
  int extra = state.num_procs % hosts;
  bool pending = extra > 0;
  if (pending) {
    ++per_host;
  }
  std::string count = count_text(per_host);
  std::string line;
  while (read_line(hosts_file, line, host_line_limit)) {
    if (!is_blank_line(line)) {
      line.resize(without_line_end(line).size());
      write_text(file, line += count);
    }
    if (pending && --extra == 0) {
      count = count_text(per_host - 1);
      pending = false;
    }
  }
}

// A line of a host file that has a count.
struct host_with_count {
  std::string name;
  int count = 0;
};

//   alpha:4 -> alpha, 4      ::alpha::4 -> alpha, 4      alpha: -> alpha, 0
host_with_count split_at_colons(const std::string &line) {
  const auto pieces = split_at(line, ":");
  return {pieces.empty() ? "" : pieces[0], pieces.size() < 2 ? 0 : to_number(pieces[1])};
}

// Copies a host file without its first `skip` slots. Each line keeps its own line
// end and gets another one: readers of the file pass over the empty lines.
void copy_hosts_of_file(text_reader &hosts_file, text_writer &file, int skip) {
  std::string line;
  while (read_line(hosts_file, line, host_line_limit)) {
    if (skip <= 0) {
      write_text(file, line += "\n");
    } else if (!contains(line, ":")) {
      --skip;
    } else {
      const host_with_count host = split_at_colons(line);
      if (host.count > skip) {  // a smaller count drops the line and leaves skip as it is
        write_text(file, host.name + count_text(host.count - skip));
        skip = 0;
      }
    }
  }
}

void copy_hosts_of_list(std::string_view hosts, text_writer &file, int skip) {
  for (const std::string &host : split_at(hosts, ",;: ")) {
    if (skip > 0) {
      --skip;
    } else {
      write_text(file, host + "\n");
    }
  }
}

// The first word of the next entry; nothing at the end of the file.
std::optional<std::string> next_entry(text_reader &file) {
  std::string line;
  while (read_line(file, line, entry_line_limit)) {
    if (!is_blank_line(line)) {
      return first_word(line);
    }
  }
  return std::nullopt;
}

}  // namespace

std::string hosts_reason() {
  return state.hosts_file_given ? "host file: --cnf=" : "host file: ZEPHON_HOSTS_FILE";
}

std::string reason_of(const std::optional<std::string> &written) {
  return hosts_reason() + (written ? ", rewritten for the MPI" : "");
}

std::string require_hosts_file() {
  const auto hosts_file = host_file();
  if (!hosts_file) {
    fatal(exit_config_fault, "\n Error:  Hostfile does not exist!\n");
  }
  return *hosts_file;
}

std::optional<std::string> write_process_host_file(const std::optional<std::string> &path) {
  if (!path) {
    return std::nullopt;
  }
  auto hosts_file = open_hosts(*path);
  if (!hosts_file) {
    fatal(exit_config_fault, "\n Error:  Failed to open host file %s\n", path->c_str());
  }
  const auto hosts = count_host_lines(*hosts_file);
  if (!hosts || *hosts == 0 || *hosts >= state.num_procs) {
    return std::nullopt;
  }

  auto name = temporary_name("zphost");
  if (!name) {
    platform::exit_program(exit_config_fault);
  }
  auto file = create_temporary(*name);
  bool complete = file.has_value();
  if (file) {
    if (auto again = open_hosts(*path)) {
      write_host_counts(*again, *file, *hosts);
    }
    complete = finish_temporary(*file, *name);
  }
  if (!complete) {
    // Names the user's file, not the new one: that is the one they know.
    fatal(exit_config_fault, "\n Error:  Failed to create host file %s\n", path->c_str());
  }
  set_environment("ZEPHON_HOSTS_FILE", *name);  // for the programs that are started
  return name;
}

std::optional<std::string> write_scheduler_host_file(const std::string &hosts) {
  const int skip = env_number("PARA_MESH_NPROCS");
  auto name = temporary_name("zphosts");
  if (!name) {
    return std::nullopt;
  }
  auto file = create_temporary(*name);
  bool complete = file.has_value();
  if (file) {
    if (auto hosts_file = open_hosts(hosts)) {
      copy_hosts_of_file(*hosts_file, *file, skip);
    } else {
      copy_hosts_of_list(hosts, *file, skip);
    }
    complete = finish_temporary(*file, *name);
  }
  if (!complete) {
    print("\nfailed to open temp file for hosts");
    return std::nullopt;
  }
  return name;
}

std::optional<std::string> read_host_list() {
  const std::string hosts = host_file().value_or("");
  auto file = open_hosts(hosts);
  if (!file) {
    return hosts;
  }
  std::string list;
  std::string previous;
  std::string line;
  while (!file->at_end) {
    read_line(*file, line);
    line.resize(std::min(line.find('\0'), line.size()));  // a command ends at a zero byte
    while (line.size() >= 2 && static_cast<unsigned char>(line.back()) <= ' ') {
      line.pop_back();
    }
    if (line.size() < 2) {
      return list.empty() ? std::nullopt : std::optional(list);
    }
    if (line != previous) {
      list += (list.empty() ? "" : ",") + line;
      previous = line;
    }
  }
  // The file ended without a line end: once for the size, once for the text.
  for (int i = 0; i < 2; ++i) {
    add_message("\nERROR in get_line: file is null!\n");
  }
  return list;
}

int host_file_is_single_host(const std::optional<std::string> &path, int processes) {
  if (!path) {
    return 1;
  }
  auto file = open_hosts(*path);
  if (!file) {
    print("\nWarning: Unable to open host file %s! Use local machine.\n", path->c_str());
    return 1;
  }
  const auto first = next_entry(*file);
  if (!first) {
    return 1;
  }
  // Words keep their line ends: a last line without one is a different host.
  for (int count = 1; count < processes; ++count) {
    const auto next = next_entry(*file);
    if (!next) {
      return 1;
    }
    if (!equal_ignoring_case(*next, *first)) {
      return 0;
    }
  }
  return 1;
}

bool first_host_is_this_computer(const std::string &path) {
  auto file = open_hosts(path);
  const auto computer = env_text("COMPUTERNAME");
  if (!file || !computer) {
    return false;
  }
  std::string name = next_entry(*file).value_or("");
  if (!name.empty()) {
    name.pop_back();  // meant for the line end
  }
  name.erase(0, name.find_first_not_of('.'));
  name.erase(std::min(name.find('.'), name.size()));
  return !name.empty() && equal_ignoring_case(name, *computer);
}

std::optional<std::string> first_word(const std::optional<std::string> &text) {
  const std::size_t start = text ? text->find_first_not_of(' ') : std::string::npos;
  if (start == std::string::npos) {
    return std::nullopt;
  }
  return text->substr(start, text->find(' ', start) - start);
}
