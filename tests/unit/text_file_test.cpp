// Tests of text files and tool output in text mode.
#include "core/text_file.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

// Everything that read_line gives of a file with this content.
std::vector<std::string> lines_of(const std::string &content,
                                  std::size_t limit = output_line_limit) {
  given_file("C:\\file", content);
  auto reader = open_text("C:\\file");
  std::vector<std::string> lines;
  std::string line;
  while (reader && read_line(*reader, line, limit)) {
    lines.push_back(line);
  }
  return lines;
}

using texts = std::vector<std::string>;

TEST(ReadLine, GivesEachLineWithItsNewline) {
  EXPECT_EQ((texts{"a\n", "\n", "b\n"}), lines_of("a\n\nb\n"));
}

TEST(ReadLine, GivesALastLineWithoutANewline) {
  EXPECT_EQ((texts{"a\n", "b"}), lines_of("a\nb"));
}

TEST(ReadLine, GivesNothingOfAnEmptyFile) {
  EXPECT_EQ(texts{}, lines_of(""));
}

TEST(ReadLine, TakesCrLfForOneNewline) {
  EXPECT_EQ((texts{"a\n", "\n", "b\r\n", "c\rd\n", "e\r"}), lines_of("a\r\n\r\nb\r\r\nc\rd\ne\r"));
}

TEST(ReadLine, CutsALongLineInPieces) {
  EXPECT_EQ((texts{"abcd", "efgh", "ij\n", "k\n"}), lines_of("abcdefghij\nk\n", 4));
}

TEST(ReadLine, CountsTheNewlineToThePiece) {
  EXPECT_EQ((texts{"abc\n", "x\n"}), lines_of("abc\nx\n", 4));
  EXPECT_EQ((texts{"abcd", "\n", "x\n"}), lines_of("abcd\nx\n", 4));
}

TEST(ReadLine, CountsCrLfAsOneCharacter) {
  EXPECT_EQ((texts{"abc\n", "x\n"}), lines_of("abc\r\nx\n", 4));
  EXPECT_EQ((texts{"abcd", "\n", "x\n"}), lines_of("abcd\r\nx\n", 4));
  EXPECT_EQ((texts{"abc\r", "dx\n"}), lines_of("abc\rdx\n", 4));
  EXPECT_EQ((texts{"abc\r"}), lines_of("abc\r", 4));
}

TEST(ReadLine, GivesTheSamePiecesHoweverTheyCome) {
  const std::string content = "abcd\r\nabc\r\nabcdefg\r\r\n\n\r\n\rx";
  const texts expected = lines_of(content, 4);
  for (std::size_t bytes = 1; bytes < 8; ++bytes) {
    fresh_launch();
    given_short_reads(bytes);
    EXPECT_EQ(expected, lines_of(content, 4)) << bytes << " bytes a read";
  }
}

TEST(ReadLine, TakesAtMost1023CharactersOfToolOutput) {
  const std::string long_line(1024, 'x');
  EXPECT_EQ((texts{std::string(1023, 'x'), "x\n"}), lines_of(long_line + "\n"));
}

TEST(ReadLine, PassesEveryOtherByteAsItIs) {
  std::string content;
  for (int byte = 0; byte < 256; ++byte) {
    if (byte != '\n') {
      content += static_cast<char>(byte);
    }
  }
  EXPECT_EQ((texts{content}), lines_of(content));
}

TEST(ReadLine, EndsAtCtrlZOnlyInAFileThatSaysSo) {
  for (const std::size_t piece : {1U, 5U, 100U}) {
    given_short_reads(piece);
    given_file("C:\\f",
               "a\r\nb\x1A"
               "c\r\nd\r\n");
    std::string all;
    std::string line;
    for (const bool ends : {true, false}) {
      auto reader = open_text("C:\\f");
      reader->ends_at_ctrl_z = ends;
      while (read_line(*reader, line)) {
        all += line + "|";
      }
    }
    EXPECT_EQ(
        "a\n|b|"
        "a\n|b\x1A"
        "c\n|d\n|",
        all);
  }
}

