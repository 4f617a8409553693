// bench_world.h: the folder in which the launcher is timed: an installed release
// with programs that do nothing, and the files of each figure.
#pragma once

#include <string>

#include "stopwatch.h"

namespace bench {

// Where the programs of this build are.
std::string launcher();                             // mpirun.exe
std::string front_program();                        // zprun.exe
std::string bare_program(const std::string &name);  // beside this program

// The world's folder, made at the first use and removed at the end.
std::string in_world(const std::string &path);

// What Windows needs and a start script sets; the launcher waits for its program.
variables start_script_variables();

void write_file(const std::string &path, const std::string &content);
void copy_program(const std::string &from, const std::string &to);
void make_folder(const std::string &path);
void remove_world();

}  // namespace bench
