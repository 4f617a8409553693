// keeper.cpp: keeps a job's nodes, on the first of them, as Slurm's batch script.
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <filesystem>

#include "head_node/sockets.h"

namespace head_node {

namespace {

constexpr timespec time_between_tries = {0, 200'000'000};
constexpr int tries = 150;

struct allocation {
  std::string folder;                  // the head node's
  texts greeting;                      // who we are
  std::map<std::string, pid_t> tasks;  // those that were started, by their number; 0: ended
};

// How many cores each node has: "2(x3),1" is 2 2 2 1.
texts cores_of_nodes(const std::string &text) {
  texts cores;
  for (std::size_t start = 0; start < text.size();) {
    const auto end = std::min(text.find(',', start), text.size());
    const auto part = text.substr(start, end - start);
    const auto times = part.find("(x");
    const int count = times == std::string::npos ? 1 : std::atoi(part.c_str() + times + 2);
    cores.insert(cores.end(), static_cast<std::size_t>(count), part.substr(0, times));
    start = end + 1;
  }
  return cores;
}

std::string variable(const char *name) {
  const char *const text = std::getenv(name);
  return text == nullptr ? "" : text;
}

texts greeting_for(const std::string &job, const texts &nodes) {
  const auto cores = cores_of_nodes(variable("SLURM_JOB_CPUS_PER_NODE"));
  texts greeting = {"keeper", job, variable("SLURM_JOB_ID"), ""};
  for (std::size_t node = 0; node < nodes.size() && node < cores.size(); ++node) {
    greeting.back() += (node == 0 ? "" : " ") + nodes[node] + " " + cores[node];
  }
  return greeting;
}

// What runs on a task's node: the delay is over, and nothing tells the task, or an
// MPI that it starts, of Slurm.
constexpr const char *task_script = R"(sleep "$1"
exec srun --overlap --nodes=1 --ntasks=1 --nodelist="$2" --output=/dev/null --error="$4/errors" \
  sh -c 'for name in $(env | sed -n "s/^\(\(SLURM\|PMI\|SBATCH\|SRUN\)[A-Za-z0-9_]*\)=.*/\1/p"); do unset "$name"; done
         setarch -R true 2>/dev/null && set -- setarch -R "$@"; exec "$@"' \
  sh "${WINELOADER:-$(command -v /usr/lib/wine/wine64 wine64 wine | head -n 1)}" "$3" "$4")";

// message: start, task, delay, node, run_task.exe, the task's folder
void start_task(allocation &ours, const texts &message) {
  if (message.size() != 6 || ours.tasks.contains(message[1])) {
    return;
  }
  const pid_t process = fork();
  if (process == 0) {
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    execl("/bin/sh", "sh", "-c", task_script, "sh", message[2].c_str(), message[3].c_str(),
          message[4].c_str(), message[5].c_str(), nullptr);
    _exit(127);
  }
  ours.tasks[message[1]] = process;
}

// Tells of the tasks that have ended; when everything is told again, of all of them.
void tell_ends(allocation &ours, int socket, bool again) {
  for (auto &[number, process] : ours.tasks) {
    const bool ends = process > 0 && waitpid(process, nullptr, WNOHANG) == process;
    process = ends ? 0 : process;
    if (ends || (again && process == 0)) {
      (void)send_message(socket, {"task_ended", number});  // told again after the next greeting
    }
  }
}

// Serves the head node until it says that the job is over (true) or goes away.
bool serve(allocation &ours, int socket) {
  sigset_t while_waiting;
  sigemptyset(&while_waiting);
  std::string bytes;
  texts message;
  (void)send_message(socket, ours.greeting);  // when it is gone again the next read tells
  tell_ends(ours, socket, true);
  while (true) {
    pollfd waiting = {socket, POLLIN, 0};
    if (ppoll(&waiting, 1, nullptr, &while_waiting) > 0) {
      do {
        if (!receive_message(socket, bytes, message) || message.empty()) {
          return false;
        }
        if (message[0] == "release") {
          return true;
        }
        start_task(ours, message);
      } while (!bytes.empty());
    }
    tell_ends(ours, socket, false);
  }
}

void wake_up(int /*signal*/) {}

}  // namespace

int keep_allocation(const std::string &folder, const std::string &job, const texts &nodes) {
  allocation ours = {folder, greeting_for(job, nodes), {}};
  // The end of a task wakes us up, but only where we wait for it.
  sigset_t child_ended;
  sigemptyset(&child_ended);
  sigaddset(&child_ended, SIGCHLD);
  sigprocmask(SIG_BLOCK, &child_ended, nullptr);
  (void)std::signal(SIGCHLD, wake_up);

  for (int left = tries; left > 0 && std::filesystem::exists(folder); --left) {
    const int socket = connect_to(std::atoi(file_text(folder + "/port").c_str()));
    if (socket >= 0) {
      if (serve(ours, socket)) {
        return 0;
      }
      close(socket);
      left = tries;
    }
    nanosleep(&time_between_tries, nullptr);
  }
  return 1;
}

}  // namespace head_node
