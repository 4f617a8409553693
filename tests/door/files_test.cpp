// Files, directories and pipes, through either door.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "door/door.h"
#include "platform/platform.h"

namespace {

using platform::open_mode;
using platform::owned_handle;
using texts = std::vector<std::string>;

class DoorFiles : public testing::Test {
 protected:
  ~DoorFiles() override { door::remove_folder(folder); }

  std::string in_folder(const std::string &name) const { return folder + "\\" + name; }

  static void write(const std::string &path, open_mode mode, const std::string &text) {
    const owned_handle file = platform::open_file(path, mode);
    ASSERT_TRUE(file);
    EXPECT_TRUE(platform::write_all(file.get(), text.data(), text.size()));
  }

  static std::string content(const std::string &path, std::size_t piece = 4096) {
    const owned_handle file = platform::open_file(path, open_mode::read);
    return file ? door::read_to_end(file.get(), piece) : "(cannot be opened)";
  }

  // The names that match, sorted; "nothing" when the search cannot start.
  texts listed(const std::string &pattern) const {
    auto names = platform::list_directory(in_folder(pattern)).value_or(texts{"nothing"});
    std::sort(names.begin(), names.end());
    return names;
  }

  const std::string folder = door::make_folder();
};

TEST_F(DoorFiles, AreWrittenReadAndAppendedTo) {
  const std::string path = in_folder("a file.txt");
  write(path, open_mode::write, std::string("one\r\n\0\x1A\xFF", 8));
  write(path, open_mode::append, "two");
  EXPECT_EQ(std::string("one\r\n\0\x1A\xFFtwo", 11), content(path));
  EXPECT_EQ(11U, content(path, 2).size());
  write(path, open_mode::write, "3");
  EXPECT_EQ("3", content(path));
}

TEST_F(DoorFiles, TakeAnotherNameAndTheOtherFilesPlaceWithIt) {
  write(in_folder("new"), open_mode::write, "new");
  EXPECT_TRUE(platform::replace_file(in_folder("new"), in_folder("name")));
  EXPECT_EQ("new", content(in_folder("name")));
  EXPECT_EQ("(cannot be opened)", content(in_folder("new")));
  write(in_folder("newer"), open_mode::write, "newer");
  EXPECT_TRUE(platform::replace_file(in_folder("newer"), in_folder("name")));
  EXPECT_EQ("newer", content(in_folder("name")));

  EXPECT_FALSE(platform::replace_file(in_folder("missing"), in_folder("name")));
  door::make_directory(in_folder("directory"));
  EXPECT_FALSE(platform::replace_file(in_folder("name"), in_folder("directory")));
  EXPECT_EQ("newer", content(in_folder("name")));
}

TEST_F(DoorFiles, ArriveWholeHoweverLarge) {
  std::string text;
  for (int line = 0; line < 100'000; ++line) {
    text += "line " + std::to_string(line) + "\n";
  }
  write(in_folder("large"), open_mode::create, text);
  EXPECT_TRUE(content(in_folder("large")) == text);
}

TEST_F(DoorFiles, AppendEachWriteAtTheEnd) {
  const owned_handle one = platform::open_file(in_folder("log"), open_mode::append);
  const owned_handle other = platform::open_file(in_folder("log"), open_mode::append);
  ASSERT_TRUE(one && other);
  EXPECT_TRUE(platform::write_all(one.get(), "aa", 2));
  EXPECT_TRUE(platform::write_all(other.get(), "bb", 2));
  EXPECT_TRUE(platform::write_all(one.get(), "cc", 2));
  EXPECT_EQ("aabbcc", content(in_folder("log")));
}

TEST_F(DoorFiles, AreCreatedOnlyWhereThereIsNone) {
  write(in_folder("new"), open_mode::create, "mine");
  EXPECT_FALSE(platform::open_file(in_folder("NEW"), open_mode::create));
  EXPECT_EQ("mine", content(in_folder("new")));
}

TEST_F(DoorFiles, AreRefusedWhenMissingOrDirectoriesOrMisnamed) {
  for (const auto mode : {open_mode::read, open_mode::write, open_mode::append}) {
    for (const std::string &path : {folder, std::string(), in_folder("a\"b\"")}) {
      EXPECT_FALSE(platform::open_file(path, mode)) << path;
    }
  }
  EXPECT_FALSE(platform::open_file(in_folder("missing"), open_mode::read));
}

TEST_F(DoorFiles, AreRefusedWhenAnotherProgramLocksThem) {
  write(in_folder("locked"), open_mode::write, "x");
  door::given_locked_file(in_folder("locked"));
  for (const auto mode : {open_mode::read, open_mode::write, open_mode::append}) {
    EXPECT_FALSE(platform::open_file(in_folder("locked"), mode));
  }
}

TEST_F(DoorFiles, AreOnlyReadOrOnlyWritten) {
  write(in_folder("x"), open_mode::write, "x");
  const owned_handle reading = platform::open_file(in_folder("x"), open_mode::read);
  EXPECT_FALSE(platform::write_all(reading.get(), "y", 1));
  const owned_handle writing = platform::open_file(in_folder("x"), open_mode::append);
  char letter = 0;
  EXPECT_EQ(0U, platform::read_some(writing.get(), &letter, 1));
  EXPECT_EQ("x", content(in_folder("x")));
}

TEST_F(DoorFiles, AreRemovedAndDirectoriesNot) {
  write(in_folder("x"), open_mode::write, "x");
  door::make_directory(in_folder("directory"));
  platform::remove_file(in_folder("X"));
  platform::remove_file(in_folder("x"));  // what is not there need not be removed
  platform::remove_file(in_folder("directory"));
  EXPECT_EQ((texts{".", "..", "directory"}), listed("*.*"));
}

TEST_F(DoorFiles, AreListedWithTheDotsAsThePatternSays) {
  write(in_folder("Zephon1.0"), open_mode::write, "");
  write(in_folder("other"), open_mode::write, "");
  door::make_directory(in_folder("zephon 2"));
  EXPECT_EQ((texts{".", "..", "Zephon1.0", "other", "zephon 2"}), listed("*.*"));
  EXPECT_EQ((texts{"Zephon1.0", "zephon 2"}), listed("ze*n*"));
  EXPECT_EQ((texts{"zephon 2"}), listed("zephon??"));
  EXPECT_EQ((texts{"other"}), listed("OTHER"));
  EXPECT_EQ((texts{"nothing"}), listed("x*"));
  EXPECT_EQ((texts{"nothing"}), listed("missing\\*.*"));
}

TEST_F(DoorFiles, ThousandsAreListed) {
  for (int file = 0; file < 1'000; ++file) {
    write(in_folder("file" + std::to_string(file)), open_mode::create, "");
  }
  EXPECT_EQ(1'002U, listed("*.*").size());
}

TEST_F(DoorFiles, AreFoundFromTheCurrentDirectory) {
  door::make_directory(in_folder("sub"));
  write(in_folder("sub\\x"), open_mode::write, "here");
  door::change_directory(folder);
  EXPECT_EQ(folder, platform::current_directory());
  EXPECT_EQ("here", content("sub\\x"));
  EXPECT_EQ("here", content("SUB/X"));
  EXPECT_EQ("here", content("sub\\.\\..\\sub\\\\x"));
  EXPECT_EQ("here", content(folder.substr(2) + "\\sub\\x"));  // from the root of the drive
  EXPECT_EQ("(cannot be opened)", content("x"));
}

// ---- Pipes --------------------------------------------------------------------------------

TEST(DoorPipes, GiveWhatIsThereAndEndWhenTheWriteEndIsClosed) {
  auto pipe = platform::create_pipe();
  ASSERT_TRUE(pipe);
  char buffer[100];
  EXPECT_TRUE(platform::write_all(pipe->write_end.get(), "abc", 3));
  EXPECT_EQ(3U, platform::read_some(pipe->read_end.get(), buffer, sizeof buffer));
  EXPECT_TRUE(platform::write_all(pipe->write_end.get(), "def", 3));
  pipe->write_end.reset();
  EXPECT_EQ("def", door::read_to_end(pipe->read_end.get(), 2));
}

TEST(DoorPipes, RefuseAWriteWhenNobodyReads) {
  auto pipe = platform::create_pipe();
  pipe->read_end.reset();
  EXPECT_FALSE(platform::write_all(pipe->write_end.get(), "abc", 3));
}

}  // namespace
