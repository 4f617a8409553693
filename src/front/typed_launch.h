// typed_launch.h: a launch as it was typed behind "zprun".
#pragma once

#include <optional>
#include <string>
#include <vector>

enum class zprun_task { run, explain, check, list, version, help };

// A launch as it was typed. An empty optional: the option was not there.
struct typed_launch {
  zprun_task task = zprun_task::run;
  std::optional<std::string> release;       // such as 12.0.1
  std::optional<std::string> processes;     // a number
  std::optional<std::string> mpi;           // empty text: the release's default
  std::optional<std::string> interconnect;  // default, ib, myri, ...
  std::optional<std::string> host_file;
  std::optional<std::string> host_ip;  // host:ip
  std::optional<std::string> head_node;
  std::optional<std::string> job;  // number of a job of the user's own
  std::optional<std::string> unit;
  std::optional<std::string> processes_per_node;
  std::optional<std::string> task_folder;
  std::optional<std::string> credential_check;
  std::optional<std::string> timing_file;
  std::optional<std::string> record_file;
  std::optional<std::string> install_smpd;  // folder of MPICH2, "0": the release's
  std::optional<std::string> start_smpd;    // the same
  bool mpitest = false;
  bool no_wait = false;
  bool wait = false;  // what zprun does anyhow
  bool ptrace = false;
  bool debug_mpi = false;
  bool cache_password = false;
  bool install_ibmmpi = false;
  std::vector<std::string> solver_arguments;  // exactly as they were typed

  std::vector<std::string> mended;   // what was read differently from how it was typed
  std::vector<std::string> refused;  // why nothing can be started; empty: it can
};

// Whether the launch only installs or starts a service.
bool is_installation(const typed_launch &launch);

// The name of the MPI as the launcher will use it: "net" without one, "ibmmpi"
// for an empty or an old name of it.
std::string mpi_of(const typed_launch &launch);
