// fault_page.cpp: writes docs/fault-matrix.md, and compares it with what was seen.
#include "fault_page.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <sstream>
#include <utility>

#include "scripted_tool/tool_log.h"

namespace scenario {

namespace {

// The outcome of each fault, by heading and fault.
using outcomes = std::map<std::pair<std::string, std::string>, page_cells>;

const std::string fault_separator = "; ";

const std::string introduction =
    R"(# Faults

What the launcher does when a program that it starts, or a file that it reads or writes, is not as it should be. Each line is tested with the real `mpirun.exe`: the test derives the outcome from the rules, makes the fault, and compares what it sees with both the rules and this page.

How to read it:

- A tool is started behind `cmd.exe`. What `cmd.exe` says of a tool that is missing or is no program counts as the tool's output: the launcher cannot tell them apart.
- *Shown*: how much of the tool's output reaches the user. *Says*: the launcher's own words; a command or a value stands as `<...>`. *Then*: what it starts next. *Status*: its exit status; "waits" means that it waits as long as the tool hangs, and goes on when the tool has ended.
- No exit code of a tool changes anything, 0xC0000005 of a crash neither. Only what a tool says counts.
- A tool that ends in the middle of a line has said what stands before.
)";

const std::string program_introduction = R"(
## Programs that the launcher starts
)";

const std::string file_introduction = R"(
## Files

"May not be read" and "may not be written": Windows refuses to open the file. "Locked": another program has it open and shares it with nobody. "Vanishes between two reads": the launcher reads it twice, and finds it the first time only. "Disk is full": the file can be opened, but takes nothing.

A share that goes away in the middle of a write has the outcome of the full disk, but what was written stays there. This is tried over the scripted platform, for each file that is written and each byte at which the share can go (`unit_tests`, `VanishingShare`).
)";

std::string page_path() {
  std::string path = SOURCE_FOLDER "/docs/fault-matrix.md";
  return path.starts_with('/') ? "Z:" + path : path;  // Wine's name of a file of the machine
}

bool is_writing() {
  return std::getenv("SCENARIO_WRITE_FAULTS") != nullptr;
}

std::vector<std::string> split(const std::string &text, const std::string &separator) {
  std::vector<std::string> pieces;
  std::size_t start = 0;
  for (std::size_t end; (end = text.find(separator, start)) != std::string::npos;
       start = end + separator.size()) {
    pieces.push_back(text.substr(start, end - start));
  }
  pieces.push_back(text.substr(start));
  return pieces;
}

std::string joined(const std::vector<std::string> &pieces, const std::string &separator) {
  std::string text;
  for (const auto &piece : pieces) {
    text += (text.empty() ? "" : separator) + piece;
  }
  return text;
}

std::string table_line(const std::vector<std::string> &cells) {
  return "| " + joined(cells, " | ") + " |\n";
}

// The faults of a section, those with the same outcome together.
std::vector<std::pair<std::vector<std::string>, page_cells>> table_lines(
    const page_section &section, const outcomes &seen) {
  std::vector<std::pair<std::vector<std::string>, page_cells>> lines;
  for (const auto &fault : section.faults) {
    const auto outcome = seen.find({section.heading, fault});
    const page_cells cells = outcome == seen.end() ? page_cells{"?"} : outcome->second;
    const auto same = std::find_if(lines.begin(), lines.end(),
                                   [&](const auto &line) { return line.second == cells; });
    if (same == lines.end()) {
      lines.push_back({{fault}, cells});
    } else {
      same->first.push_back(fault);
    }
  }
  return lines;
}

std::string section_text(const page_section &section, const outcomes &seen) {
  std::string text = "\n### " + section.heading + "\n\n" + section.about + "\n\n";
  std::vector<std::string> head = {"Fault"};
  head.insert(head.end(), section.columns.begin(), section.columns.end());
  text += table_line(head) + "|";
  for (std::size_t column = 0; column < head.size(); ++column) {
    text += "---|";
  }
  text += "\n";
  for (const auto &[faults, cells] : table_lines(section, seen)) {
    std::vector<std::string> line = {joined(faults, fault_separator)};
    line.insert(line.end(), cells.begin(), cells.end());
    text += table_line(line);
  }
  return text;
}

std::string page_text(const outcomes &seen) {
  std::string text = introduction + program_introduction;
  for (const auto &section : program_sections()) {
    text += section_text(section, seen);
  }
  text += file_introduction;
  for (const auto &section : file_sections()) {
    text += section_text(section, seen);
  }
  return text;
}

