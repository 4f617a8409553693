// faulty_files.h: files and folders that cannot be used as they should be.
//
// Under Wine, whose user may be the superuser and so is refused nothing, some of
// them are files of the machine that refuse everybody.
#pragma once

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "scenario_bench.h"

namespace scenario {

bool runs_under_wine();

// Makes a file that Windows does not open for reading; it goes with the object.
class unreadable_file {
 public:
  explicit unreadable_file(const std::string &path);
  ~unreadable_file();
  unreadable_file(const unreadable_file &) = delete;
  unreadable_file &operator=(const unreadable_file &) = delete;

 private:
  std::string path_;
};

// Opens a file, made with this content, and shares it with nobody.
owned_handle locked_file(const std::string &path, const std::string &content = "");

// A file that can be opened for reading so often, one time after the other, and
// then is gone. It is known by its full name only.
class vanishing_file {
 public:
  explicit vanishing_file(const std::string &content, int times = 1);
  ~vanishing_file();
  vanishing_file(const vanishing_file &) = delete;
  vanishing_file &operator=(const vanishing_file &) = delete;

  const std::string &name() const { return name_; }

 private:
  std::string name_;
  std::thread server_;
};

// Makes a symbolic link of that name to a file of the world, which need not be there.
// False when Windows does not let this user make one.
bool made_symbolic_link(const std::string &path, const std::string &target);

// Full names: a file that can be read and not written, a folder in which no file can
// be made, a file that can be opened and takes nothing.
std::string unwritable_file();
std::string unwritable_folder();
std::string full_file();  // empty: this system has none

// The folder of a disk that is full, as SCENARIO_FULL_DISK names it; empty: none.
std::string full_disk();

}  // namespace scenario
