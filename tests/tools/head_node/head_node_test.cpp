// head_node_test.cpp: what the test cluster's head node understands, refuses and prints,
// and what becomes of its jobs. What Slurm and Windows do for it is tried on the cluster.
#include <gtest/gtest.h>

#include <sstream>

#include "head_node/job_grammar.h"
#include "head_node/jobs.h"
#include "head_node/unknown_facts.h"

namespace {

using namespace head_node;

const fields no_settings = {};

// The words of a line; ~ stands for a blank in a word.
texts words_of(const std::string &line) {
  std::istringstream stream(line);
  texts words;
  for (std::string word; stream >> word;) {
    std::replace(word.begin(), word.end(), '~', ' ');
    words.push_back(word);
  }
  return words;
}

fields read_job(const std::string &line, const fields &settings = no_settings) {
  return read_call("job", words_of(line), settings);
}

// ---- What is understood -----------------------------------------------------------------

// What was read, in the order of the names: "job=12 scheduler=H verb=view".
std::string text_of(const fields &call) {
  std::string text;
  for (const auto &[name, shown] : call) {
    text += (text.empty() ? "" : " ") + name + "=" + shown;
  }
  return text;
}

TEST(HeadNodeGrammar, ReadsWhatTheLauncherAsksFor) {
  const std::vector<std::pair<const char *, const char *>> calls = {
      {"new /scheduler:H /jobname:a~b /numprocessors:4 /rununtilcanceled:true /jobtemplate:T",
       "jobname=a b jobtemplate=T maximum=4 minimum=4 rununtilcanceled=true scheduler=H "
       "unit=processors verb=new"},
      {"add 12 /scheduler:H /stdout:ZP%CCP_TASKCONTEXT%.o mpiexec.exe -hosts /workdir:x a~b;c",
       "command=mpiexec.exe -hosts /workdir:x \"a b;c\" job=12 scheduler=H "
       "stdout=ZP%CCP_TASKCONTEXT%.o verb=add"},
      {"add /scheduler:H 12 md~a\\b", "command=md a\\b job=12 scheduler=H verb=add"},
      {"SUBMIT -ID:7 /Scheduler:H", "job=7 scheduler=H verb=submit"},
      {"submit /scheduler:H /exclusive /numnodes:2-6 x",
       "command=x exclusive=true maximum=6 minimum=2 scheduler=H unit=nodes verb=submit"},
      {"view 12 /scheduler:H /detailed", "detailed=true job=12 scheduler=H verb=view"},
      {"modify 12 /rununtilcanceled:False /scheduler:H",
       "job=12 rununtilcanceled=false scheduler=H verb=modify"},
      {"cancel -1 /scheduler:H", "job=-1 scheduler=H verb=cancel"},
      {"new /scheduler:H /numsockets:3-* /askednodes:a,b /jobname:a /jobname:b",
       "jobname=b maximum=* minimum=3 requestednodes=a,b scheduler=H unit=sockets verb=new"},
  };
  for (const auto &[line, expected] : calls) {
    EXPECT_EQ(expected, text_of(read_job(line))) << line;
  }
  EXPECT_EQ("H", value(read_job("new", {{"CCP_SCHEDULER", "H"}}), "scheduler"));
  EXPECT_EQ("listenvs", value(read_call("cluscfg", {"listenvs", "/scheduler:H"}, {}), "verb"));
}

TEST(HeadNodeGrammar, RefusesWhatTheRealToolsRefuseAndSaysWhy) {
  const auto long_text = [](std::size_t size) { return std::string(size, 'x'); };
  const std::vector<std::pair<std::string, const char *>> calls = {
      {"", "Unknown sub-command: "},
      {"run 12", "Unknown sub-command: run"},
      {"listenvs", "Unknown sub-command: listenvs"},
      {"new /numthreads:4", "Unknown option: /numthreads"},
      {"new /workdir:w", "The option /workdir does not belong to \"new\"."},
      {"add 12 /jobname:n x", "The option /jobname does not belong to \"add\"."},
      {"add 12 /rununtilcanceled:true x", "The option /rununtilcanceled does not belong"},
      {"new x", "\"x\" is one word too many for \"new\"."},
      {"view 12 13", "\"13\" is one word too many for \"view\"."},
      {"view", "\"view\" needs a job identifier."},
      {"cancel 12a", "\"12a\" is not a job identifier."},
      {"add 12 /name:n", "\"add\" needs a command."},
      {"submit", "\"submit\" needs either /id or a command."},
      {"submit /id:12 x", "\"submit\" needs either /id or a command."},
      {"submit /id:12 /workdir:w", "The option /workdir needs a command."},
      {"new /exclusive:yes", "The value of /exclusive must be true or false, not \"yes\"."},
      {"new /numcores", "The option /numcores needs a value."},
      {"new /numcores:0", "The value of /numcores is not a number or a range: \"0\"."},
      {"new /numcores:1-2-3", "The value of /numcores is not a number or a range"},
      {"new /numcores:99999999999", "The value of /numcores is not a number or a range"},
      {"new /numnodes:4-2", "The minimum of /numnodes is larger than its maximum: \"4-2\"."},
      {"add 12 /numnodes:* x", "The value of /numnodes is not a number or a range: \"*\"."},
      {"new /numcores:4 /numnodes:2", "Only one of /numcores and /numnodes can be given."},
      {"new /jobname:" + long_text(81), "The value of /jobname is longer than 80 characters."},
      {"add 12 /stdout:" + long_text(161) + " x", "The value of /stdout is longer than 160"},
      {"add 12 " + long_text(481), "The command line has 481 characters; at most 480 are allowed."},
      {"new /jobname:a\x01"
       "b",
       "The command line holds a control character."},
      {"new", "No head node is named: neither /scheduler nor CCP_SCHEDULER is set."},
  };
  for (const auto &[line, reason] : calls) {
    EXPECT_EQ(0U, value(read_job(line), "refused").find(reason))
        << line << "\n"
        << value(read_job(line), "refused");
  }
  EXPECT_EQ("Unknown option: /numcores",
            value(read_job("new /numcores:4", {{"generation", "ccp"}}), "refused"));
  for (const auto &line :
       {"new /scheduler:H /jobname:" + long_text(80), "add 12 /scheduler:H " + long_text(480)}) {
    EXPECT_FALSE(read_job(line).contains("refused")) << line;
  }
  EXPECT_FALSE(read_job("add 12 /scheduler:H " + long_text(1024), {{"command_limit", "1024"}})
                   .contains("refused"));
}

// ---- What becomes of jobs -------------------------------------------------------------------

// A cluster of four nodes with two cores each, and a clock of its own.
class HeadNodeJobs : public testing::Test {
 protected:
  HeadNodeJobs() {
    for (const char *name : {"N1", "N2", "N3", "N4"}) {
      list.cluster.push_back({name, 2});
    }
  }

