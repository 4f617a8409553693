// job_creation.cpp: the job that the launcher creates at start-up, and the wait for its
// nodes, which the launch of an MPI that needs no more than that has to come through.
#include "cases/families.h"

namespace cases {

namespace {

const std::vector<word> words = {
    {"new", R"(job new /scheduler:head /jobname:"ORBEX ZEPHON" /numprocessors:4 )"
            "/rununtilcanceled:true"},
    {"check", R"(cmd.exe /c job submit /scheduler:head /jobname:"ORBEX ZEPHON Credential Check")"
              "  cmd.exe /C ver"},
    {"submit", "job submit /scheduler:head /id:7"},
    {"view", "job view 7 /scheduler:head"},
    {"cancel", "job cancel 7 /scheduler:head"},
    {"release of 7", "job modify 7 /rununtilcanceled:false /scheduler:head"},
    {"wait on", "\nWaiting for the scheduler on "},
    {"wait for job", " to allocate nodes for your job "},
    {"wait end",
     ".\nIf you want to cancel the job, you may press the \"Cancel\" button!\n"
     "If you want to close this message box, you may press the \"OK\" button!\n\n"
     "Otherwise, please wait ..."},
    {"wait", "{wait on}head{wait for job}7{wait end}"},
    {"confirm", "\nDo you want to cancel your submitted job 7 to the scheduler on head?"},
    {"cancelled", "\nCancelling job 7 ... done!\nPress Ctrl-C to stop after done!\n"},
};

const std::string created = "Created job, ID: 7\n";
const std::string queued = "State : Queued\n";
const std::string user_flags = "\n***\n*** User defined: CCP_USER_FLAGS=/u\n***\n";

launch_case on_a_cluster() {
  return {.variables = {{"USE_CCP", "head"}, {"CCP_JOB_ID", "-1"}, {"ZEPHON_CRED_CHECK", "no"}},
          .files = {{"{prod}\\netweave\\mpi_wrapper\\win64\\mpi_wrapper.dll"}},
          .tools = {{"{world}\\solver.exe"},
                    {"job.exe new", created},
                    {"job.exe submit", "Created job, ID: 9\n", "and complains\n", 1},  // dropped
                    {.command = "job.exe view", .prints = "State : Running\n", .behind_box = true},
                    {"job.exe"}},
          .then = {.starts = {"..\\solver.exe"}}};
}

texts with_mpi() {
  return {"--mpi=net", "--np=4", "..\\solver.exe"};
}

// The job runs, and the solver knows it and how it is released.
launch_case runs(const std::string &name, const std::vector<tool> &tools = {},
                 const std::string &said = created, const texts &views = {"{view}"}) {
  texts asks = {"{new}", "{submit}"};
  asks.insert(asks.end(), views.begin(), views.end());
  return {.name = name,
          .tools = tools,
          .arguments = with_mpi(),
          .then = {.asks = asks,
                   .output = said + (views.size() > 1 ? "." : "") + ". done!\n",
                   .boxes = {{"{wait}", left_alone}},
                   .variables = {{"CCP_JOB_ID", "7"}, {"CANCEL_CCP_JOB_EXIT1", "{release of 7}"}}}};
}

launch_case with(launch_case row, const std::vector<variable> &variables) {
  row.variables = variables;
  return row;
}

launch_case traced(launch_case row) {
  row.variables = {{"ZEPHON_STARTUP_DEBUG", "1"}};
  row.then.output = "\nbuf = {new} (..\\src\\mpirun:1706)\ncmd = {new} (..\\src\\mpirun:4151)" +
                    created +
                    "\nbuf = {submit} (..\\src\\mpirun:1739)\ncmd = {submit} (..\\src\\mpirun:4151)"
                    "\ncmd = {view} (..\\src\\mpirun:4151). done!\n";
  return row;
}

// Nothing is asked of the scheduler.
launch_case left_out(const std::string &name, const std::vector<variable> &variables,
                     const texts &arguments = with_mpi()) {
  return {.name = "IsLeftOut" + name,
          .variables = variables,
          .arguments = arguments,
          .then = {.asks = none, .variables = variables}};
}

// The tool names no job: the run goes on without one.
launch_case not_made(const std::string &name, const std::string &answer) {
  return {.name = "IsNot" + name,
          .tools = {{"job.exe new", answer, "", 1}},
          .arguments = with_mpi(),
          .then = {.asks = {"{new}"},
                   .output = answer,
                   .variables = {{"CCP_JOB_ID", "-1"}, {"CANCEL_CCP_JOB_EXIT1", std::nullopt}}}};
}

// So many units are asked for with so many processes on a machine of eight; no job comes of it.
launch_case asks_for(const std::string &name, const std::string &units,
                     const std::string &per_node) {
  return {.name = "AsksFor" + name,
          .variables = {{"NUMBER_OF_PROCESSORS", "8"}, {"NP_PER_NODE", per_node}},
          .tools = {{"job.exe new"}},
          .arguments = with_mpi(),
          .then = {.asks = {"job new /scheduler:head /jobname:\"ORBEX ZEPHON\" /" + units +
                            " /rununtilcanceled:true"}}};
}

launch_case credentials(const std::string &name, const std::string &word, const texts &asks) {
  return {.name = "Credentials" + name,
          .tools = {{"job.exe Check"}, {"job.exe new"}},
          .arguments = {"--mpi=net", "--np=4", "--cred_check=" + word, "..\\solver.exe"},
          .then = {.asks = asks}};
}

// The wait ends the launch: the job will never have its nodes.
launch_case never_runs(const std::string &state) {
  auto row =
      runs("EndsForAJobThatIs" + state, {{.command = "job.exe view",
                                          .prints = "Name : Running\nState : " + state + "\n",
                                          .behind_box = true}});
  row.then.starts = none;
  row.then.output = created;
  row.then.errors = "\n Error:  Job 7 is " + state + " and will not run!\n";
  row.then.status = 2;
  row.then.variables[1].value = std::nullopt;  // as the last question finds it
  return row;
}

// The user presses these buttons, the question whether to cancel between two waits; so many
// questions to the scheduler later the job runs.
launch_case answered(const std::string &name, const std::vector<int> &buttons, int questions) {
  auto row = runs(name, {{.command = "job.exe view", .prints = queued, .times = questions}},
                  created, texts(static_cast<std::size_t>(questions) + 1, "{view}"));
  row.then.boxes.clear();
  for (std::size_t i = 0; i < buttons.size(); ++i) {
    row.then.boxes.push_back({i % 2 == 0 ? "{wait}" : "{confirm}", buttons[i]});
  }
  row.only_scripted = "how often the scheduler is asked depends on how quick the user is";
  return row;
}

launch_case cancelled(const std::string &name, const std::vector<int> &buttons, int questions) {
  auto row = answered(name, buttons, questions);
  row.then.asks.back() = "{cancel}";
  row.then.starts = none;
  row.then.output = created + ".{cancelled}";
  row.then.variables[1].value = std::nullopt;
  row.then.status = 1;
  return row;
}

launch_case through_all_states() {
  std::vector<tool> answers;
  for (const char *state :
       {"", "Configuring", "Submitted", "Validating", "Queued", "running", "failed", "Ended"}) {
    answers.push_back(
        {.command = "job.exe view", .prints = std::string("State : ") + state + "\n", .times = 1});
  }
  auto row = runs("GoesOnInEveryOtherState", answers, created, texts(9, "{view}"));
  row.only_scripted = "it asks twice a second";
  return row;
}

}  // namespace

launch_family job_creation_family() {
  using namespace std::string_literals;
  std::string many_lines;
  for (int line = 0; line < 5'000; ++line) {
    many_lines += "line " + std::to_string(line) + "\n";
  }
  many_lines += std::string(200'000, 'x') + "\n";
  return {
      .name = "JobCreation",
      .words = words,
      .given = on_a_cluster(),
      .rows = {
          left_out("WithoutAnMpi", {}, {"..\\solver.exe"}),
          left_out("WithoutAHeadNode", {{"USE_CCP", std::nullopt}}),
          left_out("WithoutAJob", {{"CCP_JOB_ID", std::nullopt}}),
          left_out("ForJob0", {{"CCP_JOB_ID", "0"}}),
          left_out("ForJob17", {{"CCP_JOB_ID", "17"}}),
          left_out("ForAJobWithAPlus", {{"CCP_JOB_ID", "+1"}}),
          left_out("ForAJobWithoutANumber", {{"CCP_JOB_ID", "none"}}),
          left_out("ForAnEmptyJob", {{"CCP_JOB_ID", ""}}),
          left_out("ForTheLastJob", {{"CCP_JOB_ID", "2147483647"}}),
          runs("IsAskedForByMinusOne", {{"job.exe new", "Created job, ID: 7\nJob queued, ID: 9\n"}},
               created + "Job queued, ID: 9\n"),
          with(runs("IsAskedForByMinus17"), {{"CCP_JOB_ID", "-17"}}),
          with(runs("IsAskedForByANumberAmongBlanksAndLetters"), {{"CCP_JOB_ID", " -1x"}}),
          with(runs("IsAskedForByTheLeastNumber"), {{"CCP_JOB_ID", "-2147483648"}}),
          {.name = "HasEveryPieceInItsOrder",
           .variables = {{"USE_CCP", "head.site"},
                         {"ZEPHON_CRED_CHECK", std::nullopt},
                         {"ZP_CCP_JOB_COMMAND", "\"..\\my hpc\\job.exe\""},
                         {"NP_PER_NODE", "2"},
                         {"NUMBER_OF_PROCESSORS", "8"},
                         {"ZP_CCP_UNIT", "core"},
                         {"ZP_CCP_JOB_TEMPLATE", "t"},
                         {"ZP_CCP_NODE_GROUP", "g"},
                         {"CCP_USER_FLAGS", "/u"}},
           .tools = {{"{world}\\my hpc\\job.exe Check", "Enter the password: \n", "", 1},
                     {"{world}\\my hpc\\job.exe new", "Created job, ID: 12\n"},
                     {.command = "{world}\\my hpc\\job.exe view",
                      .prints = "Status   : Running\n",
                      .behind_box = true},
                     {"{world}\\my hpc\\job.exe"}},
           .arguments = with_mpi(),
           .then = {.asks = {R"(cmd.exe /c ""..\my hpc\job.exe" submit /scheduler:head.site )"
                             R"(/jobname:"ORBEX ZEPHON Credential Check"  /jobtemplate:t  )"
                             R"(/nodegroup:g  /u  cmd.exe /C ver")",
                             R"("..\my hpc\job.exe" new /scheduler:head.site /jobname:)"
                             R"("ORBEX ZEPHON" /numcores:16 /rununtilcanceled:true )"
                             R"(/jobtemplate:t  /nodegroup:g  /u )",
                             R"("..\my hpc\job.exe" submit /scheduler:head.site /id:12)",
                             R"("..\my hpc\job.exe" view 12 /scheduler:head.site)"},
                    .output = user_flags + "Enter the password: \n" + user_flags +
                              "Created job, ID: 12\n. done!\n",
                    .boxes = {{"{wait on}head.site{wait for job}12{wait end}", left_alone}},
                    .variables = {{"CANCEL_CCP_JOB_EXIT1",
                                   R"("..\my hpc\job.exe" modify 12 /rununtilcanceled:false )"
                                   "/scheduler:head.site"}}}},
          traced(runs("IsTraced")),
          asks_for("WholeMachines", "numprocessors:16", "2"),
          asks_for("EachProcessWhenAMachineTakesNone", "numprocessors:4", "0"),
          asks_for("EachProcessWhenAMachineTakesMore", "numprocessors:4", "16"),
          credentials("AreNotCheckedForNo", "No", {"{new}"}),
          credentials("AreNotCheckedForNoInCapitals", "NO", {"{new}"}),
          credentials("AreCheckedForYes", "yes", {"{check}", "{new}"}),
          credentials("AreCheckedForAWordThatBeginsWithNo", "not", {"{check}", "{new}"}),

          // What the tool says of it.
          runs("IsNamedBehindOtherLines",
               {{"job.exe new", "100%% %s %n\n\0\x01\x1A\x80\xFF\n\nJob queued, ID: 7"s}},
               "100%% %s %n\n\0\x01\x1A\x80\xFF\n\nJob queued, ID: 7"s),
          runs("IsNamedBehindManyLines", {{"job.exe new", many_lines + created}},
               many_lines + created),
          runs("IsNamedAtTheBeginningOfAPieceOf1023Characters",
               {{"job.exe new", std::string(1'023, 'x') + created}},
               std::string(1'023, 'x') + created),
          not_made("NamedAtAll", ""),
          not_made("NamedInAComplaint", "Error: no such head node\n"),
          not_made("NamedBySubmission", "Job has been submitted. ID: 7.\n"),
          not_made("NamedByALessThanNoNumber", "Created job, ID: -7\n"),
          not_made("NamedInALineThatDoesNotEnd", "Job queued, ID:" + std::string(200'000, 'x')),
          {.name = "IsNotMadeByAToolThatIsNotThere",
           .variables = {{"ZP_CCP_JOB_COMMAND", "no_job"}},
           .arguments = with_mpi(),
           .then = {.asks = {"no_job new /scheduler:head /jobname:\"ORBEX ZEPHON\" "
                             "/numprocessors:4 /rununtilcanceled:true"},
                    .output = "'no_job' is not recognized as an internal or external command,\n"
                              "operable program or batch file.\n"},
           .only_scripted = "the interpreter's words are its own"},
          {.name = "MayBeJob0",
           .tools = {{"job.exe new", "Created job, ID: 0\n"}},
           .arguments = with_mpi(),
           .then = {.asks = {"{new}", "job submit /scheduler:head /id:0",
                             "job view 0 /scheduler:head"},
                    .output = "Created job, ID: 0\n. done!\n",
                    .boxes = {{"{wait on}head{wait for job}0{wait end}", left_alone}},
                    .variables = {{"CCP_JOB_ID", "0"}}}},

          // The wait for its nodes.
          runs("IsAskedForTwiceASecond",
               {{.command = "job.exe view", .prints = queued, .times = 2, .behind_box = true}},
               created, texts(3, "{view}")),
          through_all_states(),
          runs("RunsAlsoWhenItsLineSaysMore",
               {{.command = "job.exe view",
                 .prints = "Status of requeued : Failed\nState : Failed, now Running\n",
                 .behind_box = true}}),
          never_runs("Finished"),
          never_runs("Failed"),
          never_runs("Cancelled"),
          never_runs("Canceled"),
          answered("IsWaitedForBehindABoxThatIsClosed", {ok}, 5),
          answered("IsWaitedForByAUserWhoDoesNotCancelAfterAll", {cancel, no, left_alone}, 6),
          answered("IsWaitedForWhenTheFirstCancelIsForgotten", {cancel, no, ok}, 6),
          cancelled("IsCancelled", {cancel, yes}, 1),
          cancelled("IsCancelledTheSecondTime", {cancel, no, cancel, yes}, 2),
      }};
}

}  // namespace cases
