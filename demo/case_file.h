// case_file.h: what a case file of the heat solver says.
#pragma once

#include <string>

// One case. A file of lines "name = value"; "#" begins a comment.
struct heat_case {
  std::string title = "untitled";
  double width = 1.0;   // of the plate, in metres
  double height = 1.0;  // of the plate, in metres
  int columns = 32;     // inner grid points in a row
  int rows = 32;        // inner grid points in a column
  double temperature = 100.0;
  int iterations = 10000;
  int report_every = 1000;
  double residual = 1e-6;
  double allowed_error = 0.1;
};

// Reads a case from the text of its file. Gives back an empty text, or what is
// wrong with the case in a form to be shown to the user.
std::string parse_case(const std::string &text, heat_case &result);
