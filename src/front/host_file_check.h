// host_file_check.h: a host file as the chosen MPI will read it. Pure: works on the
// bytes of the file.
#pragma once

#include <string>
#include <vector>

struct host_file_fault {
  int line = 0;      // counted from 1; 0: the file as a whole
  std::string what;  // what is there
  std::string cure;
};

struct named_host {
  std::string name;
  int line = 0;  // where it stands first
};

struct host_file_reading {
  std::vector<named_host> hosts;  // each name once, in the order of the file
  std::vector<host_file_fault> faults;
};

// What an MPI ("msmpi", "intel", "ibmmpi", "mpich2", "mpich") would misread.
host_file_reading check_host_file(const std::string &bytes, const std::string &mpi);