// The outcomes that stand on the kept page.
outcomes read_page(const std::string &text) {
  outcomes kept;
  std::string heading;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("### ")) {
      heading = line.substr(4);
    } else if (line.starts_with("| ") && line.ends_with(" |") && !line.starts_with("| Fault |")) {
      auto cells = split(line.substr(2, line.size() - 4), " | ");
      const auto faults = split(cells.front(), fault_separator);
      cells.erase(cells.begin());
      for (const auto &fault : faults) {
        kept[{heading, fault}] = cells;
      }
    }
  }
  return kept;
}

const std::string &kept_page() {
  static const std::string page = scripted_tool::read_file(page_path()).value_or("");
  return page;
}

outcomes noted;

// Writes the page when all tests of this process have run.
class page_writer : public testing::Environment {
  void TearDown() override {
    if (is_writing()) {
      noted.merge(read_page(kept_page()));  // what was not tried now stands there already
      EXPECT_TRUE(scripted_tool::write_file(page_path(), page_text(noted))) << page_path();
    }
  }
};

const auto *const registered_writer = testing::AddGlobalTestEnvironment(new page_writer);

}  // namespace

const fault_words &words_of(fault one) {
  static const std::map<fault, fault_words> words = {
      {fault::missing, {"is missing", "IsMissing"}},
      {fault::no_program, {"is no program", "IsNoProgram"}},
      {fault::refused, {"may not be opened", "MayNotBeOpened"}},
      {fault::hangs, {"hangs", "Hangs"}},
      {fault::dies_silently, {"dies before it says anything", "DiesSilently"}},
      {fault::dies_in_line, {"dies in the middle of a line", "DiesInALine"}},
      {fault::ten_megabytes, {"says 10 MB before its answer", "Says10Megabytes"}},
      {fault::all_bytes, {"says bytes 0 to 255 before its answer", "SaysAllBytes"}},
      {fault::exits_with_1, {"ends with 1", "EndsWith1"}},
      {fault::crashes, {"ends with 0xC0000005", "Crashes"}},
      {fault::closes_output, {"closes its output and lives on", "ClosesItsOutput"}},
      {fault::no_folder, {"its folder is missing", "ItsFolderIsMissing"}},
      {fault::unreadable, {"may not be read", "MayNotBeRead"}},
      {fault::unwritable, {"may not be written", "MayNotBeWritten"}},
      {fault::locked, {"is locked", "IsLocked"}},
      {fault::folder, {"is a folder", "IsAFolder"}},
      {fault::no_reader, {"its reader is gone", "ItsReaderIsGone"}},
      {fault::full, {"disk is full", "DiskIsFull"}},
      {fault::vanishes, {"vanishes between two reads", "VanishesBetweenTwoReads"}},
  };
  return words.at(one);
}

std::string quoted_lines(const std::string &text) {
  std::vector<std::string> lines;
  for (auto line : split(text, "\n")) {
    for (const std::string own :
         {"error : cmd = ", "Error in execute command ", "Unable to execute (null) "}) {
      if (line.starts_with(own)) {
        line = own + "<command>";
      }
    }
    line.erase(0, line.find_first_not_of(' '));
    const auto quoted = "`" + line.substr(0, line.find_last_not_of(' ') + 1) + "`";
    if (line.find_first_not_of('*') != std::string::npos &&
        std::find(lines.begin(), lines.end(), quoted) == lines.end()) {
      lines.push_back(quoted);
    }
  }
  return joined(lines, " ");
}

std::string listed(const std::vector<std::string> &pieces) {
  return pieces.empty() ? "nothing" : joined(pieces, ", ");
}

void compare_with_page(const std::string &heading, const std::string &fault,
                       const page_cells &cells) {
  if (is_writing()) {
    noted[{heading, fault}] = cells;
    return;
  }
  static const outcomes kept = read_page(kept_page());
  const auto found = kept.find({heading, fault});
  ASSERT_NE(kept.end(), found) << "not on the page: " << heading << ", " << fault;
  EXPECT_EQ(found->second, cells) << heading << ", " << fault;
}

void compare_rest_of_page() {
  if (!is_writing()) {
    EXPECT_EQ(page_text(read_page(kept_page())), kept_page());
  }
}

}  // namespace scenario
