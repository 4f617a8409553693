// plate.h: one rank's part of the plate, and the steps of Jacobi's method on it.
//
// The plate's inner grid points are split by rows, top rank last. A rank holds
// its rows and, above and below them, a copy of its neighbours' nearest row or
// the plate's edge.
#pragma once

#include <cstddef>
#include <vector>

#include "case_file.h"

class plate_part {
 public:
  // The rows of one rank of `ranks`, all points at 0 but the edges.
  plate_part(const heat_case &given, int rank, int ranks);

  int first_row() const { return first_row_; }  // counted from 1
  int row_count() const { return row_count_; }

  // Gets the neighbours' nearest rows. All ranks have to call it together.
  void exchange_rows();

  // One step of Jacobi's method. Gives back this rank's largest change.
  double iterate();

  // This rank's largest difference from the known solution.
  double largest_error() const;

 private:
  std::size_t at(int row, int column) const;
  double edge_temperature(int column) const;
  double known_temperature(int row, int column) const;

  heat_case case_;
  int rank_;
  int ranks_;
  int first_row_;
  int row_count_;
  std::vector<double> now_;
  std::vector<double> next_;
};
