// Tests of the pieces that the scheduler's commands share.
#include "scheduler/scheduler_options.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "core/environment.h"
#include "core/launch_state.h"
#include "platform/rehearsal.h"
#include "scheduler/job_identifier.h"
#include "support/platform_stand_in.h"

using namespace stand_in;

namespace {

std::string with_scheduler_options(scheduled what) {
  command_line command{"job x", {}};
  append_scheduler_options(command, what);
  return command.text;
}

std::string with_output_options() {
  command_line command{"job x", {}};
  append_output_options(command);
  return command.text;
}

using variables = std::vector<std::pair<std::string, std::string>>;

void given_world_with(const variables &given) {
  fresh_world();
  for (const auto &[name, value] : given) {
    given_variable(name, value);
  }
}

TEST(HeadNode, IsReadAfreshEachTime) {
  EXPECT_EQ(std::nullopt, head_node());
  for (const char *name : {"one", "head.site"}) {
    given_variable("USE_CCP", name);
    EXPECT_EQ(name, head_node());
  }
}

// ---- Template, node group, user flags -----------------------------------------------------

struct options_case {
  variables given;
  std::string of_job, of_task;  // behind "job x"
  std::string shown = "";
};

TEST(SchedulerOptions, StandBetweenBlanksInTheirOrderAsTheyAre) {
  const auto block = [](const std::string &flags) {
    return "\n***\n*** User defined: CCP_USER_FLAGS=" + flags + "\n***\n";
  };
  const std::string job_template = "ZP_CCP_JOB_TEMPLATE";
  const std::string group = "ZP_CCP_NODE_GROUP";
  const std::string flags = "CCP_USER_FLAGS";
  const std::string long_flags(20'000, 'f');
  for (const auto &[given, of_job, of_task, shown] : std::vector<options_case>{
           {{}, "", ""},
           {{{job_template, "\"Big Jobs\" & %b%"}}, " /jobtemplate:\"Big Jobs\" & %b% ", ""},
           {{{group, "fast,new"}}, " /nodegroup:fast,new ", ""},
           {{{flags, "/a:%d 100%"}}, " /a:%d 100% ", " /a:%d 100% ", block("/a:%d 100%")},
           {{{flags, "/u"}, {group, "g"}, {job_template, "t"}},
            " /jobtemplate:t  /nodegroup:g  /u ",
            " /u ",
            block("/u")},
           {{{flags, ""}, {group, ""}, {job_template, ""}},
            " /jobtemplate:  /nodegroup:   ",
            "  ",
            block("")},
           {{{flags, long_flags}},
            " " + long_flags + " ",
            " " + long_flags + " ",
            block(long_flags)}}) {
    given_world_with(given);
    EXPECT_EQ("job x" + of_job, with_scheduler_options(scheduled::job));
    EXPECT_EQ(shown, both_streams());
    EXPECT_EQ("job x" + of_task, with_scheduler_options(scheduled::task_only));
    EXPECT_EQ(shown + shown, standard_output());  // for each command once
  }
}

// ---- Unit and count -----------------------------------------------------------------------

TEST(SchedulerUnit, IsTheUncheckedWordOfItsVariable) {
  for (const auto &[word, option] : variables{{"node", "numnodes"},
                                              {"socket", "numsockets"},
                                              {"core", "numcores"},
                                              {"Nodes%s", "numNodes%ss"},
                                              {"", "nums"}}) {
    given_variable("ZP_CCP_UNIT", word);
    EXPECT_EQ(option, scheduler_unit_option());
  }
  given_no_variable("ZP_CCP_UNIT");
  EXPECT_EQ("numprocessors", scheduler_unit_option());
}

struct count_case {
  std::optional<std::string> per_node, processors;
  int processes, count;
};

TEST(SchedulerCount, AsksForWholeMachinesAndAtLeastForEachProcess) {
  for (const auto &[per_node, processors, processes, count] :
       std::vector<count_case>{{{}, {}, 4, 4},
                               {"2", {}, 4, 4},
                               {{}, "8", 4, 4},
                               {"2", "8", 4, 16},
                               {"1", "8", 4, 32},
                               {"8", "8", 4, 4},
                               {"3", "8", 5, 13},  // 40 / 3
                               {"8", "15", 5, 9},  // 75 / 8
                               {"16", "8", 4, 4},
                               {"9", "8", 5, 5},
                               {"0", "8", 4, 4},
                               {"2", "0", 4, 4},
                               {"two", "8", 4, 4},
                               {"2", "many", 4, 4},
                               {"", "8", 4, 4},
                               {"-2", "8", 4, 4},
                               {"2", "-8", 4, 4},
                               {"-2", "-8", 4, 16},
                               {"  2 per node", "+8", 4, 16},
                               // 65,536 * 65,536 is 0 in 32 bits.
                               {"65536", "65536", 65'536, 65'536},
                               {"4", "4", 1'500'000'000, 1'500'000'000},
                               {"1", "65536", 65'536, INT_MAX},
                               {"2147483647", "1", 4, 4},
                               {"-1", "-2147483648", 1, INT_MAX},
                               {"2147483647", "2147483647", INT_MAX, INT_MAX}}) {
    fresh_world();
    if (per_node) {
      given_variable("NP_PER_NODE", *per_node);
    }
    if (processors) {
      given_variable("NUMBER_OF_PROCESSORS", *processors);
    }
    state.num_procs = processes;
    EXPECT_EQ(count, scheduler_processor_count())
        << per_node.value_or("none") << " " << processors.value_or("none");
  }
}

TEST(AddedTask, SaysWhoseJobItIsAddedTo) {
  rehearsal::begin();
  command_line command;
  append_added_task(command, assumed_job_id);
  append_added_task(command, 12);
  rehearsal::end();
  EXPECT_EQ("a task of the job, whose number is assumed", command.pieces.at(0).reason);
  EXPECT_EQ("a task of the job that is this run's: CCP_JOB_ID", command.pieces.at(1).reason);
}

// ---- Credential check ---------------------------------------------------------------------

constexpr const char *check_command =
    "cmd.exe /c job submit /scheduler:head /jobname:\"ORBEX ZEPHON Credential Check\"  cmd.exe /C "
    "ver";

TEST(CredentialCheck, SubmitsATrivialJobInTheConsoleAndWaits) {
  given_variable("USE_CCP", "head");
  given_variable("ZEPHON_STARTUP_DEBUG", "1");
  given_tool(check_command, prints("Enter the password: ", 90'000).exits_with(3));
  EXPECT_EQ(3, check_scheduler_credentials());
  EXPECT_EQ(90'000U, now());
  ASSERT_EQ(1U, started_commands().size());
  EXPECT_EQ("cmd.exe /c " + std::string(check_command), started_commands()[0].command_line);
  EXPECT_EQ(start_way::in_console, started_commands()[0].way);
  const std::string traced = std::string("\nbuf = ") + check_command + " (..\\src\\mpirun:1654)";
  EXPECT_EQ(traced, started_commands()[0].said_before);
  EXPECT_EQ(traced + "Enter the password: ", standard_output());
}

TEST(CredentialCheck, IsTurnedOffByNoInAnyCase) {
  given_variable("USE_CCP", "head");
  std::size_t runs = 0;
  for (const std::string word :
       {"no", "No", "nO", "NO", "yes", "", "0", "none", "n", "no ", " no"}) {
    given_variable("ZEPHON_CRED_CHECK", word);
    const bool is_off = word.size() == 2 && tolower(word[0]) == 'n' && tolower(word[1]) == 'o';
    runs += is_off ? 0 : 1;
    EXPECT_EQ(is_off ? 0 : 1, check_scheduler_credentials()) << word;  // no tool is found
    EXPECT_EQ(runs, commands().size()) << word;
  }
}

TEST(CredentialCheck, GivesMinusOneWithoutACommandInterpreter) {
  given_variable("USE_CCP", "head");
  given_no_command_interpreter();
  EXPECT_EQ(-1, check_scheduler_credentials());
}

// ---- Working directory and output files ---------------------------------------------------

struct output_case {
  variables given;
  std::string current, directory;  // of the task
  bool is_network = true;
};

TEST(OutputOptions, NameANetworkDirectoryAndTheUsersFiles) {
  const std::string longest = "\\\\s\\" + std::string(1'020, 'd');
  const std::string long_current = "\\\\s\\" + std::string(5'000, 'd');
  const std::string local = "C:\\work";
  const std::string user(600, 'u');
  for (const auto &[given, current, directory, is_network] : std::vector<output_case>{
           // The user's, the script's, the current one.
           {{{"STD_DIR", "\\\\s\\std"}, {"CWD", "\\\\s\\cwd"}}, "\\\\s\\current", "\\\\s\\std"},
           {{{"CWD", "\\\\s\\cwd"}, {"USERNAME", "Jane Doe"}}, "\\\\s\\current", "\\\\s\\cwd"},
           {{{"USERNAME", user}}, "\\\\s\\current", "\\\\s\\current"},
           {{{"STD_DIR", longest + "e"}}, local, longest},
           {{{"CWD", longest + "e"}}, local, longest},
           {{}, long_current, long_current},
           // Known by its first two characters, or by its drive.
           {{{"STD_DIR", "X:\\run"}}, local, "\\\\server\\share\\run"},
           {{{"STD_DIR", "//server/share/"}}, local, "//server/share/"},
           {{{"STD_DIR", "//"}}, local, "//"},
           {{{"STD_DIR", "C:\\100%s"}}, local, "C:\\100%s", false},
           {{{"STD_DIR", "\\work"}}, local, "\\work", false},
           {{{"STD_DIR", "/work"}}, local, "/work", false},
           {{{"STD_DIR", "\\/work"}}, local, "\\/work", false},
           {{{"STD_DIR", "/\\work"}}, local, "/\\work", false},
           {{{"STD_DIR", "\\"}}, local, "\\", false},
           {{{"STD_DIR", ""}}, local, "", false}}) {
    for (const bool ptrace : {false, true}) {
      given_world_with(given);
      given_network_drive("X:", "\\\\server\\share");
      given_current_directory(current);
      state.ptrace_mode = ptrace;
      const std::string of_user = variable("USERNAME") ? "." + *variable("USERNAME") : "";
      EXPECT_EQ("job x" + (is_network ? " /workdir:\"" + directory + "\"" : "") +
                    " /stdout:ZP%CCP_TASKCONTEXT%" + of_user + ".o /stderr:ZP%CCP_TASKCONTEXT%" +
                    of_user + ".e ",
                with_output_options());
      EXPECT_EQ(directory, state.std_dir);
      EXPECT_EQ("", standard_output());
      EXPECT_EQ(ptrace && !is_network
                    ? "\nWarning: Working directory is not a network mapped: " + directory +
                          "\n         stdout and stderr will be under your HOME directory on the "
                          "first allocated node!"
                    : "",
                standard_error());
    }
  }
}

// Behind a backslash the quote would count as text.
TEST(OutputOptions, PutAFullStopBehindABackslashAtTheEnd) {
  given_variable("STD_DIR", "\\\\server\\share\\");
  EXPECT_EQ(
      "job x /workdir:\"\\\\server\\share\\.\" /stdout:ZP%CCP_TASKCONTEXT%.o "
      "/stderr:ZP%CCP_TASKCONTEXT%.e ",
      with_output_options());
}

TEST(OutputOptions, AreNoneWithoutAnyDirectory) {
  given_no_current_directory();
  given_variable("USERNAME", "jdoe");
  state.std_dir = "as before";
  EXPECT_EQ("job x", with_output_options());
  EXPECT_EQ("as before", state.std_dir);
}

}  // namespace
