// host_file_check.cpp: what each MPI takes in a host file.
//
//            host   host:2   host 2   # comment   blank line
//   msmpi    yes    no       yes      yes         yes
//   mpich2   yes    yes      yes      yes         yes, but the launcher counts it
//   mpich    yes    yes      no       yes         yes
//   intel    yes    yes      no       no          no      the launcher writes the counts
//   ibmmpi   yes    yes      no       no          no      the same
//
// One bare name a line, repeated for each rank, is right for all of them.
#include "front/host_file_check.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <unordered_set>

namespace {

struct host_file_rules {
  bool colon = true;      // host:2
  bool blank = false;     // host 2
  bool comments = false;  // a line that begins with #
  bool empty_lines = false;
};

host_file_rules rules_of(const std::string &mpi) {
  if (mpi == "msmpi" || mpi == "vmpi") {
    return {.colon = false, .blank = true, .comments = true, .empty_lines = true};
  }
  if (mpi == "mpich2") {
    return {.colon = true, .blank = true, .comments = true, .empty_lines = false};
  }
  if (mpi == "mpich" || mpi == "smpi" || mpi == "nmpi") {
    return {.colon = true, .blank = false, .comments = true, .empty_lines = true};
  }
  return {};
}

constexpr const char *one_host_a_line = "write one host on a line";

// What the file as a whole is; nothing when it is text as the MPIs read it.
const char *fault_of_bytes(const std::string &bytes) {
  if (bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF") ||
      bytes.find('\0') != std::string::npos) {
    return "the file is UTF-16";
  }
  if (bytes.starts_with("\xEF\xBB\xBF")) {
    return "the file begins with a byte-order mark";
  }
  return nullptr;
}

bool is_count(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos &&
         text.find_first_not_of('0') != std::string_view::npos;
}

std::string count_form(const std::string &host, const std::string &count,
                       const host_file_rules &rules) {
  return "write " + host + (rules.colon ? ":" : " ") + count;
}

// What is wrong with a line, and its cure; `host` gets the line's host. Nothing
// wrong: an empty text.
struct line_finding {
  std::string what;
  std::string cure;
};

line_finding check_count(const std::string &host, const std::string &count, bool after_colon,
                         const host_file_rules &rules) {
  if (!is_count(count)) {
    return {"\"" + count + "\" is no number of processes", one_host_a_line};
  }
  if (after_colon && !rules.colon) {
    return {"this MPI takes the whole of it for the host's name", count_form(host, count, rules)};
  }
  if (!after_colon && !rules.blank) {
    return {"the count lacks its colon", count_form(host, count, rules)};
  }
  return {};
}

line_finding check_line(std::string line, const host_file_rules &rules, std::string &host) {
  if (rules.empty_lines) {  // these read to the comment, and over blanks in front of it
    line.erase(std::min(line.find('#'), line.size()));
    line.erase(line.find_last_not_of(" \t") + 1);
  }
  if (line.find_first_not_of(" \t") == std::string::npos) {
    return rules.empty_lines
               ? line_finding{}
               : line_finding{"the line is empty, and would count as a host", "remove the line"};
  }
  if (line.starts_with("#")) {
    return rules.comments ? line_finding{}
                          : line_finding{"a comment would count as a host", "remove the line"};
  }
  if (line.find('#') != std::string::npos) {
    return {"a comment behind the host", "remove the comment"};
  }
  if (line.find_first_of(",;") != std::string::npos) {
    return {"a list", one_host_a_line};
  }
  if (line.find('\t') != std::string::npos) {
    return {"a tab", "write blanks instead"};
  }
  if (line.find('\r') != std::string::npos) {
    return {"a carriage return inside the line", one_host_a_line};
  }
  if (line.front() == ' ' || line.back() == ' ') {
    return {"a blank at the line's beginning or end", "remove the blank"};
  }
  const std::size_t end = line.find_first_of(": ");
  host = line.substr(0, end);
  if (host.empty()) {
    return {"a colon without a host", one_host_a_line};
  }
  if (end == std::string::npos) {
    return {};
  }
  const std::size_t count = std::min(line.find_first_not_of(' ', end + 1), line.size());
  return check_count(host, line.substr(count), line[end] == ':', rules);
}

}  // namespace

host_file_reading check_host_file(const std::string &bytes, const std::string &mpi) {
  host_file_reading reading;
  if (const char *fault = fault_of_bytes(bytes)) {
    reading.faults.push_back({0, fault, "save it as plain text without a mark (ANSI)"});
    return reading;
  }
  const host_file_rules rules = rules_of(mpi);
  std::unordered_set<std::string> seen;
  int number = 0;
  for (std::size_t start = 0; start < bytes.size();) {
    const std::size_t end = std::min(bytes.find('\n', start), bytes.size());
    std::string line = bytes.substr(start, end - start);
    line.erase(line.find_last_not_of('\r') + 1);
    start = end + 1;
    ++number;
    if (line.find('\x1A') != std::string::npos) {
      reading.faults.push_back({number, "the file ends here (Ctrl-Z)", "remove the sign"});
      return reading;
    }
    std::string host;
    const line_finding found = check_line(line, rules, host);
    if (!found.what.empty()) {
      reading.faults.push_back({number, found.what, found.cure});
    } else if (!host.empty() && seen.insert(host).second) {
      reading.hosts.push_back({host, number});
    }
  }
  if (reading.hosts.empty() && reading.faults.empty()) {
    reading.faults.push_back({0, "there is no host in the file", one_host_a_line});
  }
  return reading;
}
