// typed_option.cpp: the tables of options, and of what else they are called.
#include "front/typed_option.h"

#include <array>
#include <cstddef>
#include <vector>

#include "core/text.h"
#include "front/near_misses.h"

namespace {

struct text_option {
  std::string_view name;
  text_field field;
};

struct flag_option {
  std::string_view name;
  flag_field field;
};

struct task_option {
  std::string_view name;
  zprun_task task;
};

constexpr std::array text_options = {
    text_option{"t", &typed_launch::processes},
    text_option{"r", &typed_launch::release},
    text_option{"mpi", &typed_launch::mpi},
    text_option{"cnf", &typed_launch::host_file},
    text_option{"ccp", &typed_launch::head_node},
    text_option{"host_ip", &typed_launch::host_ip},
    text_option{"pic", &typed_launch::interconnect},
    text_option{"o", &typed_launch::timing_file},
    text_option{"record", &typed_launch::record_file},
    text_option{"jobid", &typed_launch::job},
    text_option{"np_per_node", &typed_launch::processes_per_node},
    text_option{"unit", &typed_launch::unit},
    text_option{"cwd", &typed_launch::task_folder},
    text_option{"cred_check", &typed_launch::credential_check},
    text_option{"install_smpd", &typed_launch::install_smpd},
    text_option{"start_smpd", &typed_launch::start_smpd},
};

constexpr std::array flag_options = {
    flag_option{"mpitest", &typed_launch::mpitest},
    flag_option{"nowait", &typed_launch::no_wait},
    flag_option{"wait", &typed_launch::wait},
    flag_option{"ptrace", &typed_launch::ptrace},
    flag_option{"debugmpi", &typed_launch::debug_mpi},
    flag_option{"cache_password", &typed_launch::cache_password},
    flag_option{"install_ibmmpi", &typed_launch::install_ibmmpi},
};

constexpr std::array task_options = {
    task_option{"explain", zprun_task::explain}, task_option{"check", zprun_task::check},
    task_option{"list", zprun_task::list},       task_option{"version", zprun_task::version},
    task_option{"help", zprun_task::help},
};

// What other tools, the launcher and habit call the same.
constexpr std::array other_names = {
    other_name{"np", "t"},      other_name{"nprocs", "t"},     other_name{"processes", "t"},
    other_name{"release", "r"}, other_name{"hostfile", "cnf"}, other_name{"machinefile", "cnf"},
    other_name{"ic", "pic"},    other_name{"headnode", "ccp"}, other_name{"h", "help"},
    other_name{"?", "help"},    other_name{"job_id", "jobid"}, other_name{"no_wait", "nowait"},
};

// The entry of a table whose name this is, in small or capital letters; null if none.
template <typename table_type>
const typename table_type::value_type *find_entry(const table_type &table, std::string_view name) {
  for (const auto &entry : table) {
    if (equal_ignoring_case(entry.name, name)) {
      return &entry;
    }
  }
  return nullptr;
}

std::vector<std::string> option_names() {
  std::vector<std::string> names;
  names.reserve(text_options.size() + flag_options.size() + task_options.size());
  for (const auto &option : text_options) {
    names.emplace_back(option.name);
  }
  for (const auto &option : flag_options) {
    names.emplace_back(option.name);
  }
  for (const auto &option : task_options) {
    names.emplace_back(option.name);
  }
  for (const auto &option : other_names) {
    names.emplace_back(option.typed);
  }
  return names;
}

}  // namespace

typed_option take_apart(const std::string &word) {
  typed_option option;
  const std::size_t dashes = word.starts_with("--") ? 2 : 1;
  const std::size_t sign = word.find('=');
  option.name = word.substr(dashes, sign == std::string::npos ? sign : sign - dashes);
  if (sign != std::string::npos) {
    option.value = word.substr(sign + 1);
  }
  const auto meant = meant_name(other_names, option.name);
  const std::string name = meant.value_or(small_letters(option.name));
  option.known = find_entry(text_options, name) != nullptr ||
                 find_entry(flag_options, name) != nullptr ||
                 find_entry(task_options, name) != nullptr;
  if (option.known) {
    option.mended = dashes == 2 || name != option.name || (has_glued_value(name) && option.value);
    option.name = name;
  } else if (option.name.size() > 1 && is_digit(option.name[1]) &&
             has_glued_value(small_letters(option.name.substr(0, 1)))) {
    option.known = true;
    option.value = word.substr(dashes + 1);
    option.mended = dashes == 2 || option.name[0] != small_letters(option.name)[0];
    option.name = small_letters(option.name.substr(0, 1));
  }
  return option;
}

text_field text_field_of(const std::string &name) {
  const auto *entry = find_entry(text_options, name);
  return entry != nullptr ? entry->field : nullptr;
}

flag_field flag_field_of(const std::string &name) {
  const auto *entry = find_entry(flag_options, name);
  return entry != nullptr ? entry->field : nullptr;
}

std::optional<zprun_task> task_of(const std::string &name) {
  const auto *entry = find_entry(task_options, name);
  return entry != nullptr ? std::optional(entry->task) : std::nullopt;
}

std::optional<std::string> nearest_option(const std::string &word) {
  const auto near = nearest(word, option_names());
  return near ? std::optional(meant_name(other_names, *near).value_or(*near)) : std::nullopt;
}

bool has_glued_value(std::string_view name) {
  return name == "t" || name == "r";
}

std::string option_text(const std::string &name, const std::string &value) {
  return "-" + name + (has_glued_value(name) ? "" : "=") + value;
}
