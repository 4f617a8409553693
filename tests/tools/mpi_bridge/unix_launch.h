// unix_launch.h: the shell script that starts the ranks with MPICH's own starter.
#pragma once

#include <string>
#include <vector>

#include "launch_request.h"
#include "unix_text.h"

namespace mpi_bridge {

// The words that MPICH's starter gets for a request: switches and program. All
// hosts are this machine: the starter is told to fork where it would connect.
// `rank_script` is the Unix name of the script that runs one rank, `hosts_file`
// the one of the host list below.
text_list starter_words(const launch_request &request, const std::string &rank_script,
                        const std::string &hosts_file, const path_converter &unix_path);

// The words of a line for MPICH itself: as they are, but for the paths.
text_list starter_words(const text_list &words, const path_converter &unix_path);

// The host list of a request for MPICH's starter.
std::string starter_hosts(const launch_request &request);

// The script that runs the starter. It works in `folder`, where the bridge keeps
// a file `alive` as long as it runs itself; the script leaves there
//   out, err   what the starter and the ranks print
//   ranks      a line "rank code" for each rank that ended, from rank_script
//   status     the starter's exit code, when all is over
// `directory` is the Unix name of the directory to start in.
std::string starter_script(const text_list &starter, const std::string &folder,
                           const std::string &directory);

// The script that runs one rank. `directory` is the Unix name of its directory.
std::string rank_script(const std::string &folder, const std::string &directory);

// A rank that failed, from a line of the file `ranks`.
struct failed_rank {
  int rank = 0;
  int code = 0;
};

// The ranks whose codes are not 0, in the order in which they ended.
std::vector<failed_rank> failed_ranks(const std::string &ranks);

}  // namespace mpi_bridge
