// figures.cpp: times the launcher beside a bare program that does the same work.
//
// Each figure is a row "name,size,unit,launcher,baseline" of medians, or of the
// smallest times where the rows of one figure are compared with each other. The
// two programs are run in turn, so that what else the machine does meets both.
// An argument names the figures that are wanted.
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "bench_world.h"
#include "stopwatch.h"

namespace {

using namespace bench;

std::string quoted(const std::string &text) {
  return "\"" + text + "\"";
}

void print_row(const std::string &name, std::size_t size, const char *unit, double launcher_value,
               double baseline_value) {
  std::printf("%s,%zu,%s,%.3f,%.3f\n", name.c_str(), size, unit, launcher_value, baseline_value);
  (void)std::fflush(stdout);
}

struct pair_of_times {
  std::vector<double> launcher;
  std::vector<double> baseline;
  std::size_t output_bytes = 0;  // of the launcher, in the last round
  bool same_output = true;       // as many bytes from both, in each round
};

// Both in turn. The first round warms caches up and does not count.
pair_of_times time_in_turn(const command &ours, const command &bare, std::size_t rounds) {
  pair_of_times times;
  for (std::size_t round = 0; round <= rounds; ++round) {
    const started with = run(ours);
    const started without = run(bare);
    times.output_bytes = with.output_bytes;
    times.same_output = times.same_output && with.output_bytes == without.output_bytes;
    if (round > 0) {
      times.launcher.push_back(with.milliseconds);
      times.baseline.push_back(without.milliseconds);
    }
  }
  return times;
}

// ---- The figures --------------------------------------------------------------------------

void start_up() {
  constexpr std::size_t rounds = 100;
  const command ours = {quoted(launcher()) + " --mpi=net " + bare_program("no_op"),
                        start_script_variables()};
  const command bare = {quoted(bare_program("bare_start")) + " " + bare_program("no_op"),
                        start_script_variables()};
  const auto times = time_in_turn(ours, bare, rounds);
  print_row("start-up", 1, "ms", median(times.launcher), median(times.baseline));
}

void rehearsal() {
  auto environment = start_script_variables();
  environment["ZEPHON_REHEARSAL"] = "1";
  const command ours = {quoted(launcher()) + " --mpi=net " + bare_program("no_op"), environment};
  const command bare = {quoted(bare_program("bare_start")) + " " + bare_program("no_op"),
                        start_script_variables()};
  const auto times = time_in_turn(ours, bare, 100);
  print_row("rehearsal", 1, "ms", median(times.launcher), median(times.baseline));
}

// The same launch through mpirun, as zprun has it. Neither has a console.
void front() {
  const std::string release = in_world("front\\zephon12.0");
  const std::string solver = release + "\\ntbin\\win64\\zephon.exe";
  copy_program(bare_program("no_op"), solver);
  auto environment = start_script_variables();
  environment["ZEPHON_INC"] = in_world("front");
  environment["ZEPHON_PROD_DIR"] = release;
  environment["ZEPHON_PROD"] = "zephon";
  environment["STDOUT_FLUSH"] = "1";
  command ours = {quoted(front_program()) + " a.case", environment};
  ours.without_console = true;
  const command bare = {quoted(launcher()) + " --r12.0 --mpi=net -wait " + solver + " a.case",
                        environment};
  const auto times = time_in_turn(ours, bare, 100);
  print_row("zprun beside mpirun", 1, "ms", median(times.launcher), median(times.baseline));
}

// Platform MPI's task is added to a job that is there: its `job add` is echoed, and
// nothing else is started.
void relay() {
  copy_program(bare_program("line_printer"), in_world("job.exe"));
  write_file(in_world("prod\\netweave\\mpi_wrapper\\win64\\ibmmpi\\mpi_wrapper.dll"), "");
  auto environment = start_script_variables();
  environment["USE_CCP"] = "head";
  environment["CCP_JOB_ID"] = "0";
  environment["ORBEX_DONT_CACHE_PASSWORD"] = "1";
  environment["ZP_CCP_JOB_COMMAND"] = in_world("job.exe");
  for (const std::size_t lines : {10'000U, 100'000U, 1'000'000U}) {
    environment["BENCH_LINES"] = std::to_string(lines);
    const command ours = {quoted(launcher()) + " --mpi=ibmmpi --np=4 case.jou", environment};
    const command bare = {quoted(bare_program("bare_relay")) + " " + in_world("job.exe"),
                          environment};
    const auto times = time_in_turn(ours, bare, lines > 100'000 ? 2 : 9);
    if (times.output_bytes == 0 || !times.same_output) {
      give_up("the launcher does not relay what the tool prints");
    }
    print_row("relayed lines", lines, "ms", median(times.launcher), median(times.baseline));
  }
}

void hosts() {
  write_file(in_world("prod\\netweave\\mpi_wrapper\\win64\\intel\\mpi_wrapper.dll"), "");
  copy_program(bare_program("no_op"),
               in_world("inc\\zephon\\netweave\\mpi\\win64\\intel\\bin\\mpiexec.exe"));
  auto environment = start_script_variables();
  environment["ZEPHON_CRED_CHECK"] = "no";
  for (const std::size_t count : {1U, 1'000U, 10'000U, 100'000U}) {
    std::string content;
    for (std::size_t host = 0; host < count; ++host) {
      content += "node" + std::to_string(100'000 + host) + ".cluster.example\n";
    }
    const std::string file = in_world("hosts" + std::to_string(count));
    write_file(file, content);
    const command ours = {quoted(launcher()) + " --mpi=intel --np=" + std::to_string(2 * count) +
                              " --cnf=" + quoted(file),
                          environment};
    const command bare = {quoted(bare_program("bare_hosts")) + " " + quoted(file) + " 2 " +
                              quoted(in_world("temp\\bare.txt")) + " " +
                              quoted(bare_program("no_op")),
                          environment};
    const auto times = time_in_turn(ours, bare, count > 10'000 ? 15 : 30);
    print_row("hosts", count, "ms", smallest(times.launcher), smallest(times.baseline));
  }
}

void arguments() {
  const auto environment = start_script_variables();
  for (const std::size_t count : {1U, 10U, 100U, 1'000U, 10'000U}) {
    std::string line;
    for (std::size_t i = 0; i < count; ++i) {
      line += " a";
    }
    const command ours = {quoted(launcher()) + " --mpi=net " + bare_program("no_op") + line,
                          environment};
    const command bare = {quoted(bare_program("bare_start")) + " " + bare_program("no_op") + line,
                          environment};
    const auto times = time_in_turn(ours, bare, 40);
    print_row("arguments", count, "ms", smallest(times.launcher), smallest(times.baseline));
  }
}

// The installer looks for the newest release and ends, as its program is not there.
void releases() {
  for (const std::size_t count : {1U, 10U, 100U, 1'000U, 10'000U}) {
    const std::string root = in_world("releases" + std::to_string(count));
    for (std::size_t i = 0; i < count; ++i) {
      make_folder(root + "\\zephon" + std::to_string(i / 100) + "." + std::to_string(i % 100));
    }
    auto environment = start_script_variables();
    environment["ZEPHON_INC"] = root;
    const command ours = {quoted(launcher()) + " --node --install_smpd 0", environment, 1};
    const command bare = {quoted(bare_program("bare_listing")) + " " + quoted(root + "\\*.*"),
                          environment};
    const auto times = time_in_turn(ours, bare, count > 1'000 ? 15 : 30);
    print_row("release folders", count, "ms", smallest(times.launcher), smallest(times.baseline));
  }
}

void launchers_at_once() {
  const command ours = {quoted(launcher()) + " --mpi=net " + bare_program("no_op"),
                        start_script_variables()};
  const command bare = {quoted(bare_program("bare_start")) + " " + bare_program("no_op"),
                        start_script_variables()};
  for (const std::size_t count : {1U, 4U, 16U, 64U}) {
    pair_of_times times;
    for (int round = 0; round <= 9; ++round) {
      const double with = run_at_once(ours, count);
      const double without = run_at_once(bare, count);
      if (round > 0) {
        times.launcher.push_back(with);
        times.baseline.push_back(without);
      }
    }
    print_row("launchers at once", count, "ms", median(times.launcher), median(times.baseline));
  }
}

struct figure {
  const char *name;
  void (*measure)();
};

constexpr figure all_figures[] = {{"start-up", start_up}, {"rehearsal", rehearsal},
                                  {"zprun", front},       {"relay", relay},
                                  {"hosts", hosts},       {"arguments", arguments},
                                  {"releases", releases}, {"at-once", launchers_at_once}};

}  // namespace

int main(int count, char **names) {
  make_folder(in_world("temp"));
  make_folder(in_world("inc"));
  std::filesystem::current_path(in_world(""));  // the installer writes its log there
  for (const figure &one : all_figures) {
    const auto is_named = [&](const char *name) { return std::string(name) == one.name; };
    if (count < 2 || std::any_of(names + 1, names + count, is_named)) {
      one.measure();
    }
  }
  remove_world();
}
