// fresh_launch.cpp: brings the launcher and the world back to their start.
#include "support/fresh_launch.h"

#include "core/command_runner.h"
#include "core/run_record.h"
#include "core/timed_question.h"
#include "install/install_log.h"

namespace stand_in {

void fresh_launch() {
  // What the modules keep between calls is put down in the world it belongs to.
  end_world();
  stop_question();
  (void)stop_monitor();
  (void)close_current_run();
  install_log_close();
  state = launch_state{};
  forget_run_record();
  fresh_world();
}

char **given_arguments(const std::vector<std::string> &arguments) {
  static std::vector<std::string> texts;
  static std::vector<char *> vector;
  texts = {"mpirun.exe"};
  texts.insert(texts.end(), arguments.begin(), arguments.end());
  vector.clear();
  for (std::string &text : texts) {
    vector.push_back(text.data());
  }
  vector.push_back(nullptr);
  state.arg_count = static_cast<int>(texts.size());
  state.arg_vector = vector.data();
  return vector.data();
}

void given_installation(const std::string &mpi_name) {
  state.zephon_inc = "C:\\zephon";
  state.release = "12.0.16";
  state.zephon_arch = "win64";
  state.zephon_prod = "zephon";
  state.zephon_prod_dir = "C:\\zephon\\zephon12.0.16";
  state.mpi_name = mpi_name;
  given_variable("ZEPHON_INC", *state.zephon_inc);
  given_variable("ZEPHON_ARCH", *state.zephon_arch);
  given_variable("ZEPHON_PROD", *state.zephon_prod);
  given_variable("ZEPHON_PROD_DIR", *state.zephon_prod_dir);
  given_file(*state.zephon_prod_dir + "\\netweave\\mpi_wrapper\\win64\\" + mpi_name +
             "\\mpi_wrapper.dll");
}

}  // namespace stand_in
