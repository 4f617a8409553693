// server.cpp: the head node itself, a server for one folder.
//
//   head_node serve FOLDER              listens, writes FOLDER/port, and stays behind
//   head_node keep FOLDER JOB NODE...   keeps a job's nodes: Slurm's batch script
//
// The folder holds
//   settings, cluster_environment, faults/   what it is told; read anew with each call
//   port          where it listens; a head node that is started again takes it again
//   events        all that has happened: what a head node that is started again knows
//   tasks/J.T/    start (jobs.h: start_of), exit_code, message, output, errors
//   log           what Slurm's programs have complained about
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "head_node/job_grammar.h"
#include "head_node/jobs.h"
#include "head_node/sockets.h"
#include "head_node/unknown_facts.h"

namespace head_node {

namespace {

// It stays until the process ends, whatever threads are still at work then.
struct server_state {
  std::string folder;
  std::string program;  // our own, for the keepers
  std::atomic<unsigned long> calls = 0;

  std::mutex lock;  // guards what follows
  job_list list;
  std::FILE *events = nullptr;
  std::map<std::string, int> keepers;  // the socket of each job that has one
  std::deque<fields> for_slurm;
  std::condition_variable slurm_is_wanted;
};

server_state &server() {
  static auto *const state = new server_state;
  return *state;
}

using held_lock = std::unique_lock<std::mutex>;

double now() {
  return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

void wait_seconds(double time) {
  std::this_thread::sleep_for(std::chrono::duration<double>(time));
}

std::string in_folder(const std::string &name) {
  return server().folder + "/" + name;
}

fields read_settings() {
  auto settings = read_lines(file_text(in_folder("settings")));
  settings.try_emplace("head_node", "HEADNODE");
  return settings;
}

// What a program of Slurm's prints; what it complains about goes to the log.
std::string output_of(const std::string &command) {
  std::string output;
  const std::unique_ptr<std::FILE, int (*)(std::FILE *)> pipe(popen(command.c_str(), "r"), pclose);
  for (int letter; pipe && (letter = std::fgetc(pipe.get())) != EOF;) {
    output += static_cast<char>(letter);
  }
  return output;
}

// ---- What happens ----------------------------------------------------------------------------

void do_what_is_to_do();

// Lets something happen, and writes it down unless it was refused. Under the lock.
answer happens(fields event) {
  event.try_emplace("time", std::to_string(now()));
  const auto result = happen(server().list, event);
  if (result.error.empty()) {
    texts record;
    for (const auto &[name, text] : event) {
      record.push_back(name + "=" + text);
    }
    const auto bytes = encode(record);
    std::fwrite(bytes.data(), 1, bytes.size(), server().events);
    std::fflush(server().events);
  }
  do_what_is_to_do();
  return result;
}

// The same from outside the lock.
answer tell(const fields &event) {
  const held_lock hold(server().lock);
  return happens(event);
}

// What a head node knew that has ended. Slurm may not know of its last jobs yet.
void remember() {
  auto bytes = file_text(in_folder("events"));
  const auto size = bytes.size();
  for (texts record; take_message(bytes, record) == reading::complete;) {
    fields event;
    for (const auto &field : record) {
      const auto equals = field.find('=');
      event[field.substr(0, equals)] = field.substr(equals + 1);
    }
    (void)happen(server().list, event);  // it was not refused the first time
  }
  std::erase_if(server().list.to_do, [](const fields &action) {
    const auto &known = server().list.jobs[whole_number(value(action, "job"))];
    return value(action, "do") != "allocate" || !known.slurm_id.empty() || !known.end_state.empty();
  });
  server().events = std::fopen(in_folder("events").c_str(), "ab");
  std::filesystem::resize_file(in_folder("events"), size - bytes.size());
}

// ---- What is to be done ---------------------------------------------------------------------

// Where a task's programs find what they need. run_task.exe lies beside the tools.
void send_start(int keeper, const std::string &job, const std::string &number,
                const std::string &delay, const std::string &node) {
  const int id = whole_number(job);
  const auto task_number = static_cast<std::size_t>(whole_number(number));
  const auto &options = server().list.jobs[id].tasks[task_number - 1].options;
  const auto folder = in_folder("tasks/" + job + "." + number);
  const auto home = in_folder("home/" + value(options, "user"));
  const auto settings = read_settings();
  std::filesystem::create_directories(folder);
  std::filesystem::create_directories(home);

  auto start = start_of(server().list, id, task_number, settings);
  auto profile = "USERPROFILE=Z:" + home;
  std::replace(profile.begin(), profile.end(), '/', '\\');
  texts variables = {profile, "HEAD_NODE_PORT=" + file_text(in_folder("port"))};
  for (const auto &[name, text] :
       cluster_variables(settings, file_text(in_folder("cluster_environment")))) {
    variables.push_back(name + "=" + text);
  }
  start.insert(start.begin() + 4, variables.begin(), variables.end());
  write_file(folder + "/start", encode(start));
  (void)send_message(keeper, {"start", number, delay, node, value(options, "agent"), folder});
}

// What somebody else does to a job some time after its start.
void play_fault(const std::string &fault, const std::string &job, double delay) {
  wait_seconds(delay);
  held_lock hold(server().lock);
  const auto &known = server().list.jobs[whole_number(job)];
  const auto slurm_id = known.slurm_id;
  const auto node = known.nodes.empty() ? "" : known.nodes.back().node;
  if (fault == "fail") {
    happens({{"verb", "job_ended"}, {"job", job}, {"state", "FAILED"}});
    return;
  }
  hold.unlock();
  output_of(fault == "cancel" ? "scancel " + slurm_id
                              : "scontrol update State=DOWN Reason=lost NodeName=" + node);
}

void release(const std::string &job) {
  const auto &slurm_id = server().list.jobs[whole_number(job)].slurm_id;
  if (const auto keeper = server().keepers.find(job); keeper != server().keepers.end()) {
    (void)send_message(keeper->second, {"release"});
  } else if (!slurm_id.empty()) {
    server().for_slurm.push_back({{"do", "release"}, {"slurm_id", slurm_id}});
  }
}

// Under the lock. What takes long is left to others.
void do_what_is_to_do() {
  for (const auto &action : std::exchange(server().list.to_do, {})) {
    const auto what = value(action, "do");
    const auto job = value(action, "job");
    if (what == "allocate") {
      server().for_slurm.push_back(action);
    } else if (what == "release") {
      release(job);
    } else if (what != "start") {
      std::thread(play_fault, what, job, seconds(action, "delay")).detach();
    } else if (server().keepers.contains(job)) {
      send_start(server().keepers[job], job, value(action, "task"), value(action, "delay"),
                 value(action, "node"));
    }
  }
  server().slurm_is_wanted.notify_one();
}

void allocate(const fields &action) {
  const auto job = value(action, "job");
  auto slurm_id =
      output_of("sbatch --parsable --output=/dev/null --chdir=/ --job-name=job-" + job + " " +
                value(action, "arguments") + " --wrap 'exec " + server().program + " keep " +
                server().folder + " " + job + " $(scontrol show hostnames)'");
  slurm_id = slurm_id.substr(0, slurm_id.find_first_not_of("0123456789"));
  if (slurm_id.empty()) {
    tell({{"verb", "job_ended"}, {"job", job}, {"state", "FAILED"}});
  } else if (!tell({{"verb", "slurm"}, {"job", job}, {"slurm_id", slurm_id}}).error.empty()) {
    output_of("scancel " + slurm_id);  // the job has ended meanwhile
  }
}

// A thread: has Slurm do what it is asked for, one after the other.
void work_with_slurm() {
  while (true) {
    held_lock hold(server().lock);
    server().slurm_is_wanted.wait(hold, [] { return !server().for_slurm.empty(); });
    const auto action = server().for_slurm.front();
    server().for_slurm.pop_front();
    hold.unlock();
    if (value(action, "do") == "allocate") {
      allocate(action);
    } else {
      output_of("scancel " + value(action, "slurm_id"));
    }
  }
}

// ---- What Slurm does by itself ------------------------------------------------------------------

// Slurm's numbers of the jobs that have not ended, with ours.
std::map<std::string, std::string> jobs_at_slurm() {
  const held_lock hold(server().lock);
  std::map<std::string, std::string> jobs;
  for (const auto &[id, known] : server().list.jobs) {
    if (!known.slurm_id.empty() && known.end_state.empty()) {
      jobs[known.slurm_id] = std::to_string(id);
    }
  }
  return jobs;
}

// A node that was lost on purpose serves again once the loss has been seen.
void serve_again(const std::string &job) {
  held_lock hold(server().lock);
  const auto &known = server().list.jobs[whole_number(job)];
  if (known.options.contains("lose")) {
    const auto node = known.nodes.back().node;
    hold.unlock();
    output_of("scontrol update State=RESUME NodeName=" + node);
  }
}

[[noreturn]] void end_server() {
  std::string all;
  for (const auto &[slurm_id, job] : jobs_at_slurm()) {
    all += " " + slurm_id;
  }
  if (!all.empty()) {
    output_of("scancel" + all);
  }
  std::_Exit(0);
}

// A thread: looks for jobs that ended otherwise than we know, and for our own folder.
void watch_slurm() {
  while (std::filesystem::exists(server().folder)) {
    const auto jobs = jobs_at_slurm();
    if (!jobs.empty()) {
      const auto ended = output_of("squeue -h -t CA,F,TO,NF,BF,OOM,DL,PR -o '%i=%T'");
      for (const auto &[slurm_id, state] : read_lines(ended)) {
        if (jobs.contains(slurm_id)) {
          tell({{"verb", "job_ended"}, {"job", jobs.at(slurm_id)}, {"state", state}});
          serve_again(jobs.at(slurm_id));
        }
      }
    }
    wait_seconds(0.5);
  }
  end_server();
}

// ---- Keepers --------------------------------------------------------------------------------

// The first greeting makes the job run; a later one, after we were away, gets told
// again what was missed.
bool greet(int socket, const texts &greeting) {
  const held_lock hold(server().lock);
  const auto &job = greeting[1];
  const auto known = server().list.jobs.find(whole_number(job));
  if (known == server().list.jobs.end() || !known->second.end_state.empty() ||
      (!known->second.slurm_id.empty() && known->second.slurm_id != greeting[2])) {
    return false;
  }
  server().keepers[job] = socket;
  happens({{"verb", "allocated"}, {"job", job}, {"slurm_id", greeting[2]}, {"nodes", greeting[3]}});
  for (std::size_t number = 1; number <= known->second.tasks.size(); ++number) {
    const auto &task = known->second.tasks[number - 1];
    if (!task.cores.empty() && task.end_state.empty()) {
      send_start(socket, job, std::to_string(number),
                 std::to_string(std::max(0.0, task.runs_from - now())), task.cores.front().node);
    }
  }
  return true;
}

std::string first_line(const std::string &path) {
  const auto text = file_text(path);
  return text.substr(0, text.find_first_of("\r\n"));
}

void serve_keeper(int socket, const texts &greeting, std::string &bytes) {
  if (!greet(socket, greeting)) {
    (void)send_message(socket, {"release"});
    return;
  }
  const auto &job = greeting[1];
  for (texts message; receive_message(socket, bytes, message) && message.size() == 2;) {
    const auto folder = in_folder("tasks/" + job + "." + message[1]);
    auto why = first_line(folder + "/message");
    const auto exit_code = first_line(folder + "/exit_code");
    if (why.empty() && exit_code.empty()) {
      wait_seconds(1);  // when its whole job was ended from outside, that is known first
      why = "The node manager ended before the task did.";
    }
    tell({{"verb", "task_ended"},
          {"job", job},
          {"task", message[1]},
          {"exit_code", exit_code},
          {"message", why}});
  }
  const held_lock hold(server().lock);
  server().keepers.erase(job);
}

// ---- Calls of the tools -----------------------------------------------------------------------

// The faults that hold for a sub-command: files named FAULT or FAULT@SUBCOMMAND.
fields faults_for(const std::string &verb) {
  fields faults;
  std::error_code none;
  for (const auto &file : std::filesystem::directory_iterator(in_folder("faults"), none)) {
    const auto name = file.path().filename().string();
    const auto at = name.find('@');
    if (at == std::string::npos || name.substr(at + 1) == verb) {
      faults["fault_" + name.substr(0, at)] = first_line(file.path().string());
    }
  }
  return faults;
}

std::string task_output(const std::string &task) {
  constexpr std::size_t kept = 4096;
  const auto output = file_text(in_folder("tasks/" + task + "/output")).substr(0, kept);
  return output + (output.empty() || output.ends_with('\n') ? "" : "\r\n");
}

answer do_call(fields call) {
  const auto verb = value(call, "verb");
  const held_lock hold(server().lock);
  if (verb == "view") {
    return view(server().list, call, now(), task_output);
  }
  return verb == "listenvs" ? listenvs(call, file_text(in_folder("cluster_environment")))
                            : happens(std::move(call));
}

void spoil_output(const fields &faults, std::string &output) {
  if (faults.contains("fault_silent")) {
    output.clear();
  }
  if (faults.contains("fault_cut")) {
    output.resize(output.size() / 2);
  }
  if (faults.contains("fault_garbage")) {
    output = "\x01\xff\xfe%s%n\r\x80:\x1b[2J\t: \xc3\n%d: \x7f\n" + std::string("\0ID:\0\n", 6);
  }
}

bool is_gone(int socket) {
  char next = 0;
  return recv(socket, &next, 1, MSG_PEEK | MSG_DONTWAIT) == 0;
}

// One call of job.exe or cluscfg.exe. False when it gets no answer at all.
//   message: the tool, the folder it lies in, the user, CCP_SCHEDULER, its arguments
bool answer_call(int socket, const texts &message, answer &result) {
  ++server().calls;
  auto settings = read_settings();
  settings["CCP_SCHEDULER"] = message[3];
  auto call = read_call(message[0], {message.begin() + 4, message.end()}, settings);
  if (call.contains("refused")) {
    result = failure(value(call, "refused"));
    return true;
  }
  if (lower_case(value(call, "scheduler")) != lower_case(value(settings, "head_node"))) {
    result = failure(unknown_facts::cannot_connect(value(call, "scheduler")));
    return true;
  }
  const auto faults = faults_for(value(call, "verb"));
  wait_seconds(seconds(faults, "fault_slow"));
  if (is_gone(socket)) {
    return false;  // it has lost its patience: nothing is done for it
  }
  if (faults.contains("fault_fail_once") &&
      (std::filesystem::remove(in_folder("faults/fail_once@" + value(call, "verb"))) ||
       std::filesystem::remove(in_folder("faults/fail_once")))) {
    return false;
  }
  if (faults.contains("fault_refused")) {
    result = failure(unknown_facts::wrong_credentials);
    return true;
  }
  call["agent"] = message[1] + "\\run_task.exe";
  call["user"] = message[2];
  call.insert(settings.begin(), settings.end());
  call.insert(faults.begin(), faults.end());
  result = do_call(call);
  spoil_output(faults, result.output);
  return true;
}

// "job head_node WORD": what is asked of this head node and of no real one.
answer control(const std::string &word) {
  if (word == "calls") {
    return {std::to_string(server().calls) + "\r\n", ""};
  }
  if (word == "end") {
    end_server();
  }
  if (word == "die") {
    (void)std::raise(SIGKILL);
  }
  if (word == "hang") {
    // Somebody has to wake us up again.
    (void)std::system(("(until [ -e awake ]; do sleep 0.1; done; kill -CONT " +
                       std::to_string(getpid()) + ") >/dev/null 2>&1 &")
                          .c_str());
    (void)std::raise(SIGSTOP);
    return {};
  }
  return failure("Unknown word: " + word);
}

void serve_connection(int socket) {
  // Whoever has connected says soon what it wants.
  timeval limit = {10, 0};
  setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  std::string bytes;
  texts message;
  answer result;
  const bool asked = receive_message(socket, bytes, message);
  if (asked && message.size() == 4 && message[0] == "keeper") {
    limit = {};
    setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    serve_keeper(socket, message, bytes);
  } else if (asked && message.size() >= 6 && message[4] == "head_node") {
    result = control(message[5]);
    (void)send_message(socket, {result.output, result.error, result.error.empty() ? "0" : "1"});
  } else if (asked && message.size() >= 4 && answer_call(socket, message, result)) {
    const int status = result.error.empty() ? 0 : unknown_facts::failure_status;
    (void)send_message(socket, {result.output, result.error, std::to_string(status)});
  }
  close(socket);
}

// ---- The start ------------------------------------------------------------------------------

// A head node that comes back listens where it did.
int listen_at_port() {
  const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const int yes = 1;
  setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  sockaddr_in address = {};
  socklen_t size = sizeof address;
  address.sin_family = AF_INET;
  address.sin_port =
      htons(static_cast<std::uint16_t>(std::atoi(file_text(in_folder("port")).c_str())));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  auto *const any = reinterpret_cast<sockaddr *>(&address);
  if (bind(listener, any, size) != 0 || listen(listener, SOMAXCONN) != 0 ||
      getsockname(listener, any, &size) != 0) {
    return -1;
  }
  write_file(in_folder("port"), std::to_string(ntohs(address.sin_port)));
  return listener;
}

// What Slurm has; without it, for what "without_slurm" does, eight nodes of two cores.
std::vector<node> read_cluster() {
  std::vector<node> cluster;
  for (const auto &[name, cores] : read_lines(output_of("sinfo -h -N -o '%N=%c'"))) {
    cluster.push_back({name, std::atoi(cores.c_str())});
  }
  const bool slurm_answers = !cluster.empty();
  for (int number = 1; !slurm_answers && number <= 8; ++number) {
    cluster.push_back({"NODE0" + std::to_string(number), 2});
  }
  return cluster;
}

// The tasks find only what is named here of the variables that we were started with.
void keep_few_variables() {
  fields kept;
  for (const char *name :
       {"PATH", "HOME", "USER", "LANG", "LC_ALL", "DISPLAY", "WINEPREFIX", "WINELOADER",
        "WINESERVER", "WINEDEBUG", "WINEDLLOVERRIDES", "SLURM_CONF", "ASAN_OPTIONS"}) {
    if (const char *const text = std::getenv(name)) {
      kept[name] = text;
    }
  }
  clearenv();
  for (const auto &[name, text] : kept) {
    setenv(name.c_str(), text.c_str(), 1);
  }
  setenv("PATH", (value(kept, "PATH") + ":/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin").c_str(),
         1);
}

void allow_many_sockets() {
  rlimit files = {};
  getrlimit(RLIMIT_NOFILE, &files);
  files.rlim_cur = files.rlim_max;
  setrlimit(RLIMIT_NOFILE, &files);
}

void accept_calls(int listener) {
  while (true) {
    const int socket = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    try {
      if (socket >= 0) {
        std::thread(serve_connection, socket).detach();
      } else {
        wait_seconds(0.01);  // there are too many at the moment
      }
    } catch (const std::system_error &) {
      close(socket);
    }
  }
}

int serve(const std::string &folder) {
  server().folder = std::filesystem::absolute(folder);
  server().program = std::filesystem::read_symlink("/proc/self/exe");
  std::filesystem::create_directories(server().folder);
  closefrom(STDERR_FILENO + 1);  // whoever starts us may hold locks
  keep_few_variables();
  allow_many_sockets();
  const int listener = listen_at_port();
  if (listener < 0) {
    std::perror("head_node");
    return 1;
  }
  if (daemon(1, 0) != 0 || chdir(server().folder.c_str()) != 0 ||
      std::freopen(in_folder("log").c_str(), "a", stderr) == nullptr) {
    return 1;
  }
  sigset_t ends;
  sigemptyset(&ends);
  sigaddset(&ends, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &ends, nullptr);
  server().list.cluster = read_cluster();
  remember();
  std::thread(work_with_slurm).detach();
  std::thread(watch_slurm).detach();
  std::thread(accept_calls, listener).detach();
  {
    const held_lock hold(server().lock);
    do_what_is_to_do();
  }
  int signal = 0;
  sigwait(&ends, &signal);
  end_server();
}

}  // namespace

}  // namespace head_node

int main(int argument_count, char **arguments) {
  const head_node::texts words(arguments + 1, arguments + argument_count);
  if (words.size() == 2 && words[0] == "serve") {
    return head_node::serve(words[1]);
  }
  if (words.size() > 3 && words[0] == "keep") {
    return head_node::keep_allocation(words[1], words[2], {words.begin() + 3, words.end()});
  }
  std::fputs("head_node serve FOLDER | head_node keep FOLDER JOB NODE...\n", stderr);
  return 2;
}
