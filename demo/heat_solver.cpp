// heat_solver.cpp: a small parallel solver for the launcher to start.
//
// Computes the steady temperatures of a plate with Jacobi's method, its rows
// split over the MPI ranks, and checks them against the known solution.
//
//   zephon -i CASE_FILE [-title TEXT]
//
// Ends with 0 when the solution is right, 1 when it is not, 2 when the case
// cannot be read.
#include <mpi.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>

#include "case_file.h"
#include "plate.h"

namespace {

constexpr int exit_wrong_solution = 1;
constexpr int exit_bad_case = 2;

struct parallel_run {
  int rank = 0;
  int ranks = 1;
  int hosts = 1;  // that the ranks are spread over
  std::string host;
};

parallel_run look_around() {
  parallel_run run;
  MPI_Comm_rank(MPI_COMM_WORLD, &run.rank);
  MPI_Comm_size(MPI_COMM_WORLD, &run.ranks);

  std::array<char, MPI_MAX_PROCESSOR_NAME> name = {};
  int length = 0;
  MPI_Get_processor_name(name.data(), &length);
  run.host.assign(name.data(), static_cast<std::size_t>(length));

  // The ranks that share memory are on one host; its first rank stands for it.
  MPI_Comm same_host = MPI_COMM_NULL;
  MPI_Comm_split_type(MPI_COMM_WORLD, MPI_COMM_TYPE_SHARED, run.rank, MPI_INFO_NULL, &same_host);
  int rank_on_host = 0;
  MPI_Comm_rank(same_host, &rank_on_host);
  const int first_on_host = rank_on_host == 0 ? 1 : 0;
  MPI_Allreduce(&first_on_host, &run.hosts, 1, MPI_INT, MPI_SUM, MPI_COMM_WORLD);
  MPI_Comm_free(&same_host);
  return run;
}

double largest_of_all_ranks(double value) {
  double largest = 0;
  MPI_Allreduce(&value, &largest, 1, MPI_DOUBLE, MPI_MAX, MPI_COMM_WORLD);
  return largest;
}

struct solver_arguments {
  std::string case_file;
  std::string title;  // instead of the case's own; empty: that one
};

// Gives back an empty text or what is wrong with the arguments.
std::string read_arguments(int argument_count, char **arguments, solver_arguments &result) {
  for (int i = 1; i < argument_count; ++i) {
    const std::string argument = arguments[i];
    if (argument == "-i" && i + 1 < argument_count) {
      result.case_file = arguments[++i];
    } else if (argument == "-title" && i + 1 < argument_count) {
      result.title = arguments[++i];
    } else {
      return "unknown argument: " + argument;
    }
  }
  return "";
}

// The case file's text: the first rank reads it and hands it on, as the other
// hosts need not see the file. Nothing when it cannot be read.
std::optional<std::string> read_case_text(const std::string &file_name, int rank) {
  std::string text;
  int size = -1;
  if (rank == 0) {
    const std::ifstream file(file_name);
    std::ostringstream content;
    if (file && content << file.rdbuf()) {
      text = content.str();
      size = static_cast<int>(text.size());
    }
  }
  MPI_Bcast(&size, 1, MPI_INT, 0, MPI_COMM_WORLD);
  if (size < 0) {
    return std::nullopt;
  }
  text.resize(static_cast<std::size_t>(size));
  MPI_Bcast(text.data(), size, MPI_CHAR, 0, MPI_COMM_WORLD);
  return text;
}

// Reads the case that the arguments name. All ranks come to the same result:
// an empty text or what is wrong.
std::string read_case(int argument_count, char **arguments, const parallel_run &run,
                      heat_case &result) {
  solver_arguments given;
  std::string fault = read_arguments(argument_count, arguments, given);
  if (!fault.empty()) {
    return fault;
  }
  const auto text = read_case_text(given.case_file, run.rank);
  if (!text) {
    return "cannot read the case file: " + given.case_file;
  }
  const std::string case_fault = parse_case(*text, result);
  if (!case_fault.empty()) {
    return given.case_file + ": " + case_fault;
  }
  if (result.rows < run.ranks) {
    return given.case_file + ": fewer rows than ranks";
  }
  if (!given.title.empty()) {
    result.title = given.title;
  }
  return "";
}

// Iterates until the residual is small enough or the iterations are used up.
void solve(const heat_case &given, const parallel_run &run, plate_part &part) {
  for (int iteration = 1; iteration <= given.iterations; ++iteration) {
    part.exchange_rows();
    const double change = part.iterate();
    if (iteration % given.report_every != 0 && iteration != given.iterations) {
      continue;
    }
    const double residual = largest_of_all_ranks(change);
    if (run.rank == 0) {
      std::printf("iteration %6d   residual %.3e\n", iteration, residual);
      std::fflush(stdout);
    }
    if (residual <= given.residual) {
      return;
    }
  }
}

int run_solver(int argument_count, char **arguments) {
  const parallel_run run = look_around();
  heat_case given;
  const std::string fault = read_case(argument_count, arguments, run, given);
  if (!fault.empty()) {
    if (run.rank == 0) {
      std::fprintf(stderr, "zephon: %s\n", fault.c_str());
    }
    return exit_bad_case;
  }
  if (run.rank == 0) {
    std::printf("%s: %d x %d points, %d ranks on %d host%s\n", given.title.c_str(), given.columns,
                given.rows, run.ranks, run.hosts, run.hosts == 1 ? "" : "s");
    std::fflush(stdout);
  }
  MPI_Barrier(MPI_COMM_WORLD);

  plate_part part(given, run.rank, run.ranks);
  std::printf("rank %d of %d on %s has %d rows from row %d\n", run.rank, run.ranks,
              run.host.c_str(), part.row_count(), part.first_row());
  std::fflush(stdout);

  solve(given, run, part);

  const double error = largest_of_all_ranks(part.largest_error());
  const bool verified = error <= given.allowed_error;
  if (run.rank == 0) {
    std::printf("largest error %.5f, allowed %.5f: %s\n", error, given.allowed_error,
                verified ? "solution verified" : "WRONG SOLUTION");
    std::fflush(stdout);
  }
  return verified ? 0 : exit_wrong_solution;
}

}  // namespace

int main(int argument_count, char **arguments) {
  MPI_Init(&argument_count, &arguments);
  const int status = run_solver(argument_count, arguments);
  MPI_Finalize();
  return status;
}
