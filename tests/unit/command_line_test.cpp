// Tests of the command line that knows where its pieces come from.
#include "core/command_line.h"

#include <gtest/gtest.h>

namespace {

std::string put_together(const command_line &line) {
  std::string text;
  for (const command_piece &piece : line.pieces) {
    text += piece.text;
  }
  return text;
}

TEST(CommandLine, IsWhatItsPiecesMake) {
  command_line task;
  append(task, "job add 7", "the job of CCP_JOB_ID");
  append(task, "", "nothing to say");
  command_line line;
  append(line, " mpiexec.exe ", "the cluster's own MS-MPI");
  append(line, " -np 4 ", "processes: --np=4");
  prepend(line, task);
  EXPECT_EQ("job add 7 mpiexec.exe  -np 4 ", line.text);
  EXPECT_EQ(line.text, put_together(line));
  ASSERT_EQ(3U, line.pieces.size());
  EXPECT_EQ("the job of CCP_JOB_ID", line.pieces.front().reason);
  EXPECT_EQ("processes: --np=4", line.pieces.back().reason);
}

TEST(CommandLine, LosesItsLeadingBlanksInAllPiecesThatHoldThem) {
  command_line line;
  append(line, "  ", "blanks");
  append(line, " mpiexec ", "program");
  remove_leading_blanks(line);
  EXPECT_EQ("mpiexec ", line.text);
  EXPECT_EQ(line.text, put_together(line));
  EXPECT_EQ(1U, line.pieces.size());

  remove_leading_blanks(line);
  EXPECT_EQ("mpiexec ", line.text);
  EXPECT_EQ(line.text, put_together(line));

  command_line blanks;
  append(blanks, "   ", "nothing else");
  remove_leading_blanks(blanks);
  EXPECT_EQ("", blanks.text);
  EXPECT_TRUE(blanks.pieces.empty());
}

}  // namespace
