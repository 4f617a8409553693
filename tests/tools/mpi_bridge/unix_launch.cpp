// unix_launch.cpp: makes the shell script that starts the ranks.
#include "unix_launch.h"

#include <sstream>

namespace mpi_bridge {

namespace {

std::string shell_line(const text_list &words) {
  std::string line;
  for (const std::string &word : words) {
    line += line.empty() ? "" : " ";
    line += shell_quoted(word);
  }
  return line;
}

}  // namespace

text_list starter_words(const launch_request &request, const std::string &rank_script,
                        const std::string &hosts_file, const path_converter &unix_path) {
  text_list words = {"-launcher", "fork"};
  if (!request.hosts.empty()) {
    words.insert(words.end(), {"-machinefile", hosts_file});
  }
  if (request.num_procs) {
    words.insert(words.end(), {"-n", std::to_string(*request.num_procs)});
  }
  if (request.label_lines) {
    words.emplace_back("-prepend-rank");
  }
  for (const auto &[name, value] : request.variables) {
    words.insert(words.end(), {"-genv", name, unix_text(value, unix_path)});
  }
  words.insert(words.end(), {"/bin/sh", rank_script});
  for (const std::string &word : request.program) {
    words.push_back(unix_text(word, unix_path));
  }
  return words;
}

text_list starter_words(const text_list &words, const path_converter &unix_path) {
  text_list result = {"-launcher", "fork"};
  for (const std::string &word : words) {
    result.push_back(unix_text(word, unix_path));
  }
  return result;
}

std::string starter_hosts(const launch_request &request) {
  std::string text;
  for (const host_slots &host : request.hosts) {
    text += host.name + ":" + std::to_string(host.slots) + "\n";
  }
  return text;
}

std::string starter_script(const text_list &starter, const std::string &folder,
                           const std::string &directory) {
  const std::string in_folder = "folder=" + shell_quoted(folder) + "\n";
  // The starter must not take this run for a part of the job it may stand in.
  return in_folder + R"(exec >"$folder/out" 2>"$folder/err" </dev/null
for name in $(env | sed -n 's/^\(\(SLURM\|PMI\)[A-Za-z0-9_]*\)=.*/\1/p'); do
  unset "$name"
done
finish() {
  echo "$1" >"$folder/status.new"
  mv "$folder/status.new" "$folder/status"
  exit
}
cd )" + shell_quoted(directory) +
         R"( || finish 255
mpiexec.mpich )" +
         shell_line(starter) + R"( &
starter=$!
trap 'kill "$starter"; finish 143' TERM INT HUP
# Ends the ranks when the bridge itself was ended from outside.
(while [ -e "$folder/alive" ]; do sleep 0.3; done; kill "$starter") >/dev/null 2>&1 &
watcher=$!
wait "$starter"
code=$?
kill "$watcher"
finish "$code"
)";
}

std::string rank_script(const std::string &folder, const std::string &directory) {
  return "cd " + shell_quoted(directory) + R"( || exit 255
"$@"
code=$?
echo "$PMI_RANK $code" >>)" +
         shell_quoted(folder + "/ranks") + R"(
exit "$code"
)";
}

std::vector<failed_rank> failed_ranks(const std::string &ranks) {
  std::vector<failed_rank> failed;
  std::istringstream lines(ranks);
  failed_rank one;
  while (lines >> one.rank >> one.code) {
    if (one.code != 0) {
      failed.push_back(one);
    }
  }
  return failed;
}

}  // namespace mpi_bridge