  answer call(const std::string &line) {
    auto asked = read_job(line + " /scheduler:H", settings);
    if (line.find(" ; ") != std::string::npos) {  // a command, which takes all that follows
      asked = read_job(
          line.substr(0, line.find(" ; ")) + " /scheduler:H " + line.substr(line.find(" ; ") + 3),
          settings);
    }
    EXPECT_EQ("", value(asked, "refused")) << line;
    asked.insert(settings.begin(), settings.end());
    asked["time"] = std::to_string(time);
    return value(asked, "verb") == "view"
               ? view(list, asked, time, [](const std::string &task) { return task + " said\r\n"; })
               : happen(list, asked);
  }

  void event(fields what) {
    what["time"] = std::to_string(time);
    (void)happen(list, what);
  }

  // The value of a key in the detailed view; a task's when it stands behind its number.
  std::string shown(const std::string &key, const std::string &job = "1", int task = 0) {
    std::string text = call("view " + job + " /detailed").output;
    for (; task > 0; --task) {
      text.erase(0, std::min(text.find("\r\n\r\n") + 4, text.size()));
    }
    const auto start = ("\r\n" + text).find("\r\n" + key + " ");
    const auto colon = start == std::string::npos ? start : text.find(": ", start);
    return colon == std::string::npos
               ? "(none)"
               : text.substr(colon + 2, text.find("\r\n", colon) - colon - 2);
  }

  // What is to be done outside, as "start job 1 task 2".
  std::string to_do() {
    std::string text;
    for (const auto &action : list.to_do) {
      text += (text.empty() ? "" : ", ") + value(action, "do") + " " + value(action, "job");
      text += action.contains("task") ? "." + value(action, "task") : "";
      text += action.contains("arguments") ? " " + value(action, "arguments") : "";
    }
    list.to_do.clear();
    return text;
  }

