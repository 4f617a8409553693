// job_submission.cpp: MS-MPI's job on its way to the scheduler: the answer of the tool that
// is awaited, no answer in time, and what is said of the job until it has ended.
#include "cases/families.h"

namespace cases {

namespace {

const std::vector<word> words = {
    {"task without solver",
     " /exclusive:false /numprocessors:4 /stdout:ZP%CCP_TASKCONTEXT%.jdoe.o "
     "/stderr:ZP%CCP_TASKCONTEXT%.jdoe.e ..\\ms\\bin\\mpiexec.exe   -hosts %CCP_NODES%  "
     "-env PATH \"..\\inc\\ntbin\\win64;..\\prod\\netweave\\mpi_wrapper\\win64\\msmpi\"  "
     "-env CCP_CLUSTER_NAME head  -env ZEPHON_PROD_DIR \"..\\prod\""},
    {"task", "{task without solver}  solver"},
    {"traced", " (..\\src\\mpirun:4151)"},
    {"submit", "job submit /scheduler:head /jobname:\"ORBEX ZEPHON\"{task}"},
    {"add", "job add 12 /scheduler:head /name:\"ORBEX ZEPHON\"{task}"},
    {"in the console", " -ccp_job %CCP_TASKCONTEXT%@%CCP_CLUSTER_NAME% "},
    {"view", "job view 12 /scheduler:head"},
    {"release of 12", "job modify 12 /rununtilcanceled:false /scheduler:head"},
    {"waiting", "Waiting for CCP scheduler@head to start msmpi nodes ...\n"},
};

const std::string submitted = "Job has been submitted. ID: 12.\n";
const std::string finished = "Job 12 is Finished.\n";
const std::size_t states = 6;  // that are asked for
const variable with_release = {"CANCEL_CCP_JOB_EXIT1", "{release of 12}"};
const variable in_job_12 = {"CCP_JOB_ID", "12"};

launch_case on_a_cluster() {
  return {.variables = {{"USE_CCP", "head"},
                        {"ZEPHON_CRED_CHECK", "no"},
                        {"USERNAME", "jdoe"},
                        {"ZEPHON_INC", "..\\inc"},
                        {"ZEPHON_PROD_DIR", "..\\prod"},
                        {"MSMPI_HOME", "..\\ms"}},
          .files = {{"{wrappers}\\msmpi\\mpi_wrapper.dll"}},
          .tools = {{"{world}\\ms\\bin\\mpiexec.exe"},
                    {"cluscfg.exe"},
                    {"job.exe submit", submitted},
                    {"job.exe view", "State : Finished\n"},
                    {"job.exe"}},
          .arguments = {"--mpi=msmpi", "--np=4", "solver"},
          .then = {.starts = none}};
}

texts operator+(texts some, const texts &more) {
  some.insert(some.end(), more.begin(), more.end());
  return some;
}

texts views(std::size_t count = states) {
  return texts(count, "{view}");
}

// So the tool answers; behind that the job is watched, or, when it has no number, is not.
launch_case answered(const std::string &name, const std::string &answer, bool is_watched = true,
                     const std::vector<variable> &variables = {}) {
  const bool is_added = !variables.empty() && variables[0].name == in_job_12.name;
  return {
      .name = name,
      .variables = variables,
      .tools = {{is_added ? "job.exe add" : "job.exe submit", answer, "", 1}},
      .then = {.asks = texts{"cluscfg listenvs /scheduler:head", is_added ? "{add}" : "{submit}"} +
                       views(is_watched ? states : 0),
               .output = answer + (is_watched ? finished : ""),
               .errors = "{waiting}"}};
}

// The command that lets the job go is run behind the submission, once.
launch_case released(launch_case row, std::ptrdiff_t behind = 2) {
  row.variables.push_back(with_release);
  row.then.asks.insert(row.then.asks.begin() + behind, "{release of 12}");
  row.then.variables = {{with_release.name, std::nullopt}};
  return row;
}

// The tool is ended when it has not answered in time, and the command is run in the console.
launch_case late(const std::string &name, const std::string &said, bool is_watched,
                 const std::vector<variable> &variables = {}) {
  auto row = answered(name, said, is_watched, variables);
  const bool is_added = row.then.asks[1] == "{add}";
  row.variables.push_back({"CCP_JOB_SUBMIT_WAIT_TIME", "0.5"});
  row.tools[0].stays = true;
  row.tools.insert(row.tools.begin(),
                   tool{"job.exe -ccp_job", "Job has been submitted. ID: 43.\n"});
  row.then.asks.insert(row.then.asks.begin() + 2,
                       std::string(is_added ? "{add}" : "{submit}") + "{in the console}");
  row.then.output = "\nCCP_JOB_SUBMIT_WAIT_TIME = 0.5\n" + said +
                    "Job has been submitted. ID: 43.\n" + (is_watched ? finished : "");
  row.only_scripted = "how far the tool comes until then depends on the machine";
  return released(row, 3);
}

launch_case with(launch_case row, const std::vector<variable> &variables,
                 const std::string &output_before) {
  row.variables.insert(row.variables.end(), variables.begin(), variables.end());
  row.then.output = output_before + row.then.output;
  return row;
}

launch_case traced() {
  auto row = with(answered("IsTraced", submitted), {{"ZEPHON_STARTUP_DEBUG", "1"}}, "");
  std::string shown_views;
  for (std::size_t i = 0; i < states; ++i) {
    shown_views += "\ncmd = {view}{traced}";
  }
  row.then.output =
      "\ncmd = cluscfg listenvs /scheduler:head{traced}\nsOptions.pre = job submit "
      "/scheduler:head /jobname:\"ORBEX ZEPHON\"{task without solver} (..\\src\\mpirun:2291)"
      "\ncmd = {submit}{traced}" +
      submitted + shown_views + finished;
  return row;
}

// A job of its own before it: made, waited for, filled, released and watched.
launch_case in_a_new_job() {
  auto row = answered("IsAddedToTheJobThatWasMade", "Task added.\n", true, {in_job_12});
  row.variables[0].value = "-1";
  row.tools.insert(
      row.tools.end(),
      {{"job.exe new", "Created job, ID: 12\n"},
       {.command = "job.exe view", .prints = "State : Running\n", .times = 1, .behind_box = true}});
  row.then.asks =
      texts{
          "job new /scheduler:head /jobname:\"ORBEX ZEPHON\" /numprocessors:4 "
          "/rununtilcanceled:true",
          "job submit /scheduler:head /id:12", "{view}"} +
      texts{row.then.asks[0], "{add}", "{release of 12}"} + views();
  row.then.output = "Created job, ID: 12\n. done!\n" + row.then.output;
  row.then.boxes = {
      {"\nWaiting for the scheduler on head to allocate nodes for your job 12.\n"
       "If you want to cancel the job, you may press the \"Cancel\" button!\n"
       "If you want to close this message box, you may press the \"OK\" button!\n\n"
       "Otherwise, please wait ...",
       left_alone}};
  return row;
}

// ---- The watch ----------------------------------------------------------------------------

// The tool answers so, and then that the job has finished; so many questions in all.
launch_case watched(const std::string &name, const std::vector<tool> &answers,
                    std::size_t questions, const std::string &said,
                    const std::string &why_not_real = "") {
  auto row = answered(name, submitted);
  row.tools = answers;
  row.then.asks.resize(2);
  row.then.asks = row.then.asks + views(questions);
  row.then.output = submitted + said;
  row.only_scripted = why_not_real;
  return row;
}

tool view(const std::string &answer, int times = 0) {
  return {.command = "job.exe view", .prints = answer, .times = times};
}

// The job ends like this after so many questions; its output is shown, or it is not.
launch_case ended(const std::string &name, const std::string &answer, std::size_t questions,
                  const std::string &said, bool output_is_shown = true) {
  auto row = watched("EndsAs" + name, {view(answer)}, questions, said);
  row.files = {{"{work}\\ZP12.1.jdoe.o", "iteration 1\r\n100%s"},
               {"{work}\\ZP12.1.jdoe.e", "out of %s memory\r\n"},
               {"{work}\\ZP12.1.o", "of somebody else\r\n"}};
  if (output_is_shown) {
    row.then.output += "\n\n---------- stdout ----------\niteration 1\n100%s";
    row.then.errors += "\n\n---------- stderr ----------\nout of %s memory\n";
  }
  return row;
}

}  // namespace

launch_family job_submission_family() {
  using namespace std::string_literals;
  std::string many_lines;
  for (int line = 0; line < 2'000; ++line) {
    many_lines += "line " + std::to_string(line) + "\n";
  }
  many_lines += std::string(200'000, 'x') + "\n" + submitted;
  return {
      .name = "JobSubmission",
      .words = words,
      .given = on_a_cluster(),
      .rows = {
          released(answered("IsReleasedAndWatched", submitted)),
          released(answered("IsAddedToAnExistingJob", "Task 12.1 has been submitted\n", true,
                            {in_job_12})),
          in_a_new_job(),
          answered("IsNamedByItsQueue", "Job queued, ID: 12\n"),
          answered("IsNamedByItsCreation", "Created job, ID: 12\n"),
          answered("IsNamedLastOfAll", "Created job, ID: 41\nJob has been submitted. ID: 12.\n"),
          answered("IsNamedInALineThatDoesNotEnd", "Job has been submitted. ID: 12"),
          answered("IsNamedBehindManyLines", many_lines),
          answered("IsNotNamed", "Something else was submitted\n", false),
          answered("MayBeJob0", "Job has been submitted. ID: 0\n", false, {in_job_12}),
          answered("MayBeRefused", "Cannot connect to head\n", false),
          answered("MayEndWithoutAnAnswer", "Error: 100%% of %s\n\0\x1A\xFF no licence"s, false),
          answered("MayBeSilent", "", false),
          traced(),
          with(answered("NamesTheTimeThatItIsGiven", submitted),
               {{"CCP_JOB_SUBMIT_WAIT_TIME", "5"}}, "\nCCP_JOB_SUBMIT_WAIT_TIME = 5\n"),
          with(answered("NamesATimeThatIsNoNumber", submitted),
               {{"CCP_JOB_SUBMIT_WAIT_TIME", "soon"}}, "\nCCP_JOB_SUBMIT_WAIT_TIME = soon\n"),
          late("IsLate", "Enter the password: ", false),
          late("IsLateInAnExistingJob", "", true, {in_job_12}),
          late("IsLateWithItsNumber", "Created job, ID: 12\n", true),

          // What is said of the job.
          ended("Cancelled", "Status : Cancelled\n", 3, "Job 12 is Cancelled.\n"),
          ended("CanceledInTheLaterSpelling", "State : Canceled\n", 4, "Job 12 is Canceled.\n"),
          ended("FailedWithItsReason", "State : Failed\nError message : node n1: 100%s lost\n", 5,
                "Job 12 is Failed.  node n1: 100%s lost\n\n"),
          ended("FailedWithAReasonWithoutAnEnd", "State : Failed\nError message:lost", 5,
                "Job 12 is Failed. lost\n"),
          ended("Finished", "State : Finished\n", 6, finished, false),
          watched("IsToldOfEachChangeOnce",
                  {view("State : Queued\n", 1), view("Status : NotRunning\n", 4)}, 1 + 4 + 6,
                  "Job 12 is Running.\n" + finished),
          watched("IsTakenForQueuedInAnUnknownState", {view("State : Configuring\n", 6)}, 6 + 6,
                  finished),
          watched("IsQueuedAgain",
                  {view("State : Running\n", 2), view("", 6), view("State : Queued\n", 2),
                   view("State : Running\n", 2)},
                  2 + 6 + 2 + 2 + 6,
                  "Job 12 is Running.\nJob 12 is Queued.\nJob 12 is Running.\n" + finished,
                  "it takes five seconds"),
          watched("KeepsItsReasonForTheWholeWatch",
                  {view("State : Queued\nError message: first\n", 1), view("State : Running\n", 2),
                   view("State : Running\nError message: second\n", 2), view("State : Failed\n")},
                  1 + 2 + 2 + 5, "Job 12 is Running.  first\n\nJob 12 is Failed.  second\n\n",
                  "it takes four seconds"),
      }};
}

}  // namespace cases