TEST(ReadLine, ReadsMoreThanOneBufferOfLines) {
  std::string content;
  for (int line = 0; line < 20'000; ++line) {
    content += "line " + std::to_string(line) + "\r\n";
  }
  const texts lines = lines_of(content);
  ASSERT_EQ(20'000U, lines.size());
  EXPECT_EQ("line 0\n", lines.front());
  EXPECT_EQ("line 19999\n", lines.back());
}

TEST(ReadLine, SaysWhenAReadHasRunIntoTheEnd) {
  given_file("C:\\file", "ab\nc");
  auto reader = open_text("C:\\file");
  ASSERT_TRUE(reader);
  std::string line;
  EXPECT_TRUE(read_line(*reader, line));
  EXPECT_FALSE(reader->at_end);
  EXPECT_TRUE(read_line(*reader, line));
  EXPECT_TRUE(reader->at_end);
  EXPECT_FALSE(read_line(*reader, line));
  EXPECT_EQ("", line);
}

TEST(ReadLine, DoesNotLookBehindAFullPiece) {
  given_file("C:\\file", "abcd");
  auto reader = open_text("C:\\file");
  ASSERT_TRUE(reader);
  std::string line;
  EXPECT_TRUE(read_line(*reader, line, 4));
  EXPECT_FALSE(reader->at_end);
  EXPECT_FALSE(read_line(*reader, line, 4));
  EXPECT_TRUE(reader->at_end);
}

TEST(OpenText, GivesNothingWhenTheFileCannotBeOpened) {
  EXPECT_FALSE(open_text("C:\\missing"));
}

TEST(WriteText, LosesNothingWhenTheWriterGoesAway) {
  {
    auto writer = create_text("C:\\out", platform::open_mode::write);
    ASSERT_TRUE(writer);
    write_text(*writer, "a\n");
    const text_writer moved = std::move(*writer);
    EXPECT_EQ("", file_content("C:\\out"));
  }
  EXPECT_EQ("a\r\n", file_content("C:\\out"));
}

TEST(WriteText, WritesEachNewlineAsCrLf) {
  auto writer = create_text("C:\\out", platform::open_mode::write);
  ASSERT_TRUE(writer);
  write_text(*writer, "a\n\nb");
  write_text(*writer, "c\r\n");
  EXPECT_TRUE(close_text(*writer));
  EXPECT_EQ("a\r\n\r\nbc\r\r\n", file_content("C:\\out"));
}

TEST(WriteText, WritesMoreThanOneBuffer) {
  auto writer = create_text("C:\\out", platform::open_mode::write);
  ASSERT_TRUE(writer);
  for (int piece = 0; piece < 3; ++piece) {
    write_text(*writer, std::string(60'000, static_cast<char>('a' + piece)));
  }
  EXPECT_TRUE(close_text(*writer));
  EXPECT_EQ(std::string(60'000, 'a') + std::string(60'000, 'b') + std::string(60'000, 'c'),
            file_content("C:\\out"));
}

TEST(WriteText, AppendsToWhatIsThere) {
  given_file("C:\\out", "old\r\n");
  auto writer = create_text("C:\\out", platform::open_mode::append);
  ASSERT_TRUE(writer);
  write_text(*writer, "new\n");
  EXPECT_TRUE(close_text(*writer));
  EXPECT_EQ("old\r\nnew\r\n", file_content("C:\\out"));
}

TEST(WriteText, EmptiesAFileEvenWithoutAText) {
  given_file("C:\\out", "old");
  auto writer = create_text("C:\\out", platform::open_mode::write);
  ASSERT_TRUE(writer);
  EXPECT_TRUE(close_text(*writer));
  EXPECT_EQ("", file_content("C:\\out"));
}

TEST(WriteText, SaysWhenTheDiskIsFull) {
  given_full_disk_after(3);
  auto writer = create_text("C:\\out", platform::open_mode::write);
  ASSERT_TRUE(writer);
  write_text(*writer, "abcdef");
  EXPECT_FALSE(close_text(*writer));
}

TEST(WriteText, RemembersAFullDiskFromAnEarlierPiece) {
  given_full_disk_after(70'000);
  auto writer = create_text("C:\\out", platform::open_mode::write);
  ASSERT_TRUE(writer);
  write_text(*writer, std::string(70'001, 'x'));
  EXPECT_TRUE(writer->pending.empty());
  EXPECT_FALSE(close_text(*writer));
}

TEST(CreateText, GivesNothingWhenTheFileCannotBeCreated) {
  given_unwritable_path("C:\\out");
  EXPECT_FALSE(create_text("C:\\out", platform::open_mode::write));
}

TEST(WithLineEnds, MakesCrLfOfEachNewline) {
  EXPECT_EQ("", with_line_ends(""));
  EXPECT_EQ("a", with_line_ends("a"));
  EXPECT_EQ("\r\na\r\n\r\n", with_line_ends("\na\n\n"));
}

TEST(FileIsReadable, SaysWhetherTheFileCanBeOpened) {
  given_file("C:\\a");
  given_unreadable_file("C:\\b");
  EXPECT_TRUE(file_is_readable("C:\\a"));
  EXPECT_FALSE(file_is_readable("C:\\b"));
  EXPECT_FALSE(file_is_readable("C:\\c"));
}

}  // namespace