  void given_running_job(const std::string &options, const std::string &nodes) {
    call("new /rununtilcanceled:true " + options);
    const auto id = std::to_string(list.last_id);
    call("submit /id:" + id);
    event({{"verb", "allocated"}, {"job", id}, {"slurm_id", "7"}, {"nodes", nodes}});
    list.to_do.clear();
  }

  job_list list;
  fields settings = {{"head_node", "H"}};
  double time = 100;
};

TEST_F(HeadNodeJobs, NamesTheJobAsTheRealToolsDo) {
  EXPECT_EQ("Created job, ID: 1\r\n", call("new").output);
  EXPECT_EQ("Task 1.1 added.\r\n", call("add 1 ; x").output);
  EXPECT_EQ("Job has been submitted. ID: 1.\r\n", call("submit /id:1").output);
  EXPECT_EQ("Job has been submitted. ID: 2.\r\n", call("submit ; x").output);
  settings["generation"] = "ccp";
  EXPECT_EQ("Job queued, ID: 3\r\n", call("new").output);
}

TEST_F(HeadNodeJobs, ShowsEachStateForAsLongAsItIsTold) {
  settings["queued_seconds"] = "1";
  call("new /numprocessors:3");
  call("add 1 ; x");
  EXPECT_EQ("Configuring", shown("State"));
  call("submit /id:1");
  EXPECT_EQ("allocate 1 --ntasks=3", to_do());
  event({{"verb", "allocated"}, {"job", "1"}, {"slurm_id", "7"}, {"nodes", "N1 2 N2 1"}});
  EXPECT_EQ("start 1.1", to_do());
  EXPECT_EQ("Queued Queued", shown("State") + " " + shown("State", "1", 1));
  EXPECT_EQ("", shown("Allocated nodes"));
  time += 1;
  EXPECT_EQ("Running Running", shown("State") + " " + shown("State", "1", 1));
  EXPECT_EQ("N1 N2", shown("Allocated nodes"));
  EXPECT_EQ("1 N1 1", shown("Allocated Nodes", "1", 1));
  event({{"verb", "task_ended"}, {"job", "1"}, {"task", "1"}, {"exit_code", "0"}});
  EXPECT_EQ("release 1", to_do());
  EXPECT_EQ("Finished 100%", shown("State") + " " + shown("Progress"));
  EXPECT_EQ(0U, call("view 1").output.find("Job Id                           : 1\r\n"));
  EXPECT_TRUE(call("view 1 /detailed")
                  .output.ends_with("Output                          : \r\n1.1 said\r\n"));
}

TEST_F(HeadNodeJobs, OldToolsHaveNamesOfTheirOwn) {
  settings = {{"generation", "ccp"}};
  call("new");
  EXPECT_EQ("NotSubmitted", shown("Status"));
  call("submit /id:1");
  EXPECT_EQ("Queued", shown("Status"));
  call("cancel 1");
  EXPECT_NE(std::string::npos, call("view 1").output.find("\r\nStatus   : Cancelled\r\n"));
  EXPECT_NE(std::string::npos, call("view 1").output.find("\r\nAllocatedNodes: \r\n"));
}

TEST_F(HeadNodeJobs, AJobEndsWithItsTasksUnlessItRunsUntilItIsCanceled) {
  given_running_job("/numprocessors:2", "N1 2");
  call("add 1 ; x");
  event({{"verb", "task_ended"}, {"job", "1"}, {"task", "1"}, {"exit_code", "3"}});
  EXPECT_EQ("Running", shown("State"));
  EXPECT_EQ("Failed 3", shown("State", "1", 1) + " " + shown("Exit Code", "1", 1));
  call("modify 1 /rununtilcanceled:false");
  EXPECT_EQ("Failed", shown("State"));
  EXPECT_EQ("Task 1.1 failed.", shown("Error message"));

  given_running_job("/numprocessors:2", "N1 2");
  call("add 2 ; x");
  call("modify 2 /rununtilcanceled:false");
  EXPECT_EQ("Running", shown("State", "2"));
  event({{"verb", "task_ended"}, {"job", "2"}, {"task", "1"}, {"exit_code", "0"}});
  EXPECT_EQ("Finished", shown("State", "2"));
}

TEST_F(HeadNodeJobs, TasksThatDoNotFitTogetherRunOneAfterTheOther) {
  given_running_job("/numprocessors:4", "N1 2 N2 2");
  call("add 1 /numprocessors:3 ; x");
  call("add 1 /numprocessors:2 ; x");
  call("add 1 ; x");
  EXPECT_EQ("start 1.1, start 1.3", to_do());
  EXPECT_EQ("Queued", shown("State", "1", 2));
  event({{"verb", "task_ended"}, {"job", "1"}, {"task", "1"}, {"exit_code", "0"}});
  EXPECT_EQ("start 1.2", to_do());
  EXPECT_EQ("1 N1 2", shown("Allocated Nodes", "1", 2));
}

TEST_F(HeadNodeJobs, CancelTakesAJobBackInEachStateAndItsTasksToo) {
  call("new");
  call("cancel 1");
  given_running_job("/numprocessors:2", "N1 2");
  call("add 2 ; x");
  EXPECT_EQ("Job 2 has been canceled.\r\n", call("cancel 2").output);
  EXPECT_EQ("start 2.1, release 2", to_do());
  for (const char *id : {"1", "2"}) {
    EXPECT_EQ("Canceled", shown("State", id));
    EXPECT_EQ("Canceled by user.", shown("Error message", id));
  }
  EXPECT_EQ("Canceled", shown("State", "2", 1));
}

TEST_F(HeadNodeJobs, TellsWhatSlurmDidToAJob) {
  const fields messages = {
      {"CANCELLED", "Canceled: Canceled by the administrator."},
      {"NODE_FAIL", "Failed: Job failed to start on some nodes or some nodes became unreachable."},
      {"FAILED", "Failed: The job failed because of a system error."}};
  for (const auto &[word, expected] : messages) {
    given_running_job("/numprocessors:2", "N1 2");
    const auto id = std::to_string(list.last_id);
    event({{"verb", "job_ended"}, {"job", id}, {"state", word}});
    EXPECT_EQ(expected, shown("State", id) + ": " + shown("Error message", id));
  }
}

TEST_F(HeadNodeJobs, AsksSlurmForNodesThatTheJobMayUse) {
  const std::vector<std::pair<const char *, const char *>> requests = {
      {"/numprocessors:3", "--ntasks=3"},
      {"/numcores:2-6 /exclusive", "--exclusive --ntasks=2"},
      {"/numnodes:3", "--exclusive --nodes=3"},
      {"/numsockets:2", "--ntasks=4"},
      {"", "--ntasks=1"},
      {"/numprocessors:2 /askednodes:n2,N3", "--ntasks=2 --exclude=N1,N4"}};
  for (const auto &[options, arguments] : requests) {
    call(std::string("new ") + options);
    const auto id = std::to_string(list.last_id);
    call("submit /id:" + id);
    EXPECT_EQ("allocate " + id + " " + arguments, to_do()) << options;
  }
}

TEST_F(HeadNodeJobs, RefusesASubmitThatCannotBeRightAndLeavesTheJobAsItWas) {
  const std::vector<std::pair<const char *, const char *>> jobs = {
      {"/exclusive:false /numprocessors:2", "/exclusive ; x"},
      {"/rununtilcanceled", ""},
      {"/rununtilcanceled /numprocessors:2-*", ""},
      {"/numprocessors:9", ""},
      {"/numnodes:5", ""},
      {"/numprocessors:2", "/numprocessors:3 ; x"},
      {"/numprocessors:1 /requestednodes:N9", ""},
      {"/numprocessors:3 /requestednodes:N1", ""}};
  for (const auto &[options, task] : jobs) {
    call(std::string("new ") + options);
    const auto id = std::to_string(list.last_id);
    if (*task != '\0') {
      call("add " + id + " " + task);
    }
    EXPECT_NE("", call("submit /id:" + id).error) << options;
    EXPECT_EQ("Configuring", shown("State", id)) << options;
  }
  const int last = list.last_id;
  EXPECT_NE("", call("submit /numprocessors:9 ; x").error);
  EXPECT_EQ(last, list.last_id);
  EXPECT_EQ("", to_do());
}

TEST_F(HeadNodeJobs, RefusesWhatDoesNotFitTheJobsState) {
  for (const char *line : {"view 77", "add 77 ; x", "submit /id:77", "modify 77", "cancel -1"}) {
    EXPECT_TRUE(call(line).error.ends_with(" is invalid.\r\n")) << line;
  }
  given_running_job("/numprocessors:2", "N1 2");
  for (const char *line : {"submit /id:1", "modify 1 /jobname:n", "modify 1 /numprocessors:1",
                           "add 1 /numprocessors:3 ; x", "add 1 /exclusive ; x"}) {
    EXPECT_NE("", call(line).error) << line;
  }
  EXPECT_EQ("Running 0", shown("State") + " " + shown("Task Count"));
  call("cancel 1");
  for (const char *line : {"submit /id:1", "modify 1", "add 1 ; x", "cancel 1"}) {
    EXPECT_NE("", call(line).error) << line;
  }
}

TEST_F(HeadNodeJobs, FaultsHoldForTheSubmittedJob) {
  settings["queued_seconds"] = "1";
  settings["fault_invalid"] = "";
  call("submit ; x");
  EXPECT_EQ("Failed", shown("State"));
  settings.erase("fault_invalid");
  settings["fault_stuck"] = "";
  call("submit ; x");
  time += 1000;
  EXPECT_EQ("Queued", shown("State", "2"));
  EXPECT_EQ("release 1", to_do());
}

TEST_F(HeadNodeJobs, WithoutSlurmAJobRunsByTheClock) {
  settings.insert({{"without_slurm", "true"}, {"queued_seconds", "5"}, {"running_seconds", "5"}});
  call("submit /numprocessors:3 ; x");
  EXPECT_EQ("Queued", shown("State"));
  time += 5;
  EXPECT_EQ("Running N1 N2", shown("State") + " " + shown("Allocated nodes"));
  time += 5;
  EXPECT_EQ("Finished", shown("State"));
}

TEST_F(HeadNodeJobs, ATaskFindsItsJobAndItsNodesInItsEnvironment) {
  given_running_job("/numprocessors:4 /jobname:name", "N1 2 N2 2");
  call("add 1 /numprocessors:4 /workdir:w ; x y");
  const auto start = start_of(list, 1, 1, settings);
  EXPECT_EQ((texts{"x y", "w", "", ""}), texts(start.begin(), start.begin() + 4));
  for (const char *variable :
       {"CCP_JOBID=1", "CCP_JOBNAME=name", "CCP_TASKID=1", "CCP_TASKINSTANCEID=0",
        "CCP_TASKCONTEXT=1.1", "CCP_NODES=2 N1 2 N2 2", "CCP_NUMCPUS=4", "CCP_SCHEDULER=H"}) {
    EXPECT_EQ(1, std::count(start.begin(), start.end(), variable)) << variable;
  }
  EXPECT_EQ(
      "CCP_CLUSTER_NAME=H\r\nCCP_MPI_NETMASK=1.2.3.4\r\n"
      "CCP_SERVICEREGISTRATION_PATH=\\\\H\\HpcServiceRegistration\r\nMINE=\r\n"
      "WCF_NETWORKPREFIX=Private\r\n",
      listenvs(settings, "CCP_MPI_NETMASK=1.2.3.4\r\nMINE=").output);
}

// ---- Messages -------------------------------------------------------------------------------

TEST(HeadNodeMessage, IsTakenWhenItIsWhole) {
  const texts message = {"job", "", std::string("a\0b", 3)};
  const auto bytes = encode(message);
  EXPECT_EQ("12:3:job0:3:" + message[2], bytes);
  texts taken;
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    auto part = bytes.substr(0, size);
    EXPECT_EQ(reading::incomplete, take_message(part, taken)) << size;
  }
  auto more = bytes + "rest";
  EXPECT_EQ(reading::complete, take_message(more, taken));
  EXPECT_EQ(message, taken);
  EXPECT_EQ("rest", more);
  for (std::string broken :
       {"x", ":", "-1:", "5000000:", "99999999999999999999:", "3:5:x", "2:xx"}) {
    EXPECT_EQ(reading::broken, take_message(broken, taken)) << broken;
  }
}

}  // namespace
