// icon_test.cpp: the icon in the tree against the program that draws it.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "source_tree.h"

namespace {

// A command for std::system: Windows' interpreter takes the first and the last
// quote away when there are more than two.
std::string command_line(const std::string &program, const std::string &argument) {
  const std::string line = "\"" + program + "\" \"" + argument + "\"";
#ifdef _WIN32
  return "\"" + line + "\"";
#else
  return line;
#endif
}

}  // namespace

TEST(Icon, IsAsItsProgramDrawsIt) {
  const auto drawn = std::filesystem::path(DRAW_ICON).parent_path() / "drawn.ico";
  ASSERT_EQ(0, std::system(command_line(DRAW_ICON, drawn.string()).c_str()));
  std::ifstream file(drawn, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  EXPECT_GT(bytes.size(), 10000U);
  EXPECT_TRUE(bytes == file_text("packaging/zephon.ico")) << "draw it anew with " DRAW_ICON;
}
