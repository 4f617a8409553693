// mpi_bridge_test.cpp: the rules by which the bridge plays each MPI.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <sstream>

#include "machine_files.h"
#include "mpi_rules.h"
#include "process_manager.h"
#include "unix_launch.h"
#include "unix_text.h"

namespace mpi_bridge {
namespace {

// A machine with a few files and variables.
struct machine {
  std::map<std::string, std::string> files = {};
  std::map<std::string, std::string> variables = {};
  std::map<std::string, std::string> answers = {};  // of commands
  bool service_running = true;
  bool credentials_stored = true;

  surroundings look() const {
    surroundings around;
    around.variable = [this](const std::string &name) { return find(variables, name); };
    around.file_text = [this](const std::string &name) { return find(files, name); };
    around.answer_of = [this](const std::string &command) { return find(answers, command); };
    around.computer = "DESK";
    around.account = "DESK\\jdoe";
    around.service_running = service_running;
    around.credentials_stored = credentials_stored;
    return around;
  }

  static std::optional<std::string> find(const std::map<std::string, std::string> &texts,
                                         const std::string &name) {
    const auto place = texts.find(name);
    return place == texts.end() ? std::nullopt : std::optional(place->second);
  }
};

const std::vector<host_slots> alpha_and_beta = {{"alpha", 2}, {"beta", 2}};

// ---- Host files ---------------------------------------------------------------------------

// "alpha:2 beta:1", or "refused".
std::string text_of(const std::optional<std::vector<host_slots>> &hosts) {
  std::string text;
  for (const host_slots &host : hosts.value_or(std::vector<host_slots>{})) {
    text += (text.empty() ? "" : " ") + host.name + ":" + std::to_string(host.slots);
  }
  return hosts ? text : "refused";
}

TEST(Hosts, AreReadByEachMpiInItsOwnWay) {
  EXPECT_EQ("alpha:4 beta:1",
            text_of(read_msmpi_hosts("# nodes\r\n\r\nalpha 4\r\nbeta # spare\r\n")));
  EXPECT_EQ("alpha:4:1", text_of(read_msmpi_hosts("alpha:4\n")));  // a part of the name
  EXPECT_EQ("a:1 b:2 c:3", text_of(read_mpich2_hosts("a\nb:2\nc 3")));
  EXPECT_EQ("a:1 b:2", text_of(read_platform_mpi_hosts("a\nb:2\n")));
  for (const char *text : {"a 2\n", "a:two\n", ":2\n"}) {
    EXPECT_EQ("refused", text_of(read_platform_mpi_hosts(text))) << text;
  }
}

TEST(Hosts, OfTheSchedulerAreWordsOrPairs) {
  EXPECT_EQ("alpha:2 beta:4", text_of(read_scheduler_nodes("2 alpha 2 beta 4")));
  for (const char *text : {"3 alpha 2 beta 4", "Overflow", ""}) {
    EXPECT_EQ("refused", text_of(read_scheduler_nodes(text))) << text;
  }
  EXPECT_EQ("NODE01:1 NODE02:1",
            text_of(read_allocated_nodes("Job Id : 2\r\nAllocated nodes   : NODE01 NODE02\r\n")));
  EXPECT_EQ(
      "",
      text_of(read_allocated_nodes("Allocated nodes : \nError message: none allocated nodes\n")));
}

// ---- Lines --------------------------------------------------------------------------------

// The words of a line; ~ stands for a blank in a word.
text_list words_of(const std::string &line) {
  std::istringstream stream(line);
  text_list words;
  for (std::string word; stream >> word;) {
    std::replace(word.begin(), word.end(), '~', ' ');
    words.push_back(word);
  }
  return words;
}

// What an MPI made of a line: "4 ranks on alpha:2 beta:2, A=b c, in C:\w: solver -i x" behind
// what it says, or its exit code and what it says; standard error's words stand in brackets.
std::string text_of(const reading &line) {
  const std::string said = line.output + (line.error.empty() ? "" : "[" + line.error + "]");
  if (line.exit_code) {
    return std::to_string(*line.exit_code) + ": " + said;
  }
  const launch_request &request = line.request;
  std::string text = request.num_procs ? std::to_string(*request.num_procs) : "all";
  text += request.hosts.empty() ? " ranks" : " ranks on " + text_of(request.hosts);
  for (const auto &[name, value] : request.variables) {
    text.append(", ").append(name).append("=").append(value);
  }
  if (!request.working_directory.empty()) {
    text += ", in " + request.working_directory;
  }
  for (const std::string &word : request.program) {
    text += (&word == &request.program.front() ? ": " : " ") + word;
  }
  return said + text;
}

struct line_row {
  const char *why;
  const char *words;
  std::string expected;
  machine here = {};
};

void expect_lines(reading (*read)(const text_list &, const surroundings &),
                  const std::vector<line_row> &rows) {
  for (const auto &[why, words, expected, here] : rows) {
    EXPECT_EQ(expected, text_of(read(words_of(words), here.look()))) << why << ": " << words;
  }
}

machine with_file(const std::string &text) {
  return {.files = {{"m", text}}};
}

machine with_variables(const std::map<std::string, std::string> &variables) {
  return {.variables = variables};
}

const machine with_two_hosts = with_file("alpha:2\nbeta:2\n");

machine without_service(machine here) {
  here.service_running = false;
  return here;
}

machine without_password(machine here) {
  here.credentials_stored = false;
  return here;
}

TEST(Msmpi, ReadsItsLine) {
  const machine with_task = with_variables({{"CCP_TASKCONTEXT", "12.1"}, {"CCP_TASKID", "1"}});
  machine with_whole_task = with_task;
  with_whole_task.variables["CCP_TASKINSTANCEID"] = "0";
  const machine with_directory = with_variables({{"CCP_MPI_WORKDIR", "\\\\srv\\job"}});
  const machine with_six_cores = with_variables({{"NUMBER_OF_PROCESSORS", "6"}});
  expect_lines(
      read_msmpi_line,
      {{"in any case and with a slash", "-NP 4 /Env A b~c solver -n 2",
        "4 ranks, A=b c: solver -n 2"},
       {"of MPICH2", "-localonly -n 1 x", "-1: Unknown option: -localonly\n"},
       {"of MPICH2", "-localroot -n 1 x", "-1: Unknown option: -localroot\n"},
       {"of MPICH2", "-channel -n 1 x", "-1: Unknown option: -channel\n"},
       {"of MPICH2", "-validate -n 1 x", "-1: Unknown option: -validate\n"},
       {"of MPICH2", "-envlist -n 1 x", "-1: Unknown option: -envlist\n"},
       {"name and value are two words", "-env A=b x", "-1: Error: no program was given.\n"},
       {"a rank on each core", "x", "6 ranks: x", with_six_cores},
       {"a rank on each core", "-n * x", "6 ranks: x", with_six_cores},
       {"the scheduler's hosts", "x", "all ranks on alpha:2 beta:2: x",
        with_variables({{"CCP_NODES", "2 alpha 2 beta 2"}})},
       {"hosts of the line", "-hosts 2 alpha 2 beta 2 x", "all ranks on alpha:2 beta:2: x"},
       {"one source of hosts", "-machinefile m -host beta x",
        "-1: Error: only one of the options -host, -hosts and -machinefile is allowed.\n",
        with_file("alpha\n")},
       {"a name with a colon is not reached", "-n 2 -machinefile m x",
        "-1: [\nAborting: mpiexec on DESK is unable to connect to the smpd service on "
        "alpha:2:8677\n]",
        with_file("alpha:2\n")},
       {"as many cores as the line says", "-cores 3 -machinefile m x", "all ranks on alpha:3: x",
        with_file("alpha 8\n")},
       {"the scheduler's directory", "-n 1 x", "1 ranks, in \\\\srv\\job: x", with_directory},
       {"the line's directory", "-n 1 -dir C:\\w x", "1 ranks, in C:\\w: x", with_directory},
       {"a task's variables come together", "-n 1 x",
        "-1: [\nAborting: CCP_TASKCONTEXT is set, but not both of CCP_TASKID and "
        "CCP_TASKINSTANCEID.\n]",
        with_task},
       {"a task's variables come together", "-n 1 x", "1 ranks: x", with_whole_task},
       {"no number", "-n x x", "-1: Error: expected a number of processes after the -n option.\n"},
       {"no number of ranks", "-n 40000 x",
        "-1: Error: expected a number of processes after the -n option.\n"},
       {"no program", "-n 4", "-1: Error: no program was given.\n"}});
}

TEST(Mpich2, ReadsItsLine) {
  const std::string no_service = "-1: Aborting: unable to connect to ";
  expect_lines(read_mpich2_line,
               {{"goes on after an unknown switch", "-cores -localonly -np 2 x",
                 "Unknown option: -cores\n2 ranks: x"},
                {"its value is the program", "-localonly -np 2 -cores 2 x",
                 "Unknown option: -cores\n2 ranks: 2 x"},
                {"small letters only", "-localonly -NP x", "Unknown option: -NP\n1 ranks: x"},
                {"one count", "-localonly 4 -np 4 x",
                 "-1: Error: only one option is allowed to determine the number of processes.\n"},
                {"a count beside -localonly", "-localonly -np 4 -channel shm x",
                 "4 ranks, MPICH2_CHANNEL=shm: x"},
                {"no service here", "-localonly -np 2 x", "2 ranks: x",
                 without_password(without_service({}))},
                {"but elsewhere", "-np 2 x", no_service + "DESK\n", without_service({})},
                {"but for hosts", "-machinefile m -np 2 x", no_service + "alpha\n",
                 without_service(with_two_hosts)},
                {"and a password", "-machinefile m -np 2 x",
                 "-1: Credentials for DESK\\jdoe rejected connecting to alpha\n"
                 "Aborting: Unable to connect to alpha\n",
                 without_password(with_two_hosts)},
                {"a file that is missing", "-machinefile m -np 2 x",
                 "Error, unable to open machine file 'm'\n2 ranks: x"},
                {"shared memory on two hosts", "-machinefile m -channel shm -np 4 x",
                 "-1: Error: 'shm' cannot connect ranks on different hosts.\n", with_two_hosts},
                {"on one of them", "-machinefile m -channel shm -np 2 x",
                 "2 ranks on alpha:2 beta:2, MPICH2_CHANNEL=shm: x", with_two_hosts},
                {"a channel that it has not", "-localonly -np 2 -channel tcp x",
                 "-1: Error: unable to load the communication library for 'tcp'.\n"}});
}

TEST(IntelMpi, ReadsItsLine) {
  expect_lines(
      read_intel_line,
      {{"a count beside hosts", "-hosts 2 alpha 2 beta 2 -n 4 x", "4 ranks on alpha:2 beta:2: x"},
       {"its device is a variable", "-machinefile m -n 4 -genv I_MPI_DEVICE ssm x",
        "4 ranks on alpha:2 beta:2, I_MPI_DEVICE=ssm: x", with_two_hosts},
       {"its device is a variable", "-machinefile m -n 4 -genv I_MPI_DEVICE rdssm x",
        "4 ranks on alpha:2 beta:2, I_MPI_DEVICE=rdssm: x", with_two_hosts},
       {"shared memory on two hosts", "-machinefile m -n 4 -genv I_MPI_DEVICE shm x",
        "-1: Error: 'shm' cannot connect ranks on different hosts.\n", with_two_hosts},
       {"a device that it has not", "-machinefile m -n 4 -genv I_MPI_DEVICE no x",
        "-1: Error: unable to load the communication library for 'no'.\n", with_two_hosts}});
}

TEST(PlatformMpi, ReadsItsLine) {
  const auto in_job = with_variables(
      {{"CCP_JOBID", "12"}, {"CCP_CLUSTER_NAME", "HEAD"}, {"CCP_NODES", "1 alpha 1"}});
  auto in_answered_job = in_job;
  in_answered_job.answers["job view 12 /scheduler:HEAD"] =
      "State                            : Running\r\n"
      "Allocated Nodes                  : alpha beta\r\n";
  expect_lines(
      read_platform_mpi_line,
      {{"hosts, variables and directory", "-e MPI_WORKDIR='C:\\my~work' -hostfile m -np 4 x -np",
        "4 ranks on alpha:2 beta:2, MPI_WORKDIR='C:\\my work', in C:\\my work: x -np",
        with_two_hosts},
       {"what is connected how", "-prot -np 2 x",
        "Interconnects in use: TCP between hosts, shared memory within one.\n2 ranks: x"},
       {"a variable without a value", "-e A -e NONE x", "1 ranks, A=b: x",
        with_variables({{"A", "b"}})},
       {"of another MPI", "-machinefile m x", "1: [mpirun: unknown option -machinefile\n]"},
       {"this interconnect or nothing", "-IBAL -np 2 x",
        "1: [mpirun: interconnect IBAL is not available\n]"},
       {"this one or another", "-ibal -np 2 x", "2 ranks: x"},
       {"a password for hosts", "-hostfile m -np 1 x",
        "1: [mpirun: no cached password for DESK\\jdoe\n]", without_password(with_two_hosts)},
       {"none without", "-np 1 x", "1 ranks: x", without_password({})},
       {"outside of a job", "-ccp -np 4 x", "1: [mpirun: -ccp outside of a scheduler job\n]"},
       {"on all nodes of the job", "-ccp -np 4 x", "4 ranks on alpha:1 beta:1: x", in_answered_job},
       {"without an answer", "-ccp -np 4 x",
        "1: [mpirun: the scheduler names no nodes of job 12\n]", in_job},
       {"a root without an installation", "-e MPI_ROOT='C:\\no~mpi' x",
        "1: [mpirun: there is no Platform MPI in C:\\no mpi\n]"},
       {"a root with one", "-e MPI_ROOT='C:\\my~mpi' x", "1 ranks, MPI_ROOT='C:\\my mpi': x",
        machine{.files = {{"C:\\my mpi\\bin\\mpirun.exe", ""}}}}});
}

// ---- Services and passwords ---------------------------------------------------------------

struct answer_row {
  const char *words;
  const char *output;
  manager_action action = manager_action::none;
  int exit_code = 0;
  machine here = {};
};

template <typename reader>
void expect_answers(const reader &answer, const std::vector<answer_row> &rows) {
  for (const auto &[words, output, action, exit_code, here] : rows) {
    const std::optional<manager_answer> given = answer(words_of(words), here.look());
    ASSERT_TRUE(given) << words;
    EXPECT_EQ(output, given->output) << words;
    EXPECT_TRUE(action == given->action) << words;
    EXPECT_EQ(exit_code, given->exit_code) << words;
  }
}

TEST(Smpd, AnswersAsTheServiceOfItsMpi) {
  expect_answers(
      answer_smpd,
      {{"-status", "smpd running on DESK\n"},
       {.words = "-status", .output = "no smpd running on DESK\n", .here = without_service({})},
       {"-version", "1.2.1p1\n"},
       {"-d 0", "", manager_action::run_service}});
}

TEST(Validation, FailsUntilThePasswordIsRegisteredAndWithACodeOnlyWithoutTheService) {
  expect_answers(
      answer_mpich2_starter,
      {{"-validate", "SUCCESS\n"},
       {.words = "-validate",
        .output = "FAIL: Unable to read the credentials from the registry.\n",
        .here = without_password({})},
       {"-register", "Password encrypted into the Registry.\n", manager_action::ask_credentials},
       {"-validate", "unable to connect to the smpd, connection refused.\n", manager_action::none,
        -1, without_service({})}});
  EXPECT_FALSE(answer_mpich2_starter({"-n", "1", "-validate"}, machine().look()));
  EXPECT_FALSE(answer_mpich2_starter({}, machine().look()));
}

TEST(PasswordCache, IsCheckedAndFilled) {
  expect_answers(
      answer_platform_mpi_starter,
      {{"-pwcheck", "Cached password is valid\n"},
       {.words = "-pwcheck", .output = "No cached password\n", .here = without_password({})},
       {"-cache cmd.exe /c ver", "", manager_action::run_program}});
  const auto answer = answer_platform_mpi_starter(words_of("-cache cmd.exe /c ver"), {});
  EXPECT_EQ((text_list{"cmd.exe", "/c", "ver"}), answer->program);
}

// ---- The step over to Unix ----------------------------------------------------------------

std::string in_slashes(const std::string &path) {
  std::string result = "/disk";
  for (const char letter : path.substr(2)) {
    result += letter == '\\' ? '/' : letter;
  }
  return result;
}

TEST(UnixText, ReplacesPathsWhereverTheyStand) {
  EXPECT_EQ("/disk/cases/a.case", unix_text("D:\\cases\\a.case", in_slashes));
  EXPECT_EQ("/disk/my files", unix_text("'C:\\my files'", in_slashes));
  EXPECT_EQ("/disk/a:/disk/b", unix_text("C:\\a;D:\\b", in_slashes));
  EXPECT_EQ("PATH=/disk/a:/disk/b", unix_text("PATH=C:\\a;D:\\b;", in_slashes));
}

TEST(UnixText, LeavesOtherWordsAlone) {
  for (const char *word : {"-localonly", "4", "a b", "", "a=b", "x:y", "'", "it's", "say \"hi\""}) {
    EXPECT_EQ(word, unix_text(word, in_slashes));
  }
}

TEST(ShellQuoting, HidesEverythingFromTheShell) {
  EXPECT_EQ("'a b'", shell_quoted("a b"));
  EXPECT_EQ("''", shell_quoted(""));
  EXPECT_EQ("'it'\\''s $HOME'", shell_quoted("it's $HOME"));
}

TEST(Starter, GetsTheWordsOfMpichAsTheyAre) {
  EXPECT_EQ((text_list{"-launcher", "fork", "-np", "4", "-localonly", "/disk/zephon"}),
            starter_words(text_list{"-np", "4", "-localonly", "C:\\zephon"}, in_slashes));
}

TEST(Starter, GetsHostsCountAndVariablesOfARequest) {
  launch_request request;
  request.num_procs = 4;
  request.hosts = alpha_and_beta;
  request.variables = {{"A", "'C:\\b c'"}};
  request.program = {"C:\\zephon", "-i", "x y"};
  EXPECT_EQ((text_list{"-launcher", "fork", "-machinefile", "/f/hosts", "-n", "4", "-genv", "A",
                       "/disk/b c", "/bin/sh", "/f/rank.sh", "/disk/zephon", "-i", "x y"}),
            starter_words(request, "/f/rank.sh", "/f/hosts", in_slashes));
  EXPECT_EQ("alpha:2\nbeta:2\n", starter_hosts(request));
}

TEST(FailedRanks, StandInTheOrderInWhichTheyEnded) {
  const auto failed = failed_ranks("2 0\n0 3\n1 4\n");
  ASSERT_EQ(2U, failed.size());
  EXPECT_EQ(0, failed[0].rank);
  EXPECT_EQ(3, failed[0].code);
  EXPECT_EQ(4, failed[1].code);
}

}  // namespace
}  // namespace mpi_bridge
