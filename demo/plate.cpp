// plate.cpp: Jacobi's method for the steady heat equation on a plate.
#include "plate.h"

#include <mpi.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <thread>

namespace {

// How many of `rows` rows the ranks below this one have; the first ranks take
// what is left over.   10 rows on 4 ranks -> 3 3 2 2
int rows_before(int rows, int rank, int ranks) {
  return rows / ranks * rank + std::min(rows % ranks, rank);
}

}  // namespace

plate_part::plate_part(const heat_case &given, int rank, int ranks)
    : case_(given),
      rank_(rank),
      ranks_(ranks),
      first_row_(rows_before(given.rows, rank, ranks) + 1),
      row_count_(rows_before(given.rows, rank + 1, ranks) - rows_before(given.rows, rank, ranks)),
      now_(at(row_count_ + 2, 0), 0.0) {
  if (rank_ == ranks_ - 1) {
    for (int column = 1; column <= case_.columns; ++column) {
      now_[at(row_count_ + 1, column)] = edge_temperature(column);
    }
  }
  next_ = now_;
}

// Row 0 and the row after the last are the neighbours' rows, column 0 and the
// column after the last the plate's edges.
std::size_t plate_part::at(int row, int column) const {
  return static_cast<std::size_t>(row) * static_cast<std::size_t>(case_.columns + 2) +
         static_cast<std::size_t>(column);
}

double plate_part::edge_temperature(int column) const {
  return case_.temperature * std::sin(std::numbers::pi * column / (case_.columns + 1));
}

// The solution of Laplace's equation for this edge, as textbooks give it.
double plate_part::known_temperature(int row, int column) const {
  const double k = std::numbers::pi / case_.width;
  const double y = case_.height * (first_row_ + row - 1) / (case_.rows + 1);
  return edge_temperature(column) * std::sinh(k * y) / std::sinh(k * case_.height);
}

void plate_part::exchange_rows() {
  const int below = rank_ > 0 ? rank_ - 1 : MPI_PROC_NULL;
  const int above = rank_ < ranks_ - 1 ? rank_ + 1 : MPI_PROC_NULL;
  const int columns = case_.columns;
  const auto row = [this](int number) { return &now_[at(number, 1)]; };
  std::array<MPI_Request, 4> transfers = {};
  MPI_Irecv(row(0), columns, MPI_DOUBLE, below, 0, MPI_COMM_WORLD, &transfers[0]);
  MPI_Irecv(row(row_count_ + 1), columns, MPI_DOUBLE, above, 1, MPI_COMM_WORLD, &transfers[1]);
  MPI_Isend(row(row_count_), columns, MPI_DOUBLE, above, 0, MPI_COMM_WORLD, &transfers[2]);
  MPI_Isend(row(1), columns, MPI_DOUBLE, below, 1, MPI_COMM_WORLD, &transfers[3]);

  // MPI's own waiting keeps the processor busy, which costs milliseconds a step
  // when there are more ranks than processors; so a waiting rank steps aside.
  int done = 0;
  while (done == 0) {
    MPI_Testall(static_cast<int>(transfers.size()), transfers.data(), &done, MPI_STATUSES_IGNORE);
    if (done == 0) {
      std::this_thread::yield();
    }
  }
}

double plate_part::iterate() {
  const double dx = case_.width / (case_.columns + 1);
  const double dy = case_.height / (case_.rows + 1);
  const double across = dy * dy / (2 * (dx * dx + dy * dy));
  const double along = dx * dx / (2 * (dx * dx + dy * dy));
  double largest_change = 0;
  for (int row = 1; row <= row_count_; ++row) {
    for (int column = 1; column <= case_.columns; ++column) {
      const double value = across * (now_[at(row, column - 1)] + now_[at(row, column + 1)]) +
                           along * (now_[at(row - 1, column)] + now_[at(row + 1, column)]);
      largest_change = std::max(largest_change, std::abs(value - now_[at(row, column)]));
      next_[at(row, column)] = value;
    }
  }
  // The heated edge is in both fields, the neighbours' rows come anew each time.
  now_.swap(next_);
  return largest_change;
}

double plate_part::largest_error() const {
  double largest = 0;
  for (int row = 1; row <= row_count_; ++row) {
    for (int column = 1; column <= case_.columns; ++column) {
      largest = std::max(largest, std::abs(now_[at(row, column)] - known_temperature(row, column)));
    }
  }
  return largest;
}
