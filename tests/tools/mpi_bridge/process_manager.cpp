// process_manager.cpp: the services and passwords around the MPIs.
#include "process_manager.h"

#include "command_reader.h"

namespace mpi_bridge {

namespace {

manager_answer say(const std::string &text, manager_action action = manager_action::none) {
  manager_answer answer;
  answer.output = text + "\n";
  answer.action = action;
  return answer;
}

}  // namespace

manager_answer answer_smpd(const text_list &words, const surroundings &around) {
  command_reader line(words);
  const std::string word = line.take_value().value_or("");
  const std::string name = word.empty() ? "" : word.substr(1);
  if (name == "version") {
    return say("1.2.1p1");
  }
  if (name == "status") {
    const std::string host = line.take_value().value_or(around.computer);
    return say((around.service_running ? "smpd running on " : "no smpd running on ") + host);
  }
  if (name == "install") {
    return say("MPICH2 Process Manager, Argonne National Lab installed.",
               manager_action::start_service);
  }
  if (name == "d") {
    manager_answer answer;
    answer.action = manager_action::run_service;
    return answer;
  }
  manager_answer answer = say("Unknown option: " + word);
  answer.exit_code = exit_refused;
  return answer;
}

std::optional<manager_answer> answer_mpich2_starter(const text_list &words,
                                                    const surroundings &around) {
  const std::string word = words.empty() ? "" : words.front();
  if (word == "-register") {
    return say("Password encrypted into the Registry.", manager_action::ask_credentials);
  }
  if (word != "-validate") {
    return std::nullopt;
  }
  if (!around.credentials_stored) {
    return say("FAIL: Unable to read the credentials from the registry.");
  }
  if (!around.service_running) {
    manager_answer answer = say("unable to connect to the smpd, connection refused.");
    answer.exit_code = exit_refused;
    return answer;
  }
  return say("SUCCESS");
}

std::optional<manager_answer> answer_platform_mpi_starter(const text_list &words,
                                                          const surroundings &around) {
  const std::string word = words.empty() ? "" : words.front();
  if (word == "-pwcheck") {
    return say(around.credentials_stored ? "Cached password is valid" : "No cached password");
  }
  if (word != "-cache") {
    return std::nullopt;
  }
  manager_answer answer;
  answer.action = manager_action::run_program;
  answer.program.assign(words.begin() + 1, words.end());
  return answer;
}

}  // namespace mpi_bridge
