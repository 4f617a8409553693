// command_line.h: a command line that grows piece by piece, each with its reason.
//
// The text is what the pieces make when they are put together; nobody changes it
// in another way, so that a rehearsal and a run record can say of every piece
// where it comes from:
//
//   command_line line;
//   append(line, "C:\\mpi\\mpiexec.exe ", "MPI of the release");
//   append(line, " -np 4 ", "processes: --np=4");
#pragma once

#include <string>
#include <string_view>
#include <vector>

struct command_piece {
  std::string text;    // with the blanks that it carries
  std::string reason;  // where it comes from, for people
};

struct command_line {
  std::string text;
  std::vector<command_piece> pieces;
};

// Adds a piece at the end. An empty text adds nothing.
void append(command_line &line, std::string_view text, std::string_view reason);

// Puts the pieces of another command in front.
void prepend(command_line &line, const command_line &before);

// Removes the blanks in front of the command.
void remove_leading_blanks(command_line &line);
