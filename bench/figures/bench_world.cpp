// bench_world.cpp: makes the folder in which the launcher is timed.
#include "bench_world.h"

#include <windows.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace bench {

namespace {

std::string own_folder() {
  std::string path(32768, '\0');
  path.resize(GetModuleFileNameA(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return path.substr(0, path.find_last_of('\\'));
}

std::string variable_or(const char *name, const std::string &otherwise) {
  const char *const value = std::getenv(name);
  return value == nullptr ? otherwise : value;
}

const std::string &world_folder() {
  static const std::string folder =
      variable_or("TEMP", "C:\\") + "\\zephon_bench_" + std::to_string(GetCurrentProcessId());
  return folder;
}

}  // namespace

std::string launcher() {
  return variable_or("BENCH_LAUNCHER", own_folder() + "\\..\\..\\mpirun.exe");
}

std::string front_program() {
  return own_folder() + "\\..\\..\\zprun.exe";
}

std::string bare_program(const std::string &name) {
  return own_folder() + "\\" + name + ".exe";
}

std::string in_world(const std::string &path) {
  return world_folder() + "\\" + path;
}

variables start_script_variables() {
  const std::string root = variable_or("SystemRoot", "C:\\windows");
  return {{"SystemRoot", root},
          {"COMSPEC", root + "\\system32\\cmd.exe"},
          {"PATH", root + "\\system32"},
          {"TEMP", in_world("temp")},
          {"ZEPHON_PROD", "lumis"},
          {"ZEPHON_PROD_DIR", in_world("prod")},
          {"ZEPHON_INC", in_world("inc")},
          {"ZEPHON_ARCH", "win64"}};
}

void write_file(const std::string &path, const std::string &content) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream file(path, std::ios::binary);
  file << content;
  if (!file.flush()) {
    give_up("cannot write " + path);
  }
}

void copy_program(const std::string &from, const std::string &to) {
  std::filesystem::create_directories(std::filesystem::path(to).parent_path());
  if (CopyFileA(from.c_str(), to.c_str(), FALSE) == 0) {
    give_up("cannot copy " + from);
  }
}

void make_folder(const std::string &path) {
  std::filesystem::create_directories(path);
}

void remove_world() {
  std::error_code ignored;  // a folder that stays in the temporary one does no harm
  std::filesystem::current_path(std::filesystem::temp_directory_path(), ignored);
  std::filesystem::remove_all(world_folder(), ignored);
}

}  // namespace bench
