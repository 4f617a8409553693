// expected_arguments.cpp: which arguments belong to the solver.
#include "expected_arguments.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace fuzz {

namespace {

constexpr std::array<std::string_view, 7> whole_words = {
    "--debugmpi", "--node", "--host", "--ptrace", "-wait", "--install_ibmmpi", "--cache_password"};
constexpr std::array<std::string_view, 6> words_with_a_value = {
    "--cx", "--o", "--ccp", "--cwd", "--install_smpd", "--start_smpd"};
constexpr std::array<std::string_view, 14> beginnings = {
    "--cnf=",      "--host_ip=", "--path=",        "--R",      "--r",           "--prod_verdir=",
    "--pathnode=", "--ic=",      "--np_per_node=", "--jobid=", "--cred_check=", "--mpi=",
    "--np=",       "--unit="};

template <typename list>
bool is_one_of(const list &words, const std::string &argument) {
  return std::find(words.begin(), words.end(), argument) != words.end();
}

bool begins_with_an_option(const std::string &argument) {
  return std::any_of(beginnings.begin(), beginnings.end(),
                     [&](std::string_view beginning) { return argument.starts_with(beginning); });
}

}  // namespace

std::vector<std::string> arguments_for_solver(const std::vector<std::string> &arguments) {
  std::vector<std::string> rest;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string &argument = arguments[i];
    if (!argument.starts_with('-')) {
      rest.push_back(argument);
    } else if (is_one_of(words_with_a_value, argument)) {
      ++i;
    } else if (!is_one_of(whole_words, argument) && !begins_with_an_option(argument)) {
      rest.push_back(argument);
    }
  }
  return rest;
}

std::string expected_solver_line(const std::vector<std::string> &arguments) {
  std::string line;
  for (const std::string &argument : arguments_for_solver(arguments)) {
    const bool has_blank = argument.find(' ') != std::string::npos;
    line += has_blank ? " \"" + argument + "\"" : " " + argument;
  }
  return line;
}

}  // namespace fuzz
