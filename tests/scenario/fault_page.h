// fault_page.h: docs/fault-matrix.md, which tells what the launcher makes of each
// fault. Each fault's test compares its own line of the page with what it saw;
// with SCENARIO_WRITE_FAULTS set the page is written instead.
#pragma once

#include <string>
#include <vector>

namespace scenario {

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

// The sections of the page in their order; fault_matrix_test.cpp makes them.
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
