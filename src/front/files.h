// files.h: the user's files, looked at before a run.
#pragma once

#include <string>
#include <vector>

// Whether the file is missing, empty, or one of ours: its beginning holds this text.
bool may_be_overwritten(const std::string &path, const std::string &mark);

// What an MPI would misread in a host file, one line each with its cure; unknown hosts
// too. Empty: nothing.
std::vector<std::string> faults_of_host_file(const std::string &path, const std::string &mpi);
