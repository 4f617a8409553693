// unc_path.cpp: asks Windows' network library for the universal name of a path.
#include "core/unc_path.h"

#include "platform/platform.h"

bool is_network_path(const std::string &path) {
  return path.starts_with("\\\\") || path.starts_with("//");
}

void convert_to_unc(std::string &path) {
  void *mpr_module = platform::load_system_library("mpr.dll");
  if (mpr_module == nullptr) {
    return;
  }
  if (const auto name = platform::universal_name(mpr_module, path)) {
    path = *name;
  }
  platform::free_library(mpr_module);
}
