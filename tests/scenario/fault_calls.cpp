// fault_calls.cpp: the calls of other programs, each with its world and its rules.
//
// The calls are a table. A call begins as its world says, and is waited for and shown
// as its way says. The bar in an answer stands where a tool dies that dies in a line.
//
// The rules are few. A tool that is asked something and says nothing counts as one
// that answered nothing. Of a check only the first line counts; of a question to the
// scheduler the line that is looked for, wherever it stands. A program in the
// console does its own talking: the launcher waits for its end and looks at nothing.
#include "fault_calls.h"

namespace scenario {

namespace {

using faults = std::vector<fault>;

faults operator+(faults some, const faults &more) {
  some.insert(some.end(), more.begin(), more.end());
  return some;
}

// What a tool says comes to these cases.
const faults no_tool = {fault::missing, fault::no_program};
const faults no_file = {fault::missing, fault::refused};  // where the launcher looks for it itself
const faults silent = {fault::hangs, fault::dies_silently};
const faults cut = {fault::dies_in_line};
const faults late = {fault::ten_megabytes, fault::all_bytes};
const faults answered = {fault::exits_with_1, fault::crashes, fault::closes_output};
const faults started = silent + cut + late + answered;
const faults all_faults = no_tool + started;

const std::string launch = "the launch";

std::string marked(const std::string &verb, const std::string &mark) {
  return verb + " {world}\\" + mark + "\n";
}

std::string says(const std::string &text) {
  return "out " + escape(text) + "\n";
}

// ---- Worlds -------------------------------------------------------------------------------

void given_release(const std::string &mpi) {
  given_release_without_blanks(mpi);
  given_variable("USERNAME", "jdoe");
}

void given_hosts() {
  given_file("hosts", "alpha:2\nbeta:2\n");
  given_variable("ZEPHON_HOSTS_FILE", "..\\hosts");
}

// The tools that check stand elsewhere than the one that launches.
void given_intel() {
  given_release("intel");
  given_variable("ZEPHON_INC_LOCAL_RESERVED", "..\\local");
  given_tool(mpi_folder("1.2.3", "intel") + "\\bin\\mpiexec.exe");
  given_tool("local\\zephon1.2.3\\netweave\\mpi\\win64\\intel\\bin\\mpiexec.exe");
  given_tool("local\\zephon1.2.3\\netweave\\mpi\\win64\\intel\\bin\\smpd.exe");
  given_hosts();
}

void given_mpich2() {
  given_release("mpich2");
  given_variable("MPICH2_HOME", "..\\mpich2");
  given_tool("mpich2\\bin\\mpiexec.exe");
}

void given_platform_mpi() {
  given_release("ibmmpi");
  given_variable("IBMMPI_ROOT", "..\\mpi");
  given_tool("mpi\\bin\\mpirun.exe");
}

void given_platform_mpi_on_hosts() {
  given_platform_mpi();
  given_hosts();
}

void given_head_node() {
  given_tool("job.exe");
  given_tool("cluscfg.exe");
  given_variable("USE_CCP", "head");
  given_variable("ZEPHON_CRED_CHECK", "no");
}

void given_platform_mpi_on_cluster() {
  given_platform_mpi();
  given_head_node();
}

void given_msmpi() {
  given_release("msmpi");
  given_variable("MSMPI_HOME", "..\\ms");
  given_tool("ms\\bin\\mpiexec.exe");
}

void given_msmpi_on_cluster() {
  given_msmpi();
  given_head_node();
}

void given_msmpi_in_job_5() {
  given_msmpi_on_cluster();
  given_variable("CCP_JOB_ID", "5");
  given_file("hosts", "old\n");
  given_variable("ZEPHON_HOSTS_FILE", "..\\hosts");
}

void given_msmpi_on_nodes_of_job_5() {
  given_msmpi_in_job_5();
  given_variable("NP_PER_NODE", "2");
}

void given_msmpi_that_asks_for_the_password() {
  given_msmpi_on_cluster();
  given_no_variable("ZEPHON_CRED_CHECK");
}

void given_msmpi_that_is_not_answered() {
  given_msmpi_on_cluster();
  given_variable("CCP_JOB_SUBMIT_WAIT_TIME", "0");
}

void given_msmpi_inside_a_job() {
  given_msmpi();
  given_variable("CCP_CLUSTER_NAME", "head");
  given_variable("CCP_NODES", "1 alpha 4");
}

void given_new_job() {
  given_release("stub");
  given_head_node();
  given_tool("solver.exe");
}

void given_job_exit_command() {
  given_release("");
  given_variable("ZEPHON_PROD", "lumis");
  given_variable("CANCEL_CCP_JOB_EXIT1", "job modify 5");
  given_tool("job.exe");
  given_tool("solver.exe");
}

void given_sibling() {
  given_release("stub");
  given_variable("ZEPHON_PROD", "lumis");
}

void given_solver_alone() {
  given_release("stub");
}

// ---- Texts of the launcher ----------------------------------------------------------------

std::string user_defined(const std::string &setting) {
  return "\n***\n*** User defined: " + setting + "\n***\n";
}

const std::string smpd_checked =
    "\nChecking the status of SMPD for INTEL MPI on the local machine ...";
const std::string smpd_runs = smpd_checked + " smpd running on ALPHA\n";
const std::string mpi_root = user_defined("IBMMPI_ROOT=..\\mpi");
const std::string created_7 = "Created job, ID: 7\n";
const std::string created_0 = "Created job, ID: 0\n";
const std::string awaited = "Waiting for CCP scheduler@head to start msmpi nodes ...\n";
const std::string small_buffer =
    "\n***\nWarning: \nThe following cluster environment variable setting may cause issues with "
    "running parallel ZEPHON:\nMPICH_SOCKET_SBUFFER_SIZE=0\n***\n";

expected_box password_question(const std::string &mpi) {
  return {"Zephon",
          "The password is invalid for " + mpi +
              " to launch jobs.\nDo you want to input your password now?",
          no_button};
}

// ---- Commands -----------------------------------------------------------------------------

const std::string intel_tools = "..\\local\\zephon1.2.3\\netweave\\mpi\\win64\\intel\\bin\\";
const std::string platform_tool =
    "..\\inc\\zephon1.2.3\\netweave\\mpi\\win64\\ibmmpi\\bin\\mpirun.exe";
const std::string setup = "..\\inc\\zephon1.2.3\\netweave\\mpi\\win64\\ibmmpi\\sbin\\setup.exe";
const std::string setup_command = setup + " /verysilent /components=\"plaformmpi\"";
const std::string install_command = "..\\own\\bin\\smpd.exe -install";
const std::string msmpi_command =
    "..\\ms\\bin\\mpiexec.exe   -hosts %CCP_NODES%  -env PATH "
    "\"..\\inc\\ntbin\\win64;..\\prod\\netweave\\mpi_wrapper\\win64\\msmpi\"  -env "
    "CCP_CLUSTER_NAME head  -env ZEPHON_PROD_DIR \"..\\prod\"  solver";
const std::string msmpi_submit =
    "job submit /scheduler:head /jobname:\"ORBEX ZEPHON\" /exclusive:false /numprocessors:4"
    " /stdout:ZP%CCP_TASKCONTEXT%.jdoe.o /stderr:ZP%CCP_TASKCONTEXT%.jdoe.e " +
    msmpi_command;
const std::string new_job =
    "job new /scheduler:head /jobname:\"ORBEX ZEPHON\" /numprocessors:4 /rununtilcanceled:true";
const std::string platform_new =
    "job new /scheduler:head /jobname:\"ORBEX ZEPHON\" /numprocessors:4 ";
const std::string platform_add =
    "job add 0 /numprocessors:1-1 /scheduler:head /name:\"ORBEX ZEPHON\""
    " /stdout:ZP%CCP_TASKCONTEXT%.jdoe.o /stderr:ZP%CCP_TASKCONTEXT%.jdoe.e "
    "\"..\\mpi\\bin\\mpirun.exe\" -prot -e MPI_ROOT=\"..\\mpi\"  -ccp  -np 4  -e "
    "PATH=\"..\\inc\\ntbin\\win64;..\\prod\\netweave\\mpi_wrapper\\win64\\ibmmpi\" -e "
    "MPI_WORKDIR=\"..\\inc\" -e ZEPHON_PROD_DIR=\"..\\prod\"  solver";
const std::string platform_submit = "job submit /scheduler:head /id:0 ";

const std::string platform_arguments = "--r1.2.3 --mpi=ibmmpi --np=4 solver";
const std::string msmpi_arguments = "--mpi=msmpi --np=4 solver";

const std::string status_step = "`smpd -status`";
const std::string validate_step = "`mpiexec -validate`";
const std::string register_step = "`mpiexec -register`";
const std::string pwcheck_step = "`mpirun -pwcheck`";
const std::string cache_step = "`mpirun -cache`";
const std::string add_step = "`job add`";
const std::string submit_step = "`job submit`";
const std::string view_step = "`job view`";

const tool_answer smpd_runs_answer = {"-status", says("smpd running on ALPHA\r\n")};
const tool_answer job_7_answer = {"job new", says("Created job, ID: 7\r\n")};
const tool_answer job_0_answer = {"job new", says("Created job, ID: 0\r\n")};

expected_box installed(const std::string &last_line) {
  return {"Zephon",
          "\nMPICH2 SMPD Installation Successful:\n" + install_command + "\n" + last_line};
}

std::string unable_to_execute(const std::string &message) {
  return "Unable to execute (null) ..\\solver.exe\n" + message + "\n";
}

std::vector<fault_rule> rules_of_launch(const std::string &caption) {
  constexpr unsigned long not_found = 2;  // Windows' numbers
  constexpr unsigned long bad_format = 193;
  return {
      {{fault::missing},
       {},
       "",
       "",
       {{caption, unable_to_execute(windows_message(not_found))}},
       255},
      {{fault::refused}, {}, "", "", {{caption, unable_to_execute("{windows}")}}, 255},
      {{fault::no_program},
       {},
       "",
       "",
       {{caption, unable_to_execute(windows_message(bad_format))}},
       255},
      {started, {}},
  };
}

// ---- The calls ----------------------------------------------------------------------------

const call_world new_job_world = {given_new_job, "--mpi=net --np=4 --jobid=-1 ..\\solver.exe"};
const call_world intel_world = {given_intel, "--r1.2.3 --mpi=intel --np=4 solver"};
const call_world platform_mpi_on_hosts = {given_platform_mpi_on_hosts, platform_arguments};
const call_world platform_mpi_on_cluster = {given_platform_mpi_on_cluster, platform_arguments};
const call_world msmpi_on_cluster = {given_msmpi_on_cluster, msmpi_arguments};

const std::string skipped = "\nUser chooses to skip password input, so launching stops!\n\n";
const std::vector<expected_box> skipping = {password_question("Platform MPI")};
const expected_box check_services = {"Zephon",
                                     "Check running services to see if Platform MPI is installed?"};
const std::string emptied = "machine file: empty";
const std::string machine_file_told = "\nmachinefile ..\\hosts\n";

std::vector<program_call> table() {
  return {
      // ---- The phase of the options and of the job ----------------------------------------------
      {.name = "CredentialCheck",
       .heading = "`job submit ... cmd.exe /C ver`: the scheduler's password",
       .about = "Run in the console before a job is made, so that `job` can ask there.",
       .of = {given_msmpi_that_asks_for_the_password, msmpi_arguments},
       .way = start_way::console,
       .key = "Credential Check",
       .command =
           "cmd.exe /c job submit /scheduler:head /jobname:\"ORBEX ZEPHON Credential Check\"  "
           "cmd.exe /C ver",
       .answer = "Enter the pass|word for 'jdoe': ",
       .others = {{"job submit", says("Job has been submitted. ID: 0.\r\n")}},
       .starts_before = 1,
       .rules = {{.when = no_tool, .after = complaint_of(msmpi_submit), .errors = awaited},
                 {.when = started,
                  .then = {submit_step},
                  .after = "Job has been submitted. ID: 0.\n",
                  .errors = awaited}}},
      {.name = "JobNew",
       .heading = "`job new`: a job for the run",
       .about = "Asked for with a negative job number (`--jobid=-1`). All of its output is read.",
       .of = new_job_world,
       .shown = shows::everything,
       .key = "job new",
       .command = new_job,
       .answer = "Created job, I|D: 7\r\n",
       .others = {{"job submit", ""},
                  {"job view", marked("wait_file", box_mark) + says("State : Running\r\n")}},
       .rules = {{.when = late + answered,
                  .then = {submit_step, view_step, launch},
                  .after = ". done!\n",
                  .wait_box = true},
                 {.when = no_tool + silent + cut, .then = {launch}}}},
      {.name = "JobSubmitByNumber",
       .heading = "`job submit /id:`: the new job is handed in",
       .about = "Its output is read to the end, and dropped.",
       .of = new_job_world,
       .key = "job submit",
       .command = "job submit /scheduler:head /id:7",
       .answer = "Job 7 has b|een submitted.\r\n",
       .before = created_7,
       .others = {job_7_answer,
                  {"job view", marked("wait_file", box_mark) + says("State : Running\r\n")}},
       .starts_before = 1,
       .rules = {{.when = started,
                  .then = {view_step, launch},
                  .after = ". done!\n",
                  .wait_box = true}}},
      {.name = "JobViewForNodes",
       .heading = "`job view`: the wait for nodes",
       .about = "Asked every half second until the job runs; the first answer has the fault. What "
                "shows no `Running` counts as not running, so it is asked again.",
       .of = new_job_world,
       .key = "job view",
       .command = "job view 7 /scheduler:head",
       .answer = "State : Runn|ing\r\n",
       .before = created_7,
       .others = {job_7_answer, {"job submit", ""}, {"job view", says("State : Running\r\n")}},
       .starts_before = 2,
       .first_step = marked("wait_file", box_mark),
       .once = true,
       .rules =
           {{.when = late + answered, .then = {launch}, .after = ". done!\n", .wait_box = true},
            {.when = silent + cut,
             .then = {view_step, launch},
             .after = ".. done!\n",
             .wait_box = true}}},
      {.name = "JobCancel",
       .heading = "`job cancel`: the user gives up the wait",
       .about = "Its standard output is read and dropped; its standard error goes to the user.",
       .of = new_job_world,
       .way = start_way::dropped,
       .key = "job cancel",
       .answer = "Job 7 has b|een cancelled.\r\n",
       .before = created_7 + ".",
       .others = {job_7_answer,
                  {"job submit", ""},
                  {"job view", marked("wait_file", box_mark) + says("State : Queued\r\n")}},
       .starts_before = 3,
       .rules =
           {{.when = started,
             .after = "\nCancelling job 7 ... done!\nPress Ctrl-C to stop after done!\n",
             .boxes = {{"Zephon",
                        "\nWaiting for the scheduler on head to allocate nodes for your job 7.\nIf "
                        "you want to cancel the job, you may press the \"Cancel\" button!\nIf you "
                        "want to close this message box, you may press the \"OK\" "
                        "button!\n\nOtherwise, please wait ...",
                        cancel_button},
                       {"Zephon",
                        "\nDo you want to cancel your submitted job 7 to the scheduler on head?",
                        yes_button}},
             .status = 1}}},
      // ---- Installers ---------------------------------------------------------------------------
      {.name = "SmpdInstall",
       .heading = "`smpd -install`: MPICH2's service",
       .about = "Asked for with `--install_smpd`. Its last line is shown in a box; a line with "
                "`fail` or `error` makes it a failure, silence does not.",
       .of = {[] { given_release("stub"); }, "--install_smpd ..\\own"},
       .key = "-install",
       .command = install_command,
       .tool = "own\\bin\\smpd.exe",
       .answer = "MPICH2 has b|een installed.\r\n",
       .rules = {{.when = no_file,
                  .boxes = {{"zephon",
                             "\nFile ..\\own\\bin\\smpd.exe does not exist!\n\nPlease use one of "
                             "the following two commands with full UNC path:\n\n1. To install the "
                             "Zephon packaged MPICH2 SMPD, which has been tested and "
                             "validated:\n..\\inc\\ntbin\\win64\\zephon -install_smpd 0\n\n2. To "
                             "install your own version of MPICH2 SMPD on your own "
                             "responsibility:\n..\\inc\\ntbin\\win64\\zephon -install_smpd "
                             "MPICH2_HOME_DIRECTORY\n"}},
                  .status = 1},
                 {.when = {fault::no_program}, .boxes = {installed("{last line}")}},
                 {.when = silent, .boxes = {installed("")}},
                 {.when = cut, .boxes = {installed("MPICH2 has b")}},
                 {.when = late + answered, .boxes = {installed("MPICH2 has been installed.\n")}}}},
      {.name = "PlatformMpiSetup",
       .heading = "`setup.exe`: Platform MPI's setup program",
       .about = "Asked for with `--install_ibmmpi`. Its first line is shown in a box, in which a "
                "zero byte ends the text.",
       .of = {[] { given_release("ibmmpi"); }, "--r1.2.3 --install_ibmmpi"},
       .waits = waits_for::its_answer,
       .key = "setup.exe",
       .command = setup_command,
       .tool = mpi_folder("1.2.3", "ibmmpi") + "\\sbin\\setup.exe",
       .answer = "Setup h|as ended.\r\n",
       .rules = {{.when = no_file, .boxes = {{"Zephon", setup + ": File does not exist!"}}},
                 {.when = {fault::no_program},
                  .boxes = {{"Zephon", "{first line}"}, check_services}},
                 {.when = silent, .boxes = {check_services}},
                 {.when = cut, .boxes = {{"Zephon", "Setup h"}, check_services}},
                 {.when = {fault::ten_megabytes},
                  .boxes = {{"Zephon", "{first line}"}, check_services}},
                 {.when = {fault::all_bytes}, .boxes = {{"Zephon", ""}, check_services}},
                 {.when = answered, .boxes = {{"Zephon", "Setup has ended.\n"}, check_services}}}},
      // ---- Intel MPI and MPICH2 -----------------------------------------------------------------
      {.name = "SmpdStatus",
       .heading = "`smpd -status`: is the service there?",
       .about = "Intel MPI and MPICH2, with a host file. Only a first line that begins with `no "
                "smpd` has the service started; anything else counts as running.",
       .of = intel_world,
       .waits = waits_for::its_answer,
       .shown = shows::first_line,
       .key = "-status",
       .command = intel_tools + "smpd.exe -status",
       .tool = "local\\zephon1.2.3\\netweave\\mpi\\win64\\intel\\bin\\smpd.exe",
       .answer = "smpd runn|ing on ALPHA\r\n",
       .before = smpd_checked,
       .others = {{"-validate", says("SUCCESS\r\n")}},
       .rules = {{.when = all_faults, .then = {validate_step, launch}}}},
      {.name = "SmpdService",
       .heading = "`smpd -d 0`: the service itself",
       .about = "Started when it does not run. It gets none of the launcher's handles, and nobody "
                "waits.",
       .of = intel_world,
       .way = start_way::detached,
       .key = "-d 0",
       .tool = "local\\zephon1.2.3\\netweave\\mpi\\win64\\intel\\bin\\smpd.exe",
       .answer = "smpd i|s up\r\n",
       .before = smpd_checked + " no smpd runs\n",
       .others = {{"-status", says("no smpd runs\r\n")}, {"-validate", says("SUCCESS\r\n")}},
       .starts_before = 1,
       .rules = {{.when = started,
                  .then = {validate_step, launch},
                  .after = "\nSuccessfully started the SMPD for INTEL MPI!\n"}}},
      {.name = "MpiexecValidate",
       .heading = "`mpiexec -validate`: is the password valid?",
       .about = "Intel MPI and MPICH2. Only a first line that begins with `FAIL` or `Unable`, or "
                "holds `failure`, is a No.",
       .of = intel_world,
       .waits = waits_for::its_answer,
       .key = "-validate",
       .command = intel_tools + "mpiexec.exe -validate",
       .tool = "local\\zephon1.2.3\\netweave\\mpi\\win64\\intel\\bin\\mpiexec.exe",
       .answer = "SUCC|ESS\r\n",
       .before = smpd_runs,
       .others = {smpd_runs_answer},
       .starts_before = 1,
       .rules = {{.when = all_faults, .then = {launch}}}},
      {.name = "MpiexecRegister",
       .heading = "`mpiexec -register`: the password is asked for",
       .about = "Run in the console after a No; then the password is checked again.",
       .of = intel_world,
       .way = start_way::console,
       .key = "-register",
       .tool = "local\\zephon1.2.3\\netweave\\mpi\\win64\\intel\\bin\\mpiexec.exe",
       .answer = "accou|nt (domain\\user): ",
       .before = smpd_runs,
       .others = {smpd_runs_answer,
                  {"-validate", "times 1\n" + says("FAIL\r\n")},
                  {"-validate", says("SUCCESS\r\n")}},
       .starts_before = 2,
       .rules = {{.when = started,
                  .then = {validate_step, launch},
                  .after = "\nUser password encrypted into the Registry.\n"}}},
      {.name = "SmpdVersion",
       .heading = "`smpd -version`: which MPICH2 is it?",
       .about = "With a user's own `MPICH2_HOME`. For the user's eyes only.",
       .of = {given_mpich2, "--mpi=mpich2 --np=4 solver"},
       .shown = shows::everything,
       .key = "-version",
       .command = "..\\mpich2\\bin\\smpd.exe -version",
       .tool = "mpich2\\bin\\smpd.exe",
       .answer = "1.4.|1p1\r\n",
       .before = user_defined("MPICH2_HOME=..\\mpich2\n*** Make sure the same MPICH2 version is "
                              "installed on all the used machines!"),
       .rules = {{.when = all_faults + faults{fault::refused}, .then = {launch}, .after = "\n"}}},
      // ---- Platform MPI -------------------------------------------------------------------------
      {.name = "MpirunPwcheck",
       .heading = "`mpirun -pwcheck`: is the password cached?",
       .about = "Platform MPI, with a host file. Only a first line with `Cached password is valid` "
                "is a Yes. After a No it is asked for once, then with a question, which is "
                "answered with No here.",
       .of = platform_mpi_on_hosts,
       .waits = waits_for::its_answer,
       .key = "-pwcheck",
       .command = platform_tool + " -pwcheck",
       .tool = mpi_folder("1.2.3", "ibmmpi") + "\\bin\\mpirun.exe",
       .answer = "Cached password is v|alid\r\n",
       .before = mpi_root,
       .rules = {{.when = answered, .then = {launch}},
                 {.when = no_file, .after = skipped, .boxes = skipping},  // and none to ask for it
                 {.when = {fault::no_program},
                  .after = skipped,
                  .errors = complaint_of(platform_tool + " -cache cmd.exe /c ver"),
                  .boxes = skipping},
                 {.when = silent + cut + late,
                  .then = {cache_step, pwcheck_step},
                  .after = skipped,
                  .boxes = skipping}}},
      {.name = "MpirunCache",
       .heading = "`mpirun -cache`: the password is asked for",
       .about = "Run in the console after a No; then the password is checked again. Without the "
                "file it is not run.",
       .of = platform_mpi_on_hosts,
       .way = start_way::console,
       .key = "-cache",
       .tool = mpi_folder("1.2.3", "ibmmpi") + "\\bin\\mpirun.exe",
       .answer = "Passw|ord for MPI runs: ",
       .before = mpi_root,
       .others = {{"-pwcheck", "times 1\n"}, {"-pwcheck", says("Cached password is valid\r\n")}},
       .starts_before = 1,
       .rules = {{.when = started, .then = {pwcheck_step, launch}}}},
      {.name = "PlatformMpiJobNew",
       .heading = "`job new`: Platform MPI's job",
       .about = "On a cluster, when there is no job yet. Without a number there is nothing to do.",
       .of = platform_mpi_on_cluster,
       .shown = shows::everything,
       .key = "job new",
       .command = platform_new,
       .answer = "Created job, I|D: 0\r\n",
       .before = mpi_root,
       .rules = {{.when = late + answered, .then = {add_step, submit_step}},
                 {.when = no_tool + silent + cut}}},
      {.name = "PlatformMpiJobAdd",
       .heading = "`job add`: Platform MPI's task",
       .about = "For the user's eyes only.",
       .of = platform_mpi_on_cluster,
       .shown = shows::everything,
       .key = "job add",
       .command = platform_add,
       .answer = "Task 0|.1 added.\r\n",
       .before = mpi_root + created_0,
       .others = {job_0_answer},
       .starts_before = 1,
       .rules = {{.when = started, .then = {submit_step}}}},
      {.name = "PlatformMpiJobSubmit",
       .heading = "`job submit /id:`: Platform MPI's job is handed in",
       .about = "For the user's eyes only.",
       .of = platform_mpi_on_cluster,
       .shown = shows::everything,
       .key = "job submit",
       .command = platform_submit,
       .answer = "Job has b|een submitted. ID: 0.\r\n",
       .before = mpi_root + created_0 + "Task 0.1 added.\n",
       .others = {job_0_answer, {"job add", says("Task 0.1 added.\r\n")}},
       .starts_before = 2,
       .rules = {{.when = started}}},
      // ---- MS-MPI -------------------------------------------------------------------------------
      {.name = "ClusterSettings",
       .heading = "`cluscfg listenvs`: the cluster's settings",
       .about = "MS-MPI on a cluster. Only a setting that is known to be harmful has a warning.",
       .of = {given_msmpi_in_job_5, msmpi_arguments},
       .key = "listenvs",
       .command = "cluscfg listenvs /scheduler:head",
       .tool = "cluscfg.exe",
       .answer = "MPICH_SOCKET_SBUFFER_SIZE=|0\r\n",
       .rules = {{.when = late + answered, .then = {launch}, .after = small_buffer},
                 {.when = no_tool + silent + cut, .then = {launch}}}},
      {.name = "JobViewForMachineFile",
       .heading = "`job view`: the nodes for the machine file",
       .about = "MS-MPI in a job, two processes a node, with `--ptrace`, which shows what is read. "
                "The file is emptied before the nodes are known. A node's name that is cut short "
                "is taken as it is.",
       .of = {given_msmpi_on_nodes_of_job_5, "--ptrace " + msmpi_arguments},
       .waits = waits_for::its_answer,
       .shown = shows::everything,
       .key = "job view",
       .command = "job view 5 /scheduler:head",
       .answer = "State : Running\r\nAllocatedNodes : alpha be|ta\r\n",
       .others = {{"listenvs", ""}},
       .starts_before = 1,
       .machine_file = "hosts",
       .rules = {{.when = late + answered,
                  .then = {"machine file: alpha alpha beta beta", launch},
                  .after = machine_file_told},
                 {.when = cut,
                  .then = {"machine file: alpha alpha be be", launch},
                  .after = machine_file_told},
                 {.when = no_tool + silent, .then = {emptied, launch}}}},
      {.name = "MsmpiJobSubmit",
       .heading = "`job submit ... mpiexec`: MS-MPI's job is handed in",
       .about = "Watched until it says `submitted` or `Cannot connect`, or ends. When it has done "
                "neither after `CCP_JOB_SUBMIT_WAIT_TIME` (60 seconds; one second here), it is "
                "ended and the command is run once more, in the console.",
       .of = msmpi_on_cluster,
       .waits = waits_for::one_second,
       .shown = shows::everything,
       .key = "job submit",
       .command = msmpi_submit,
       .answer = "Job has been sub|mitted. ID: 0.\r\n",
       .earlier = {{"-ccp_job", ""}},
       .others = {{"listenvs", ""}},
       .starts_before = 1,
       .rules = {{.when = {fault::hangs}, .then = {"the same in the console"}, .errors = awaited},
                 {.when = no_tool + faults{fault::dies_silently} + cut + late + answered,
                  .errors = awaited}}},
      {.name = "MsmpiJobSubmitAgain",
       .heading = "`job submit ... mpiexec` once more, in the console",
       .about = "After the time limit. The launcher waits for its end and looks at nothing.",
       .of = {given_msmpi_that_is_not_answered, msmpi_arguments},
       .way = start_way::console,
       .key = "-ccp_job",
       .answer = "Enter the pass|word for 'jdoe': ",
       .before = "\nCCP_JOB_SUBMIT_WAIT_TIME = 0\n",
       .others = {{"job submit", marked("wait_file", "never")}},
       .starts_before = 2,
       .rules = {{.when = started, .errors = awaited}}},
      {.name = "MsmpiInsideAJob",
       .heading = "`mpiexec` of MS-MPI inside a job",
       .about = "Started in the console by the launcher that the scheduler has started.",
       .of = {given_msmpi_inside_a_job, msmpi_arguments},
       .way = start_way::console,
       .key = "mpiexec",
       .command = "..\\ms\\bin\\mpiexec.exe   -hosts %CCP_NODES%  -env PATH "
                  "\"..\\inc\\ntbin\\win64;..\\prod\\netweave\\mpi_wrapper\\win64\\msmpi\"  -env "
                  "CCP_CLUSTER_NAME -1  -env ZEPHON_PROD_DIR \"..\\prod\"  solver",
       .tool = "ms\\bin\\mpiexec.exe",
       .answer = "residual 1|e-3\r\n",
       .rules = {{.when = all_faults}}},
      // ---- The launch ---------------------------------------------------------------------------
      {.name = "Launch",
       .heading = "The launch: a sibling program, or with `-wait`",
       .about = "The program has the launcher's own output; all that it writes arrives as it is.",
       .of = {given_sibling, "--mpi=net ..\\solver.exe"},
       .way = start_way::direct,
       .waits = waits_for::its_end,
       .key = "solver.exe",
       .tool = "solver.exe",
       .answer = "residual 1|e-3\r\n",
       .rules = rules_of_launch("lumis")},
      {.name = "LaunchWithoutAWait",
       .heading = "The launch: the solver",
       .about = "The same, but the launcher ends at once.",
       .of = {given_solver_alone, "--mpi=net ..\\solver.exe"},
       .way = start_way::direct,
       .waits = waits_for::nothing,
       .key = "solver.exe",
       .tool = "solver.exe",
       .answer = "residual 1|e-3\r\n",
       .rules = rules_of_launch("zephon")},
      // ---- The end of a job ---------------------------------------------------------------------
      {.name = "JobViewForState",
       .heading = "`job view`: the state of the job",
       .about = "Asked for each state, every second, until the job has ended; the first answer has "
                "the fault. What names no state is not counted, so a lost answer changes nothing.",
       .of = msmpi_on_cluster,
       .key = "job view",
       .command = "job view 7 /scheduler:head",
       .answer = "State : Fin|ished\r\n",
       .before = "Job has been submitted. ID: 7.\n",
       .others = {{"job submit", says("Job has been submitted. ID: 7.\r\n")},
                  {"job view", says("State : Finished\r\n")}},
       .starts_before = 2,
       .once = true,
       .rules = {{.when = started,
                  .then = {view_step},
                  .after = "Job 7 is Finished.\n",
                  .errors = awaited}}},
      {.name = "JobModify",
       .heading = "`job modify`: the job is released",
       .about = "The last command of a run in a job that was made for it. Its output is dropped.",
       .of = {given_job_exit_command, "..\\solver.exe"},
       .key = "job modify",
       .command = "job modify 5",
       .answer = "Job 5 m|odified.\r\n",
       .starts_before = 1,
       .rules = {{.when = all_faults}}},
  };
}

// A call with what its world and its way say, and without the marks of the table.
program_call completed(program_call call) {
  const bool in_console = call.way == start_way::console;
  if (in_console || call.way == start_way::direct) {
    call.shown = shows::everything;
  }
  if (in_console || call.way == start_way::dropped) {
    call.waits = waits_for::its_end;
  } else if (call.way == start_way::detached) {
    call.waits = waits_for::nothing;
  }
  const auto bar = call.answer.find('|');
  call.half = call.answer.substr(0, bar);
  call.answer.erase(bar, 1);
  return call;
}

}  // namespace

std::string complaint_of(const std::string &command) {
  return complaint_mark + command + "}";
}

const std::vector<program_call> &program_calls() {
  static const std::vector<program_call> calls = [] {
    std::vector<program_call> all;
    for (const auto &row : table()) {
      all.push_back(completed(row));
    }
    return all;
  }();
  return calls;
}

}  // namespace scenario
