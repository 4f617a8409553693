// fault_calls.cpp: the calls of other programs, each with its world and its rules.
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
const faults all_but_interpreter = no_tool + started;
const faults no_interpreter = {fault::no_interpreter};
const faults all_faults = no_interpreter + all_but_interpreter;

const std::string launch = "the launch";

std::string marked(const std::string &verb, const std::string &mark) {
  return verb + " {world}\\" + mark + "\n";
}

std::string says(const std::string &text) {
  return "out " + escape(text) + "\n";
}

// What the launcher says of a command whose interpreter cannot be started.
std::string not_run(const std::string &command) {
  return "\nerror : cmd = " + command + "\n\nError in execute command " + command + "\n";
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

const std::string intel_arguments = "--r1.2.3 --mpi=intel --np=4 solver";
const std::string platform_arguments = "--r1.2.3 --mpi=ibmmpi --np=4 solver";
const std::string msmpi_arguments = "--mpi=msmpi --np=4 solver";
const std::string new_job_arguments = "--mpi=net --np=4 --jobid=-1 ..\\solver.exe";

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

// ---- The phase of the options and of the job ----------------------------------------------

program_call credential_check() {
  program_call call;
  call.name = "CredentialCheck";
  call.heading = "`job submit ... cmd.exe /C ver`: the scheduler's password";
  call.about = "Run in the console before a job is made, so that `job` can ask there.";
  call.way = start_way::console;
  call.waits = waits_for::its_end;
  call.shown = shows::everything;
  call.key = "Credential Check";
  call.tool = "work\\job.exe";
  call.answer = "Enter the password for 'jdoe': ";
  call.half = "Enter the pass";
  call.given = given_msmpi_that_asks_for_the_password;
  call.arguments = msmpi_arguments;
  call.others = {{"job submit", says("Job has been submitted. ID: 0.\r\n")}};
  call.starts_before = 1;  // cluscfg
  call.rules = {{all_faults, {submit_step}, "Job has been submitted. ID: 0.\n", awaited}};
  return call;
}

program_call job_new() {
  program_call call;
  call.name = "JobNew";
  call.heading = "`job new`: a job for the run";
  call.about = "Asked for with a negative job number (`--jobid=-1`). All of its output is read.";
  call.shown = shows::everything;
  call.key = "job new";
  call.command = new_job;
  call.tool = "work\\job.exe";
  call.answer = "Created job, ID: 7\r\n";
  call.half = "Created job, I";
  call.given = given_new_job;
  call.arguments = new_job_arguments;
  call.others = {{"job submit", ""},
                 {"job view", marked("wait_file", box_mark) + says("State : Running\r\n")}};
  call.rules = {
      {late + answered, {submit_step, view_step, launch}, ". done!\n", "", {}, 0, true},
      {no_tool + silent + cut, {launch}},
      {no_interpreter, {launch}, "", not_run(new_job)},
  };
  return call;
}

program_call job_submit_by_number() {
  program_call call;
  call.name = "JobSubmitByNumber";
  call.heading = "`job submit /id:`: the new job is handed in";
  call.about = "Its output is read to the end, and dropped.";
  call.key = "job submit";
  call.command = "job submit /scheduler:head /id:7";
  call.tool = "work\\job.exe";
  call.answer = "Job 7 has been submitted.\r\n";
  call.half = "Job 7 has b";
  call.given = given_new_job;
  call.arguments = new_job_arguments;
  call.before = created_7;
  call.others = {job_7_answer,
                 {"job view", marked("wait_file", box_mark) + says("State : Running\r\n")}};
  call.starts_before = 1;
  call.previous = "job new";
  call.rules = {
      {all_but_interpreter, {view_step, launch}, ". done!\n", "", {}, 0, true},
      {no_interpreter, {launch}, "", not_run(call.command)},
  };
  return call;
}

program_call job_view_for_nodes() {
  program_call call;
  call.name = "JobViewForNodes";
  call.heading = "`job view`: the wait for nodes";
  call.about =
      "Asked every half second until the job runs; the first answer has the fault. What shows no "
      "`Running` counts as not running, so it is asked again.";
  call.key = "job view";
  call.command = "job view 7 /scheduler:head";
  call.tool = "work\\job.exe";
  call.answer = "State : Running\r\n";
  call.half = "State : Runn";
  call.given = given_new_job;
  call.arguments = new_job_arguments;
  call.before = created_7;
  call.others = {job_7_answer, {"job submit", ""}, {"job view", says("State : Running\r\n")}};
  call.starts_before = 2;
  call.previous = "job submit";
  call.first_step = marked("wait_file", box_mark);
  call.once = true;
  call.rules = {
      {late + answered, {launch}, ". done!\n", "", {}, 0, true},
      {no_tool + silent + cut, {view_step, launch}, ".. done!\n", "", {}, 0, true},
      {no_interpreter, {view_step, launch}, ".. done!\n", not_run(call.command), {}, 0, true},
  };
  return call;
}

program_call job_cancel() {
  program_call call;
  call.name = "JobCancel";
  call.heading = "`job cancel`: the user gives up the wait";
  call.about = "Its standard output is read and dropped; its standard error goes to the user.";
  call.way = start_way::dropped;
  call.waits = waits_for::its_end;
  call.key = "job cancel";
  call.tool = "work\\job.exe";
  call.answer = "Job 7 has been cancelled.\r\n";
  call.half = "Job 7 has b";
  call.given = given_new_job;
  call.arguments = new_job_arguments;
  call.before = created_7 + ".";
  call.others = {job_7_answer,
                 {"job submit", ""},
                 {"job view", marked("wait_file", box_mark) + says("State : Queued\r\n")}};
  call.starts_before = 3;
  call.rules = {
      {all_faults,
       {},
       "\nCancelling job 7 ... done!\nPress Ctrl-C to stop after done!\n",
       "",
       {{"Zephon",
         "\nWaiting for the scheduler on head to allocate nodes for your job 7.\n"
         "If you want to cancel the job, you may press the \"Cancel\" button!\n"
         "If you want to close this message box, you may press the \"OK\" button!\n\n"
         "Otherwise, please wait ...",
         cancel_button},
        {"Zephon", "\nDo you want to cancel your submitted job 7 to the scheduler on head?",
         yes_button}},
       1},
  };
  return call;
}

// ---- Installers ---------------------------------------------------------------------------

expected_box installed(const std::string &last_line) {
  return {"Zephon",
          "\nMPICH2 SMPD Installation Successful:\n" + install_command + "\n" + last_line};
}

program_call smpd_install() {
  program_call call;
  call.name = "SmpdInstall";
  call.heading = "`smpd -install`: MPICH2's service";
  call.about =
      "Asked for with `--install_smpd`. Its last line is shown in a box; a line with `fail` or "
      "`error` makes it a failure, silence does not.";
  call.key = "-install";
  call.command = install_command;
  call.tool = "own\\bin\\smpd.exe";
  call.answer = "MPICH2 has been installed.\r\n";
  call.half = "MPICH2 has b";
  call.given = [] { given_release("stub"); };
  call.arguments = "--install_smpd ..\\own";
  call.rules = {
      {no_file,
       {},
       "",
       "",
       {{"zephon",
         "\nFile ..\\own\\bin\\smpd.exe does not exist!\n\n"
         "Please use one of the following two commands with full UNC path:\n\n"
         "1. To install the Zephon packaged MPICH2 SMPD, which has been tested and validated:\n"
         "..\\inc\\ntbin\\win64\\zephon -install_smpd 0\n\n"
         "2. To install your own version of MPICH2 SMPD on your own responsibility:\n"
         "..\\inc\\ntbin\\win64\\zephon -install_smpd MPICH2_HOME_DIRECTORY\n"}},
       1},
      {{fault::no_program}, {}, "", "", {installed("{last line}")}},
      {silent, {}, "", "", {installed("")}},
      {cut, {}, "", "", {installed("MPICH2 has b")}},
      {late + answered, {}, "", "", {installed("MPICH2 has been installed.\n")}},
      {no_interpreter,
       {},
       "",
       not_run(install_command),
       {{"zephon", "\nMPICH2 SMPD Installation Failed:\n" + install_command + "\n"}},
       1},
  };
  return call;
}

program_call platform_mpi_setup() {
  const expected_box check = {"Zephon",
                              "Check running services to see if Platform MPI is installed?"};
  program_call call;
  call.name = "PlatformMpiSetup";
  call.heading = "`setup.exe`: Platform MPI's setup program";
  call.about =
      "Asked for with `--install_ibmmpi`. Its first line is shown in a box, in which a zero byte "
      "ends the text.";
  call.key = "setup.exe";
  call.command = setup_command;
  call.tool = mpi_folder("1.2.3", "ibmmpi") + "\\sbin\\setup.exe";
  call.answer = "Setup has ended.\r\n";
  call.half = "Setup h";
  call.given = [] { given_release("ibmmpi"); };
  call.arguments = "--r1.2.3 --install_ibmmpi";
  call.rules = {
      {no_file, {}, "", "", {{"Zephon", setup + ": File does not exist!"}}},
      {{fault::no_program}, {}, "", "", {{"Zephon", "{first line}"}, check}},
      {silent, {}, "", "", {check}},
      {cut, {}, "", "", {{"Zephon", "Setup h"}, check}},
      {{fault::ten_megabytes}, {}, "", "", {{"Zephon", "{first line}"}, check}},
      {{fault::all_bytes}, {}, "", "", {{"Zephon", ""}, check}},
      {answered, {}, "", "", {{"Zephon", "Setup has ended.\n"}, check}},
      {no_interpreter,
       {},
       "",
       not_run(setup_command),
       {{"Zephon", setup_command + ": Failed to execute!"}}},
  };
  return call;
}

// ---- Intel MPI and MPICH2 -----------------------------------------------------------------

program_call smpd_status() {
  const std::string validate = not_run(intel_tools + "mpiexec.exe -validate");
  program_call call;
  call.name = "SmpdStatus";
  call.heading = "`smpd -status`: is the service there?";
  call.about =
      "Intel MPI and MPICH2, with a host file. Only a first line that begins with `no smpd` has "
      "the service started; anything else counts as running.";
  call.shown = shows::first_line;
  call.key = "-status";
  call.command = intel_tools + "smpd.exe -status";
  call.tool = "local\\zephon1.2.3\\netweave\\mpi\\win64\\intel\\bin\\smpd.exe";
  call.answer = "smpd running on ALPHA\r\n";
  call.half = "smpd runn";
  call.given = given_intel;
  call.arguments = intel_arguments;
  call.before = smpd_checked;
  call.others = {{"-validate", says("SUCCESS\r\n")}};
  call.rules = {
      {all_but_interpreter, {validate_step, launch}},
      // The check of the password behind it meets the same fault.
      {no_interpreter,
       {register_step},
       "",
       not_run(call.command) + validate + validate,
       {password_question("INTEL MPI")}},
  };
  return call;
}

program_call smpd_service() {
  const std::string service = intel_tools + "smpd.exe -d 0";
  program_call call;
  call.name = "SmpdService";
  call.heading = "`smpd -d 0`: the service itself";
  call.about =
      "Started when it does not run. It gets none of the launcher's handles, and nobody waits.";
  call.way = start_way::detached;
  call.waits = waits_for::nothing;
  call.key = "-d 0";
  call.tool = "local\\zephon1.2.3\\netweave\\mpi\\win64\\intel\\bin\\smpd.exe";
  call.answer = "smpd is up\r\n";
  call.half = "smpd i";
  call.given = given_intel;
  call.arguments = intel_arguments;
  call.before = smpd_checked + " no smpd runs\n";
  call.others = {{"-status", says("no smpd runs\r\n")}, {"-validate", says("SUCCESS\r\n")}};
  call.starts_before = 1;
  call.rules = {
      {no_tool + faults{fault::refused},
       {validate_step, launch},
       "\nFailed to start the SMPD for INTEL MPI [" + service + "]!\n"},
      {started, {validate_step, launch}, "\nSuccessfully started the SMPD for INTEL MPI!\n"},
  };
  return call;
}

program_call mpiexec_validate() {
  program_call call;
  call.name = "MpiexecValidate";
  call.heading = "`mpiexec -validate`: is the password valid?";
  call.about =
      "Intel MPI and MPICH2. Only a first line that begins with `FAIL` or `Unable`, or holds "
      "`failure`, is a No.";
  call.key = "-validate";
  call.command = intel_tools + "mpiexec.exe -validate";
  call.tool = "local\\zephon1.2.3\\netweave\\mpi\\win64\\intel\\bin\\mpiexec.exe";
  call.answer = "SUCCESS\r\n";
  call.half = "SUCC";
  call.given = given_intel;
  call.arguments = intel_arguments;
  call.before = smpd_runs;
  call.others = {smpd_runs_answer};
  call.starts_before = 1;
  call.previous = "-status";
  call.rules = {
      {all_but_interpreter, {launch}},
      {no_interpreter,
       {register_step},
       "",
       not_run(call.command) + not_run(call.command),
       {password_question("INTEL MPI")}},
  };
  return call;
}

program_call mpiexec_register() {
  program_call call;
  call.name = "MpiexecRegister";
  call.heading = "`mpiexec -register`: the password is asked for";
  call.about = "Run in the console after a No; then the password is checked again.";
  call.way = start_way::console;
  call.waits = waits_for::its_end;
  call.shown = shows::everything;
  call.key = "-register";
  call.tool = "local\\zephon1.2.3\\netweave\\mpi\\win64\\intel\\bin\\mpiexec.exe";
  call.answer = "account (domain\\user): ";
  call.half = "accou";
  call.given = given_intel;
  call.arguments = intel_arguments;
  call.before = smpd_runs;
  call.others = {smpd_runs_answer,
                 {"-validate", "times 1\n" + says("FAIL\r\n")},
                 {"-validate", says("SUCCESS\r\n")}};
  call.starts_before = 2;
  call.rules = {
      {all_faults, {validate_step, launch}, "\nUser password encrypted into the Registry.\n"}};
  return call;
}

program_call smpd_version() {
  program_call call;
  call.name = "SmpdVersion";
  call.heading = "`smpd -version`: which MPICH2 is it?";
  call.about = "With a user's own `MPICH2_HOME`. For the user's eyes only.";
  call.shown = shows::everything;
  call.key = "-version";
  call.command = "..\\mpich2\\bin\\smpd.exe -version";
  call.tool = "mpich2\\bin\\smpd.exe";
  call.answer = "1.4.1p1\r\n";
  call.half = "1.4.";
  call.given = given_mpich2;
  call.arguments = "--mpi=mpich2 --np=4 solver";
  call.before = user_defined(
      "MPICH2_HOME=..\\mpich2\n*** Make sure the same MPICH2 version is installed on all the used "
      "machines!");
  call.rules = {
      {all_but_interpreter + faults{fault::refused}, {launch}, "\n"},
      {no_interpreter, {launch}, "\n", not_run(call.command)},
  };
  return call;
}

// ---- Platform MPI -------------------------------------------------------------------------

program_call mpirun_pwcheck() {
  const std::string skipped = "\nUser chooses to skip password input, so launching stops!\n\n";
  const std::vector<expected_box> no = {password_question("Platform MPI")};
  program_call call;
  call.name = "MpirunPwcheck";
  call.heading = "`mpirun -pwcheck`: is the password cached?";
  call.about =
      "Platform MPI, with a host file. Only a first line with `Cached password is valid` is a "
      "Yes. After a No it is asked for once, then with a question, which is answered with No here.";
  call.key = "-pwcheck";
  call.command = platform_tool + " -pwcheck";
  call.tool = mpi_folder("1.2.3", "ibmmpi") + "\\bin\\mpirun.exe";
  call.answer = "Cached password is valid\r\n";
  call.half = "Cached password is v";
  call.given = given_platform_mpi_on_hosts;
  call.arguments = platform_arguments;
  call.before = mpi_root;
  call.rules = {
      {answered, {launch}},
      {no_file, {pwcheck_step}, skipped, "", no},  // and none to ask for it
      {faults{fault::no_program} + silent + cut + late,
       {cache_step, pwcheck_step},
       skipped,
       "",
       no},
      {no_interpreter, {cache_step}, skipped, not_run(call.command) + not_run(call.command), no},
  };
  return call;
}

program_call mpirun_cache() {
  program_call call;
  call.name = "MpirunCache";
  call.heading = "`mpirun -cache`: the password is asked for";
  call.about =
      "Run in the console after a No; then the password is checked again. Without the file it is "
      "not run.";
  call.way = start_way::console;
  call.waits = waits_for::its_end;
  call.shown = shows::everything;
  call.key = "-cache";
  call.tool = mpi_folder("1.2.3", "ibmmpi") + "\\bin\\mpirun.exe";
  call.answer = "Password for MPI runs: ";
  call.half = "Passw";
  call.given = given_platform_mpi_on_hosts;
  call.arguments = platform_arguments;
  call.before = mpi_root;
  call.others = {{"-pwcheck", "times 1\n"}, {"-pwcheck", says("Cached password is valid\r\n")}};
  call.starts_before = 1;
  call.rules = {{all_faults + faults{fault::refused}, {pwcheck_step, launch}}};
  return call;
}

program_call platform_mpi_new() {
  program_call call;
  call.name = "PlatformMpiJobNew";
  call.heading = "`job new`: Platform MPI's job";
  call.about = "On a cluster, when there is no job yet. Without a number there is nothing to do.";
  call.shown = shows::everything;
  call.key = "job new";
  call.command = platform_new;
  call.tool = "work\\job.exe";
  call.answer = "Created job, ID: 0\r\n";  // job 0 is not watched, which spares the seconds
  call.half = "Created job, I";
  call.given = given_platform_mpi_on_cluster;
  call.arguments = platform_arguments;
  call.before = mpi_root;
  call.rules = {
      {late + answered, {add_step, submit_step}},
      {no_tool + silent + cut, {}},
      {no_interpreter, {}, "", not_run(platform_new)},
  };
  return call;
}

program_call platform_mpi_add() {
  program_call call;
  call.name = "PlatformMpiJobAdd";
  call.heading = "`job add`: Platform MPI's task";
  call.about = "For the user's eyes only.";
  call.shown = shows::everything;
  call.key = "job add";
  call.command = platform_add;
  call.tool = "work\\job.exe";
  call.answer = "Task 0.1 added.\r\n";
  call.half = "Task 0";
  call.given = given_platform_mpi_on_cluster;
  call.arguments = platform_arguments;
  call.before = mpi_root + created_0;
  call.others = {job_0_answer};
  call.starts_before = 1;
  call.previous = "job new";
  call.rules = {
      {all_but_interpreter, {submit_step}},
      {no_interpreter, {}, "", not_run(platform_add) + not_run(platform_submit)},
  };
  return call;
}

program_call platform_mpi_submit() {
  program_call call;
  call.name = "PlatformMpiJobSubmit";
  call.heading = "`job submit /id:`: Platform MPI's job is handed in";
  call.about = "For the user's eyes only.";
  call.shown = shows::everything;
  call.key = "job submit";
  call.command = platform_submit;
  call.tool = "work\\job.exe";
  call.answer = "Job has been submitted. ID: 0.\r\n";
  call.half = "Job has b";
  call.given = given_platform_mpi_on_cluster;
  call.arguments = platform_arguments;
  call.before = mpi_root + created_0 + "Task 0.1 added.\n";
  call.others = {job_0_answer, {"job add", says("Task 0.1 added.\r\n")}};
  call.starts_before = 2;
  call.previous = "job add";
  call.rules = {
      {all_but_interpreter, {}},
      {no_interpreter, {}, "", not_run(platform_submit)},
  };
  return call;
}

// ---- MS-MPI -------------------------------------------------------------------------------

program_call cluster_settings() {
  program_call call;
  call.name = "ClusterSettings";
  call.heading = "`cluscfg listenvs`: the cluster's settings";
  call.about = "MS-MPI on a cluster. Only a setting that is known to be harmful has a warning.";
  call.key = "listenvs";
  call.command = "cluscfg listenvs /scheduler:head";
  call.tool = "work\\cluscfg.exe";
  call.answer = "MPICH_SOCKET_SBUFFER_SIZE=0\r\n";
  call.half = "MPICH_SOCKET_SBUFFER_SIZE=";
  call.given = given_msmpi_in_job_5;
  call.arguments = msmpi_arguments;
  call.rules = {
      {late + answered, {launch}, small_buffer},
      {no_tool + silent + cut, {launch}},
      {no_interpreter, {launch}, "", not_run(call.command)},
  };
  return call;
}

program_call job_view_for_machine_file() {
  const std::string none = "machine file: empty";
  const std::string written = "\nmachinefile ..\\hosts\n";
  program_call call;
  call.name = "JobViewForMachineFile";
  call.heading = "`job view`: the nodes for the machine file";
  call.about =
      "MS-MPI in a job, two processes a node, with `--ptrace`, which shows what is read. The file "
      "is emptied before the nodes are known. A node's name that is cut short is taken as it is.";
  call.shown = shows::everything;
  call.key = "job view";
  call.command = "job view 5 /scheduler:head";
  call.tool = "work\\job.exe";
  call.answer = "State : Running\r\nAllocatedNodes : alpha beta\r\n";
  call.half = "State : Running\r\nAllocatedNodes : alpha be";
  call.given = given_msmpi_on_nodes_of_job_5;
  call.arguments = "--ptrace " + msmpi_arguments;
  call.starts_before = 1;
  call.others = {{"listenvs", ""}};
  call.previous = "listenvs";
  call.machine_file = "hosts";
  call.rules = {
      {late + answered, {"machine file: alpha alpha beta beta", launch}, written},
      {cut, {"machine file: alpha alpha be be", launch}, written},
      {no_tool + silent, {none, launch}},
      {no_interpreter, {none, launch}, "", not_run(call.command)},
  };
  return call;
}

program_call msmpi_job_submit() {
  program_call call;
  call.name = "MsmpiJobSubmit";
  call.heading = "`job submit ... mpiexec`: MS-MPI's job is handed in";
  call.about =
      "Watched until it says `submitted` or `Cannot connect`, or ends. When it has done neither "
      "after `CCP_JOB_SUBMIT_WAIT_TIME` (60 seconds; one second here), it is ended and the command "
      "is run once more, in the console.";
  call.waits = waits_for::one_second;
  call.shown = shows::everything;
  call.key = "job submit";
  call.command = msmpi_submit;
  call.tool = "work\\job.exe";
  call.answer = "Job has been submitted. ID: 0.\r\n";
  call.half = "Job has been sub";
  call.given = given_msmpi_on_cluster;
  call.arguments = msmpi_arguments;
  call.earlier = {{"-ccp_job", ""}};
  call.starts_before = 1;
  call.others = {{"listenvs", ""}};
  call.previous = "listenvs";
  call.rules = {
      {{fault::hangs}, {"the same in the console"}, "", awaited},
      {no_tool + faults{fault::dies_silently} + cut + late + answered, {}, "", awaited},
      {no_interpreter,
       {},
       "",
       "\nerror : cmd = " + msmpi_submit + "\n\nError in run the job submit command!\n"},
  };
  return call;
}

program_call msmpi_job_submit_again() {
  program_call call;
  call.name = "MsmpiJobSubmitAgain";
  call.heading = "`job submit ... mpiexec` once more, in the console";
  call.about = "After the time limit. The launcher waits for its end and looks at nothing.";
  call.way = start_way::console;
  call.waits = waits_for::its_end;
  call.shown = shows::everything;
  call.key = "-ccp_job";
  call.tool = "work\\job.exe";
  call.answer = "Enter the password for 'jdoe': ";
  call.half = "Enter the pass";
  call.given = given_msmpi_that_is_not_answered;
  call.arguments = msmpi_arguments;
  call.before = "\nCCP_JOB_SUBMIT_WAIT_TIME = 0\n";
  call.others = {{"job submit", marked("wait_file", "never")}};
  call.starts_before = 2;
  call.rules = {{all_faults, {}, "", awaited}};
  return call;
}

program_call msmpi_inside_a_job() {
  program_call call;
  call.name = "MsmpiInsideAJob";
  call.heading = "`mpiexec` of MS-MPI inside a job";
  call.about = "Started in the console by the launcher that the scheduler has started.";
  call.way = start_way::console;
  call.waits = waits_for::its_end;
  call.shown = shows::everything;
  call.key = "mpiexec";
  call.tool = "ms\\bin\\mpiexec.exe";
  call.answer = "residual 1e-3\r\n";
  call.half = "residual 1";
  call.given = given_msmpi_inside_a_job;
  call.arguments = msmpi_arguments;
  call.rules = {{all_faults, {}}};
  return call;
}

// ---- The end of a job ---------------------------------------------------------------------

program_call job_view_for_state() {
  program_call call;
  call.name = "JobViewForState";
  call.heading = "`job view`: the state of the job";
  call.about =
      "Asked for each state, every second, until the job has ended; the first answer has the "
      "fault. What names no state is not counted, so a lost answer changes nothing.";
  call.key = "job view";
  call.command = "job view 7 /scheduler:head";
  call.tool = "work\\job.exe";
  call.answer = "State : Finished\r\n";
  call.half = "State : Fin";
  call.given = given_msmpi_on_cluster;
  call.arguments = msmpi_arguments;
  call.before = "Job has been submitted. ID: 7.\n";
  call.others = {{"job submit", says("Job has been submitted. ID: 7.\r\n")},
                 {"job view", says("State : Finished\r\n")}};
  call.starts_before = 2;
  call.previous = "job submit";
  call.once = true;
  call.rules = {
      {all_but_interpreter, {view_step}, "Job 7 is Finished.\n", awaited},
      {no_interpreter, {view_step}, "Job 7 is Finished.\n", awaited + not_run(call.command)},
  };
  return call;
}

program_call job_modify() {
  program_call call;
  call.name = "JobModify";
  call.heading = "`job modify`: the job is released";
  call.about = "The last command of a run in a job that was made for it. Its output is dropped.";
  call.key = "job modify";
  call.command = "job modify 5";
  call.tool = "work\\job.exe";
  call.answer = "Job 5 modified.\r\n";
  call.half = "Job 5 m";
  call.given = given_job_exit_command;
  call.arguments = "..\\solver.exe";
  call.starts_before = 1;
  call.rules = {
      {all_but_interpreter, {}},
      {no_interpreter, {}, "", not_run(call.command)},
  };
  return call;
}

// ---- The launch ---------------------------------------------------------------------------

program_call launch_of(const std::string &name, const std::string &heading) {
  program_call call;
  call.name = name;
  call.heading = heading;
  call.way = start_way::direct;
  call.shown = shows::everything;
  call.key = "solver.exe";
  call.tool = "solver.exe";
  call.answer = "residual 1e-3\r\n";
  call.half = "residual 1";
  call.arguments = "--mpi=net ..\\solver.exe";
  return call;
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

program_call launch_that_is_waited_for() {
  program_call call = launch_of("Launch", "The launch: a sibling program, or with `-wait`");
  call.about = "The program has the launcher's own output; all that it writes arrives as it is.";
  call.waits = waits_for::its_end;
  call.given = given_sibling;
  call.rules = rules_of_launch("lumis");
  return call;
}

program_call launch_that_is_not_waited_for() {
  program_call call = launch_of("LaunchWithoutAWait", "The launch: the solver");
  call.about = "The same, but the launcher ends at once.";
  call.waits = waits_for::nothing;
  call.given = given_solver_alone;
  call.rules = rules_of_launch("zephon");
  return call;
}

}  // namespace

std::string name_of(fault one) {
  switch (one) {
    case fault::missing:
      return "is missing";
    case fault::no_program:
      return "is no program";
    case fault::refused:
      return "may not be opened";
    case fault::no_interpreter:
      return "`cmd.exe` cannot be started";
    case fault::hangs:
      return "hangs";
    case fault::dies_silently:
      return "dies before it says anything";
    case fault::dies_in_line:
      return "dies in the middle of a line";
    case fault::ten_megabytes:
      return "says 10 MB before its answer";
    case fault::all_bytes:
      return "says bytes 0 to 255 before its answer";
    case fault::exits_with_1:
      return "ends with 1";
    case fault::crashes:
      return "ends with 0xC0000005";
    case fault::closes_output:
      return "closes its output and lives on";
  }
  return "";
}

std::string test_name_of(fault one) {
  switch (one) {
    case fault::missing:
      return "IsMissing";
    case fault::no_program:
      return "IsNoProgram";
    case fault::refused:
      return "MayNotBeOpened";
    case fault::no_interpreter:
      return "HasNoInterpreter";
    case fault::hangs:
      return "Hangs";
    case fault::dies_silently:
      return "DiesSilently";
    case fault::dies_in_line:
      return "DiesInALine";
    case fault::ten_megabytes:
      return "Says10Megabytes";
    case fault::all_bytes:
      return "SaysAllBytes";
    case fault::exits_with_1:
      return "EndsWith1";
    case fault::crashes:
      return "Crashes";
    case fault::closes_output:
      return "ClosesItsOutput";
  }
  return "";
}

const std::vector<program_call> &program_calls() {
  static const std::vector<program_call> calls = {
      credential_check(),
      job_new(),
      job_submit_by_number(),
      job_view_for_nodes(),
      job_cancel(),
      smpd_install(),
      platform_mpi_setup(),
      smpd_status(),
      smpd_service(),
      mpiexec_validate(),
      mpiexec_register(),
      smpd_version(),
      mpirun_pwcheck(),
      mpirun_cache(),
      platform_mpi_new(),
      platform_mpi_add(),
      platform_mpi_submit(),
      cluster_settings(),
      job_view_for_machine_file(),
      msmpi_job_submit(),
      msmpi_job_submit_again(),
      msmpi_inside_a_job(),
      launch_that_is_waited_for(),
      launch_that_is_not_waited_for(),
      job_view_for_state(),
      job_modify(),
  };
  return calls;
}

}  // namespace scenario
