// launcher_line.cpp: from a typed launch to the launcher's words.
#include "front/launcher_line.h"

#include <cstddef>
#include <optional>
#include <string_view>

#include "platform/code_page.h"

namespace {

// A word so that Windows' rules for arguments give it back as it was.
//   a b -> "a b"      say "hi" -> "say \"hi\""      C:\my dir\ -> "C:\my dir\\"
std::string quote_word(const std::string &word, std::string_view needs_quotes) {
  const std::string signs = without_double_bytes(word);
  if (!word.empty() && signs.find_first_of(needs_quotes) == std::string::npos) {
    return word;
  }
  std::string quoted = "\"";
  std::size_t backslashes = 0;
  for (std::size_t i = 0; i < word.size(); ++i) {
    if (signs[i] == '"') {
      quoted.append(backslashes + 1, '\\');
    }
    backslashes = signs[i] == '\\' ? backslashes + 1 : 0;
    quoted += word[i];
  }
  quoted.append(backslashes, '\\');
  return quoted + "\"";
}

}  // namespace

std::vector<std::string> launcher_options(const typed_launch &launch, const std::string &release) {
  std::vector<std::string> options = {"--r" + release};
  const auto add = [&](const char *option, const std::optional<std::string> &value) {
    if (value) {
      options.push_back(option + *value);
    }
  };
  const auto add_two = [&](const char *option, const std::optional<std::string> &value) {
    if (value) {
      options.insert(options.end(), {option, *value});
    }
  };
  const auto add_flag = [&](const char *option, bool wanted) {
    if (wanted) {
      options.emplace_back(option);
    }
  };
  // A run with one process needs no MPI; one with more takes the default.
  add("--mpi=", launch.mpi ? launch.mpi : launch.processes ? "" : "net");
  add("--np=", launch.processes);
  if (launch.interconnect != "default") {
    add("--ic=", launch.interconnect);
  }
  add_two("--ccp", launch.head_node);
  add("--jobid=", launch.job);
  add("--np_per_node=", launch.processes_per_node);
  add("--unit=", launch.unit);
  add_two("--cwd", launch.task_folder);
  add("--cnf=", launch.host_file);
  add("--host_ip=", launch.host_ip);
  add("--cred_check=", launch.credential_check);
  add_two("--o", launch.timing_file);
  add_two("--install_smpd", launch.install_smpd);
  add_two("--start_smpd", launch.start_smpd);
  add_flag("--ptrace", launch.ptrace);
  add_flag("--debugmpi", launch.debug_mpi);
  add_flag("--cache_password", launch.cache_password);
  add_flag("--install_ibmmpi", launch.install_ibmmpi);
  add_flag("-wait", !launch.no_wait);
  return options;
}

std::string solver_line(const std::string &program, const std::vector<std::string> &arguments,
                        bool interpreted) {
  const std::string_view needs_quotes = interpreted ? " \t\n\v\"&|<>()^" : " \t\n\v\"";
  std::string line = " " + quote_word(program, " ");
  for (const std::string &argument : arguments) {
    line += " " + quote_word(argument, needs_quotes);
  }
  return line;
}
