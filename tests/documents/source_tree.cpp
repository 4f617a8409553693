// source_tree.cpp: reads the code and the documents of this tree.
#include "source_tree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>

namespace {

const std::filesystem::path root = SOURCE_FOLDER;

std::vector<std::string> files_below(const std::string &folder,
                                     const std::vector<std::string> &endings) {
  std::vector<std::string> files;
  for (const auto &entry : std::filesystem::recursive_directory_iterator(root / folder)) {
    if (std::find(endings.begin(), endings.end(), entry.path().extension().string()) !=
        endings.end()) {
      files.push_back(std::filesystem::relative(entry.path(), root).generic_string());
    }
  }
  std::sort(files.begin(), files.end());
  return files;
}

// Walks over code and tells a literal from everything else.
class code_reader {
 public:
  explicit code_reader(const std::string &code) : code_(code) {}

  bool at_end() const { return next_ >= code_.size(); }
  bool at_literal() const { return code_[next_] == '"'; }
  bool at_character() const { return code_[next_] == '\''; }
  bool at_comment() const { return code_.compare(next_, 2, "//") == 0; }

  char take() { return code_[next_++]; }

  // A literal, or a character constant, its quotes included.
  std::string take_quoted() {
    const char quote = code_[next_];
    std::string text(1, take());
    while (!at_end() && code_[next_] != quote) {
      if (code_[next_] == '\\') {
        text += take();
      }
      text += take();
    }
    return text + (at_end() ? '"' : take());
  }

  void skip_line() {
    while (!at_end() && code_[next_] != '\n') {
      ++next_;
    }
  }

