// arguments.cpp: a walk along the words: options, their values, the solver's arguments.
//
// An option is a word with one dash. What is no option, and near none, is the
// solver's, wherever it stands; behind "--" everything is.
#include "front/arguments.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

#include "core/text.h"
#include "front/near_misses.h"
#include "front/typed_option.h"

namespace {

constexpr std::array other_mpi_names = {
    other_name{"ms", "msmpi"},
    other_name{"ms-mpi", "msmpi"},
    other_name{"intelmpi", "intel"},
    other_name{"intel-mpi", "intel"},
    other_name{"impi", "intel"},
    other_name{"platform", "ibmmpi"},
    other_name{"platform-mpi", "ibmmpi"},
    other_name{"hpmpi", "ibmmpi"},
    other_name{"serial", "net"},
    other_name{"none", "net"},
};

constexpr std::ptrdiff_t most_shown = 6;  // behind them stand older names of some
const std::vector<std::string> mpi_names = {"ibmmpi", "intel", "msmpi", "mpich2", "mpich",
                                            "net",    "pcmpi", "vmpi",  "smpi",   "nmpi"};
const std::vector<std::string> cluster_mpi_names = {"msmpi", "ibmmpi", "intel"};
const std::vector<std::string> interconnects = {"default", "ib",      "infiniband",
                                                "myri",    "myrinet", "ethernet"};
const std::vector<std::string> units = {"processor", "core", "socket", "node"};
const std::vector<std::string> yes_or_no = {"no", "yes"};

bool is_number(const std::string &text) {
  return !text.empty() && text.size() < 10 &&
         text.find_first_not_of("0123456789") == std::string::npos;
}

bool is_one_of(const std::string &text, const std::vector<std::string> &words) {
  return std::find(words.begin(), words.end(), text) != words.end();
}

// A walk along the words; what is read goes into the launch.
struct word_walk {
  const std::vector<std::string> &words;
  typed_launch &launch;
  std::size_t first = 0;  // the option's word
  std::size_t next = 0;   // behind what was read of it
};

std::string typed(const word_walk &walk) {
  std::string text = walk.words[walk.first];
  for (std::size_t i = walk.first + 1; i < walk.next; ++i) {
    text += " " + walk.words[i];
  }
  return text;
}

void refuse(word_walk &walk, const std::string &reason) {
  walk.launch.refused.push_back(typed(walk) + ": " + reason);
}

void note_mended(word_walk &walk, const std::string &read_as) {
  walk.launch.mended.push_back(typed(walk) + " was read as " + read_as);
}

// The next word as a value; nothing when there is none or it is an option.
std::optional<std::string> take_value(word_walk &walk) {
  if (walk.next == walk.words.size() || walk.words[walk.next].starts_with("-")) {
    return std::nullopt;
  }
  return walk.words[walk.next++];
}

// What is not near to an option of ours is the solver's.
void read_unknown(word_walk &walk, const std::string &name) {
  const bool is_count =
      name == "n" && walk.next < walk.words.size() && is_number(walk.words[walk.next]);
  const auto meant = is_count ? "t" + walk.words[walk.next] : nearest_option(name);
  if (meant) {
    refuse(walk, "probably -" + *meant +
                     " was meant. If it is for the solver, put -- before the solver's arguments");
  } else {
    walk.launch.solver_arguments.push_back(walk.words[walk.first]);
  }
}

// A bare word that begins with a dash ends for PowerShell at a dot.
void join_what_powershell_split(word_walk &walk, typed_option &option) {
  const std::string rest = walk.next < walk.words.size() ? walk.words[walk.next] : "";
  if (rest.size() > 1 && rest[0] == '.' &&
      std::string_view("./\\").find(rest[1]) == std::string_view::npos) {
    *option.value += rest;
    option.mended = true;
    ++walk.next;
  }
}

// -mpi in a word of its own: the default, unless a name follows. Nothing when it
// was refused.
std::optional<std::string> mpi_behind(word_walk &walk) {
  auto name = take_value(walk);
  if (!name || is_one_of(*name, mpi_names)) {
    return name.value_or("");
  }
  if (!meant_name(other_mpi_names, *name) && !is_one_of(small_letters(*name), mpi_names) &&
      !nearest(*name, mpi_names)) {
    refuse(walk,
           "-mpi is followed by the name of an MPI, such as -mpi=msmpi"
           "; -mpi= alone means the default");
    return std::nullopt;
  }
  return name;
}

// "-mpi= intel": cut in two behind the sign.
void join_empty_mpi(word_walk &walk, typed_option &option) {
  if (option.value->empty() && walk.words[walk.next - 1].ends_with('=') &&
      walk.next < walk.words.size() && is_one_of(walk.words[walk.next], mpi_names)) {
    option.value = walk.words[walk.next++];
    option.mended = true;
  }
}

// Whether the value is one of a list, or was certainly meant to be.
bool mend_word(word_walk &walk, typed_option &option, const std::vector<std::string> &known) {
  if (is_one_of(*option.value, known)) {
    return true;
  }
  const std::string small = small_letters(*option.value);
  const auto meant = option.name == "mpi" ? meant_name(other_mpi_names, small) : std::nullopt;
  if (meant || is_one_of(small, known)) {
    option.value = meant.value_or(small);
    option.mended = true;
    return true;
  }
  const auto near = nearest(small, known);
  const auto shown = known.begin() + std::min(most_shown, std::ssize(known));
  refuse(walk, (near ? "probably " + option_text(option.name, *near) + " was meant; " : "") +
                   "known are " + alternatives({known.begin(), shown}));
  return false;
}

// What is wrong with a value that is no word of a list; nothing when it is right.
const char *fault_of_value(const typed_option &option) {
  const std::string &name = option.name;
  const std::string &value = *option.value;
  if ((name == "t" || name == "np_per_node") && !is_number(value)) {
    return "a number is needed, as in -t4";
  }
  if (name == "jobid" && value != "-1" && !is_number(value)) {
    return "the number of a job is needed, as in -jobid=12";
  }
  if (name == "r" && !is_number(value.substr(0, 1))) {
    return "a release is needed, as in -r12.0.1. zprun -list shows them";
  }
  if (name == "host_ip" && value.find(':') == std::string::npos) {
    return "a host and its address are needed, as in -host_ip=alpha:10.0.0.1";
  }
  return nullptr;
}

// Whether the value is one that the option can have.
bool mend_value(word_walk &walk, typed_option &option) {
  if (option.name == "mpi") {
    join_empty_mpi(walk, option);
    return option.value->empty() || mend_word(walk, option, mpi_names);
  }
  if (option.name == "pic") {
    return mend_word(walk, option, interconnects);
  }
  if (option.name == "unit") {
    return mend_word(walk, option, units);
  }
  if (option.name == "cred_check") {
    return mend_word(walk, option, yes_or_no);
  }
  if (const char *fault = fault_of_value(option)) {
    refuse(walk, fault);
    return false;
  }
  return true;
}

void store_text(word_walk &walk, typed_option &option) {
  if (!option.value || (option.value->empty() && option.name != "mpi")) {
    refuse(walk,
           "a value is needed, as in " + option_text(option.name, option.name == "t" ? "4" : "12"));
    return;
  }
  if (!mend_value(walk, option)) {
    return;
  }
  if (option.mended) {
    note_mended(walk, option_text(option.name, *option.value));
  }
  if (const text_field field = text_field_of(option.name)) {
    walk.launch.*field = option.value;
  }
}

void read_text_option(word_walk &walk, typed_option &option) {
  if (option.value) {
    join_what_powershell_split(walk, option);
  } else if (option.name == "mpi") {
    option.value = mpi_behind(walk);
    if (!option.value) {
      return;
    }
  } else {
    const bool may_be_negative = option.name == "jobid" && walk.next < walk.words.size();
    option.value = may_be_negative ? walk.words[walk.next++] : take_value(walk);
    option.mended = option.mended || has_glued_value(option.name);
  }
  if (!option.value && (option.name == "install_smpd" || option.name == "start_smpd")) {
    option.value = "0";  // that of the release
  }
  store_text(walk, option);
}

void read_option(word_walk &walk) {
  typed_option option = take_apart(walk.words[walk.first]);
  if (!option.known) {
    read_unknown(walk, option.name);
  } else if (const auto task = task_of(option.name)) {
    walk.launch.task = *task;
  } else if (const flag_field flag = flag_field_of(option.name)) {
    walk.launch.*flag = true;
    if (option.mended) {
      note_mended(walk, "-" + option.name);
    }
  } else {
    read_text_option(walk, option);
  }
}

void read_word(word_walk &walk) {
  const std::string &word = walk.words[walk.first];
  if (word == "/?") {
    walk.launch.task = zprun_task::help;
  } else if (word.size() < 2 || word[0] != '-') {
    walk.launch.solver_arguments.push_back(word);
  } else {
    read_option(walk);
  }
}

// What fits each for itself and not together.
void refuse_what_does_not_fit(typed_launch &launch) {
  const std::string mpi = mpi_of(launch);
  const bool with_mpi = mpi != "net";
  const auto refuse = [&](const std::string &reason) { launch.refused.push_back(reason); };
  if (launch.no_wait && (launch.timing_file || launch.record_file)) {
    refuse("-nowait and a report of the run (-o, -record): nobody is there at the end to write it");
  }
  if (!with_mpi && launch.processes && to_number(*launch.processes) > 1) {
    refuse("-mpi=net runs one process, -t" + *launch.processes + " asks for more: name an MPI");
  }
  if (mpi == "mpich" && !launch.host_file) {
    refuse("-mpi=mpich runs on the hosts of a host file: add -cnf=hosts.txt");
  }
  if (launch.head_node && launch.host_file) {
    refuse("-cnf and -ccp: on a cluster the scheduler chooses the hosts. Leave one of them out");
  }
  if (launch.head_node && !is_one_of(mpi, cluster_mpi_names)) {
    refuse("-mpi=" + mpi + " cannot run on a cluster. Take " +
           alternatives({"-mpi=msmpi", "-mpi=ibmmpi", "-mpi=intel"}));
  }
  for (const std::string &argument : launch.solver_arguments) {
    const std::size_t percent = argument.find('%');
    const bool expanded =
        percent != std::string::npos && argument.find('%', percent + 1) != std::string::npos;
    if (launch.head_node && (expanded || contains(argument, "\""))) {
      refuse(argument +
             ": a double quote or a %NAME% does not reach a solver on a cluster as it was typed. "
             "Put it into a file of the solver's");
    }
  }
}

}  // namespace

typed_launch read_arguments(const std::vector<std::string> &words) {
  typed_launch launch;
  word_walk walk{words, launch};
  while (walk.next < words.size() && words[walk.next] != "--") {
    walk.first = walk.next++;
    read_word(walk);
  }
  if (walk.next < words.size()) {
    const auto behind = words.begin() + static_cast<std::ptrdiff_t>(walk.next) + 1;
    launch.solver_arguments.insert(launch.solver_arguments.end(), behind, words.end());
  }
  if (launch.job == "-1") {
    launch.job.reset();  // a new job is made anyhow
  }
  if (launch.task != zprun_task::help && launch.task != zprun_task::list &&
      launch.task != zprun_task::version && launch.refused.empty()) {
    refuse_what_does_not_fit(launch);
  }
  return launch;
}
