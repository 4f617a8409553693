// mpi_bridge.cpp: stands at the place of an MPI for Windows and runs the ranks
// with MPICH on the Unix side of Wine.
//
// Copies of it are the mpiexec.exe, mpirun.exe and smpd.exe of the MPIs in a
// release. Which MPI it plays is the name of the folder above its own:
//
//   ...\mpi\win64\intel\bin\mpiexec.exe   plays Intel MPI
//
// The others are mpich, ms, mpich2 and ibmmpi. As that MPI it reads its command line
// and host file, so that a switch which the real one would refuse fails here too.
// All hosts are this machine.
//
// MPI_BRIDGE_LOG names a file that gets each command line as it was given.
#include <algorithm>
#include <cstdlib>
#include <string>

#include "command_reader.h"
#include "mpi_rules.h"
#include "process_manager.h"
#include "unix_launch.h"
#include "windows_side.h"

namespace {

using namespace mpi_bridge;

constexpr int exit_bridge_fault = 255;

// What this copy of the bridge stands for.
struct role {
  std::string mpi;           // mpich, ms, intel, mpich2 or ibmmpi
  std::string program;       // mpiexec, mpirun or smpd
  std::string folder;        // where it lies
  std::string installation;  // the MPI's folder, above that
};

std::string last_part(const std::string &path) {
  return path.substr(path.find_last_of("\\/") + 1);
}
std::string without_last_part(const std::string &path) {
  return path.substr(0, path.find_last_of("\\/"));
}

role find_role() {
  role result;
  const std::string file = own_file_name();
  const std::string name = lower_case(last_part(file));
  result.program = name.substr(0, name.find('.'));
  result.folder = without_last_part(file);
  result.installation = without_last_part(result.folder);
  result.mpi = last_part(result.installation);
  return result;
}

std::string service_name(const role &part) {
  return part.mpi + "_smpd";
}
std::string credentials_file(const role &part) {
  return part.installation + "\\credentials.txt";
}

// Who starts ranks or checks a password may do so right after the service was
// started, and the real one answers by then.
bool needs_service(const role &part, const text_list &words) {
  return is_one_of(part.mpi, {"intel", "mpich2"}) && part.program != "smpd" &&
         std::find(words.begin(), words.end(), "-localonly") == words.end();
}

surroundings look_around(const role &part, const text_list &words) {
  surroundings around;
  around.variable = environment_variable;
  around.file_text = read_file;
  around.answer_of = answer_of_command;
  around.computer = computer_name();
  around.account = around.computer + "\\" + environment_variable("USERNAME").value_or("unknown");
  around.service_running = needs_service(part, words) ? service_comes_up(service_name(part))
                                                      : service_runs(service_name(part));
  around.credentials_stored = read_file(credentials_file(part)).has_value();
  return around;
}

// Asks for the password as the MPIs do; the account is the user's own. What was
// typed is not kept, only that there was something.
bool ask_credentials(const role &part, const surroundings &around) {
  write_output("account (domain\\user) [" + around.account + "]: password: ");
  const auto password = read_input_line();
  write_output("\n");
  return password && !password->empty() &&
         write_file(credentials_file(part), around.account + "\n");
}

int run_with_credentials(const role &part, const surroundings &around, const text_list &program) {
  if (!ask_credentials(part, around)) {
    write_error("mpirun: no password was given\n");
    return 1;
  }
  std::string command;
  for (const std::string &word : program) {
    command += (command.empty() ? "" : " ") + word;
  }
  return run_command(command);
}

// Does what belongs to an answer, and gives it.
int give_answer(const manager_answer &answer, const role &part, const surroundings &around) {
  std::string output = answer.output;
  if (answer.action == manager_action::run_program) {
    return run_with_credentials(part, around, answer.program);
  }
  if (answer.action == manager_action::ask_credentials && !ask_credentials(part, around)) {
    output = "Error: Unable to save encrypted password.\n";
  } else if (answer.action == manager_action::start_service &&
             !start_service(service_name(part), "\"" + part.folder + "\\smpd.exe\" -d 0")) {
    output.replace(output.rfind('.'), 1, ", but failed to start:");
  }
  write_output(output);
  if (answer.action == manager_action::run_service) {
    run_service(service_name(part));
  }
  return answer.exit_code;
}

reading read_line(const role &part, const text_list &words, const surroundings &around) {
  if (part.mpi == "ms") {
    return read_msmpi_line(words, around);
  }
  if (part.mpi == "intel") {
    return read_intel_line(words, around);
  }
  if (part.mpi == "mpich2") {
    return read_mpich2_line(words, around);
  }
  return read_platform_mpi_line(words, around);
}

// The exit code that each MPI makes of its ranks' codes, and what it says about
// them; `code` is the starter's own.
int conclude_run(const role &part, const std::string &folder, int code) {
  const auto failed = failed_ranks(read_file(folder + "\\ranks").value_or(""));
  if (failed.empty() || part.mpi == "ibmmpi") {
    return code;
  }
  if (part.mpi == "ms") {
    write_output("\njob aborted:\n[ranks] message\n\n");
    for (const failed_rank &one : failed) {
      write_output("[" + std::to_string(one.rank) + "] process exited with code " +
                   std::to_string(one.code) + "\n");
    }
    write_output("\n---- error analysis -----\n\n");
    return failed.front().code;
  }
  write_output("\njob aborted:\nrank: node: exit code[: error message]\n");
  for (const failed_rank &one : failed) {
    write_output(std::to_string(one.rank) + ": " + computer_name() + ": " +
                 std::to_string(one.code) + "\n");
  }
  return failed.back().code;
}

int start_ranks(const role &part, const text_list &words, const surroundings &around) {
  const std::string folder = make_run_folder();
  const std::string unix_folder = unix_name(folder);
  text_list starter;
  if (part.mpi == "mpich") {
    starter = starter_words(words, unix_name);
  } else {
    const reading line = read_line(part, words, around);
    write_output(line.output);
    write_error(line.error);
    if (line.exit_code) {
      remove_run_folder(folder);
      return *line.exit_code;
    }
    const std::string directory = line.request.working_directory.empty()
                                      ? current_directory()
                                      : line.request.working_directory;
    starter =
        starter_words(line.request, unix_folder + "/rank.sh", unix_folder + "/hosts", unix_name);
    write_file(folder + "\\hosts", starter_hosts(line.request));
    write_file(folder + "\\rank.sh", rank_script(unix_folder, unix_name(directory)));
  }
  if (!write_file(folder + "\\run.sh",
                  starter_script(starter, unix_folder, unix_name(current_directory())))) {
    write_error("mpi_bridge: cannot write to " + folder + "\n");
    return exit_bridge_fault;
  }
  const int code = run_unix_script(folder);
  const int result = conclude_run(part, folder, code);
  remove_run_folder(folder);
  return result;
}

int play(const role &part, const text_list &words) {
  if (!is_one_of(part.mpi, {"mpich", "ms", "intel", "mpich2", "ibmmpi"})) {
    write_error("mpi_bridge: the folder above bin names no MPI: " + part.installation + "\n");
    return exit_bridge_fault;
  }
  const surroundings around = look_around(part, words);
  if (part.program == "smpd") {
    return give_answer(answer_smpd(words, around), part, around);
  }
  std::optional<manager_answer> answer;
  if (part.mpi == "mpich2" || part.mpi == "intel") {
    answer = answer_mpich2_starter(words, around);
  } else if (part.mpi == "ibmmpi") {
    answer = answer_platform_mpi_starter(words, around);
  }
  return answer ? give_answer(*answer, part, around) : start_ranks(part, words, around);
}

}  // namespace

int main(int argument_count, char **arguments) {
  const auto log = environment_variable("MPI_BRIDGE_LOG");
  if (log) {
    append_to_file(*log, own_command_line() + "\n");
  }
  return play(find_role(), text_list(arguments + 1, arguments + argument_count));
}