 private:
  const std::string &code_;
  std::size_t next_ = 0;
};

std::string without_comments(const std::string &code) {
  std::string text;
  code_reader reader(code);
  while (!reader.at_end()) {
    if (reader.at_comment()) {
      reader.skip_line();
    } else if (reader.at_literal() || reader.at_character()) {
      text += reader.take_quoted();
    } else {
      text += reader.take();
    }
  }
  return text;
}

// "a"  "b" -> "ab"
std::string with_joined_literals(const std::string &code) {
  std::string text;
  std::string blanks;  // behind a literal, in front of what may be another one
  bool behind_literal = false;
  code_reader reader(code);
  while (!reader.at_end()) {
    if (reader.at_literal()) {
      const std::string literal = reader.take_quoted();
      if (behind_literal) {
        text.pop_back();
        text += literal.substr(1);
      } else {
        text += literal;
      }
      behind_literal = true;
      blanks.clear();
      continue;
    }
    if (reader.at_character()) {
      text += blanks + reader.take_quoted();
    } else {
      const char letter = reader.take();
      if (behind_literal && (letter == ' ' || letter == '\n')) {
        blanks += letter;
        continue;
      }
      text += blanks + letter;
    }
    behind_literal = false;
    blanks.clear();
  }
  return text + blanks;
}

std::string resolved(const std::string &literal) {
  std::string text;
  for (std::size_t i = 0; i < literal.size(); ++i) {
    if (literal[i] != '\\' || i + 1 == literal.size()) {
      text += literal[i];
      continue;
    }
    const char letter = literal[++i];
    text += letter == 'n' ? '\n' : letter == 't' ? '\t' : letter == 'r' ? '\r' : letter;
  }
  return text;
}

std::vector<std::string> lines_of(const std::string &text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

std::string trimmed(const std::string &text) {
  const std::size_t start = text.find_first_not_of(' ');
  return start == std::string::npos ? ""
                                    : text.substr(start, text.find_last_not_of(' ') - start + 1);
}

std::vector<std::string> cells_of(const std::string &row) {
  std::vector<std::string> cells;
  std::size_t start = 1;  // behind the first bar
  for (std::size_t bar = 0; (bar = row.find('|', start)) != std::string::npos; start = bar + 1) {
    cells.push_back(trimmed(row.substr(start, bar - start)));
  }
  return cells;
}

}  // namespace

std::string file_text(const std::string &path) {
  std::ifstream file(root / path, std::ios::binary);
  EXPECT_TRUE(file) << "no " << path;
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

bool exists_in_tree(const std::string &path) {
  return std::filesystem::exists(root / path);
}

std::size_t files_in(const std::string &folder) {
  const std::filesystem::directory_iterator files(root / folder);
  return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

std::vector<std::string> all_matches(const std::string &text, const std::string &pattern) {
  const std::regex expression(pattern);
  std::vector<std::string> found;
  for (std::sregex_iterator match(text.begin(), text.end(), expression), end; match != end;
       ++match) {
    found.push_back((*match)[1]);
  }
  return found;
}

std::string folder_of(const std::string &path) {
  const std::string folder = std::filesystem::path(path).parent_path().generic_string();
  return folder.empty() ? "." : folder;
}

std::string file_stem(const std::string &path) {
  return std::filesystem::path(path).stem().string();
}

std::string normal_path(const std::string &path) {
  return std::filesystem::path(path).lexically_normal().generic_string();
}

std::vector<std::string> code_files() {
  return files_below("src", {".cpp", ".h"});
}

std::string code_of(const std::string &path) {
  const std::string code = without_comments(file_text(path));
  return with_joined_literals(std::regex_replace(code, std::regex("#include[^\n]*"), ""));
}

std::vector<std::string> literals(const std::string &code) {
  std::vector<std::string> found;
  code_reader reader(code);
  while (!reader.at_end()) {
    if (reader.at_literal()) {
      const std::string literal = reader.take_quoted();
      found.push_back(resolved(literal.substr(1, literal.size() - 2)));
    } else if (reader.at_character()) {
      (void)reader.take_quoted();
    } else {
      (void)reader.take();
    }
  }
  return found;
}

std::vector<std::string> document_files() {
  std::vector<std::string> files = files_below("docs", {".md"});
  files.insert(files.begin(), {"CHANGELOG.md", "CONTRIBUTING.md", "README.md", "SECURITY.md"});
  return files;
}

std::string document(const std::string &path) {
  std::string text = file_text(path);
  text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
  return text;
}

std::vector<std::string> fenced_blocks(const std::string &text, const std::string &kind) {
  std::vector<std::string> blocks;
  bool inside = false;
  bool wanted = false;
  for (const auto &line : lines_of(text)) {
    if (line.starts_with("```")) {
      wanted = !inside && line == "```" + kind;
      inside = !inside;
      if (wanted) {
        blocks.emplace_back();
      }
    } else if (inside && wanted) {
      blocks.back() += line + "\n";
    }
  }
  EXPECT_FALSE(inside) << "a ``` block without an end";
  return blocks;
}

std::string without_fenced_blocks(const std::string &text) {
  std::string rest;
  bool inside = false;
  for (const auto &line : lines_of(text)) {
    if (line.starts_with("```")) {
      inside = !inside;
    } else if (!inside) {
      rest += line + "\n";
    }
  }
  return rest;
}

std::vector<std::vector<std::string>> table_rows(const std::string &text,
                                                 const std::string &heading) {
  std::vector<std::vector<std::string>> rows;
  bool inside = false;
  for (const auto &line : lines_of(text)) {
    if (line.starts_with("| " + heading)) {
      inside = true;
    } else if (!line.starts_with("|")) {
      inside = false;
    } else if (inside && !line.starts_with("|--")) {
      rows.push_back(cells_of(line));
    }
  }
  EXPECT_FALSE(rows.empty()) << "no table: " << heading;
  return rows;
}

std::vector<std::string> in_backticks(const std::string &text) {
  std::vector<std::string> found;
  for (std::size_t start = 0; (start = text.find('`', start)) != std::string::npos;) {
    const std::size_t end = text.find('`', start + 1);
    if (end == std::string::npos) {
      break;
    }
    found.push_back(text.substr(start + 1, end - start - 1));
    start = end + 1;
  }
  return found;
}
