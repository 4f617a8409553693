// fault_page.h: docs/fault-matrix.md, which tells what the launcher makes of each
// fault. Each fault's test compares its own line of the page with what it saw;
// with SCENARIO_WRITE_FAULTS set the page is written instead.
//
// A row of the matrix is a program or a file. It has a name for its tests, a heading and
// a sentence for the page, and rules, each for some of its faults.
#pragma once

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

namespace scenario {

enum class fault {
  missing,  // there is no such file
  // of a program
  no_program,  // the file is no program
  refused,     // Windows does not open the file
  hangs,       // says nothing and does not end
  dies_silently,
  dies_in_line,
  ten_megabytes,  // in front of its answer
  all_bytes,      // 0 to 255, in front of its answer
  exits_with_1,   // these three behind its answer
  crashes,
  closes_output,  // and lives on
  // of a file
  no_folder,  // the folder in which it is to be written is not there
  unreadable,
  unwritable,
  locked,
  folder,     // there is a folder of its name
  no_reader,  // a pipe whose reader is gone
  full,
  vanishes
};

// What it is called on the page and in the names of the tests.
struct fault_words {
  std::string page, test;
};
const fault_words &words_of(fault one);

// What the launcher finds, and what it is started with.
struct call_world {
  void (*given)() = nullptr;
  std::string arguments;
};

template <typename row>
struct matrix_cell {
  const row *of;
  fault with;
};

template <typename row>
void PrintTo(const matrix_cell<row> &cell, std::ostream *stream) {
  *stream << cell.of->heading << ", " << words_of(cell.with).page;
}

template <typename row>
std::string test_name(const matrix_cell<row> &cell) {
  return cell.of->name + words_of(cell.with).test;
}

// The row's rule for a fault; null when it has none.
template <typename row>
auto rule_for(const row &one, fault with) {
  const auto rule = std::find_if(one.rules.begin(), one.rules.end(), [&](const auto &known) {
    return std::find(known.when.begin(), known.when.end(), with) != known.when.end();
  });
  return rule == one.rules.end() ? nullptr : &*rule;
}

// Every row with each of its faults, these in their order.
template <typename row>
std::vector<matrix_cell<row>> cells_of(const std::vector<row> &rows) {
  std::vector<matrix_cell<row>> cells;
  for (const auto &one : rows) {
    for (int number = 0; number <= static_cast<int>(fault::vanishes); ++number) {
      if (rule_for(one, static_cast<fault>(number)) != nullptr) {
        cells.push_back({&one, static_cast<fault>(number)});
      }
    }
  }
  return cells;
}

// One program or file: a heading, a sentence about it, a table with a line for
// each fault (faults with the same outcome share one).
struct page_section {
  std::string heading;
  std::string about;
  std::vector<std::string> columns;  // those behind the fault
  std::vector<std::string> faults;
};

// What stands in the columns.
using page_cells = std::vector<std::string>;

template <typename row>
std::vector<page_section> sections_of(const std::vector<row> &rows,
                                      const std::vector<std::string> &columns) {
  std::vector<page_section> sections;
  for (const auto &[one, with] : cells_of(rows)) {
    if (sections.empty() || sections.back().heading != one->heading) {
      sections.push_back({one->heading, one->about, columns, {}});
    }
    sections.back().faults.push_back(words_of(with).page);
  }
  return sections;
}

// The sections of the page in their order, made where their tests are.
std::vector<page_section> program_sections();
std::vector<page_section> file_sections();

// Compares the outcome with the kept page, or notes it for the page to be written.
void compare_with_page(const std::string &heading, const std::string &fault,
                       const page_cells &cells);

// The lines of a text, each between backticks and each once; those of the launcher
// that hold a command hold <command> instead.
std::string quoted_lines(const std::string &text);

// Pieces with commas between them; "nothing" when there are none.
std::string listed(const std::vector<std::string> &pieces);

// Compares everything else on the page: texts, tables and their order.
void compare_rest_of_page();

}  // namespace scenario
