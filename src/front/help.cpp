// help.cpp: the usage text of zprun, and its version.
#include "front/help.h"

#include "core/messages.h"

void show_help() {
  print("Usage: zprun [options] [--] [the solver's arguments]\n");
  print("\n");
  print("the run:\n");
  print("  -r12.0.1         release\n");
  print("  -t8              processes\n");
  print("  -mpi=x           MPI: msmpi, intel, ibmmpi, mpich2, mpich; -mpi= is the default\n");
  print("  -cnf=x           on the hosts of the host file x\n");
  print("  -ccp x           through the Microsoft scheduler with the head node x\n");
  print("  -pic=x           interconnect: default, ib or myri\n");
  print("  -host_ip=host:ip network interface of the host process\n");
  print("  -mpitest         the program that tests the network instead of the solver\n");
  print("  -o x             writes the times of the run to the file x\n");
  print("  -record x        writes what happened to the file x\n");
  print("  -nowait          starts the run and leaves it alone\n");
  print("on a cluster:\n");
  print("  -jobid=x         in the job x of the scheduler\n");
  print("  -unit=x          what is counted: processor, core, socket or node\n");
  print("  -np_per_node=x   processes on each node\n");
  print("  -cwd x           folder in which the solver runs\n");
  print("  -cred_check=no   without asking for the password first\n");
  print("  -ptrace          shows the scheduler's commands\n");
  print("services:\n");
  print("  -install_smpd x, -start_smpd x, -install_ibmmpi, -cache_password, -debugmpi\n");
  print("instead of a run:\n");
  print("  -explain         tells what the run would do, and does nothing\n");
  print("  -check           the same, and what stands in its way\n");
  print("  -list            releases and their MPIs\n");
  print("  -version         version of zprun\n");
  print("  -help            this listing\n");
  print("\n");
  print("Options are written -name=value or -name value. Behind -- everything is the solver's.\n");
}

void show_version() {
  print("zprun %s\n", LAUNCHER_VERSION);
}
