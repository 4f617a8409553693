// source_tree.h: reads the code and the documents of this tree.
#pragma once

#include <string>
#include <vector>

// ---- Files --------------------------------------------------------------------------------

// A file's text; paths begin in the tree's own folder. The test fails when there is none.
std::string file_text(const std::string &path);

bool exists_in_tree(const std::string &path);

std::size_t files_in(const std::string &folder);  // how many

// "docs/options.md" -> "docs"; a path without a folder gives ".".
std::string folder_of(const std::string &path);

// "src/core/text.cpp" -> "text"
std::string file_stem(const std::string &path);

// "docs/../README.md" -> "README.md"
std::string normal_path(const std::string &path);

// ---- Code ---------------------------------------------------------------------------------

// Every .cpp and .h below src/, sorted.
std::vector<std::string> code_files();

// A code file without comments and without #include lines; string literals that
// stand side by side are joined, as the compiler does it.
std::string code_of(const std::string &path);

// The string literals of such a text, with their escapes resolved.
std::vector<std::string> literals(const std::string &code);

// ---- Documents ----------------------------------------------------------------------------

// README.md, CHANGELOG.md and every .md below docs/, sorted.
std::vector<std::string> document_files();

std::string document(const std::string &path);

// The blocks between ``` lines of one kind: ```message ... ```
std::vector<std::string> fenced_blocks(const std::string &text, const std::string &kind);

std::string without_fenced_blocks(const std::string &text);

// The cells of every row of the tables that have this heading line (without its
// first bar). Bars cannot stand inside a cell.
std::vector<std::vector<std::string>> table_rows(const std::string &text,
                                                 const std::string &heading);

// What the first group of a regular expression holds, at each of its matches.
std::vector<std::string> all_matches(const std::string &text, const std::string &pattern);

// The texts between backticks.
std::vector<std::string> in_backticks(const std::string &text);
