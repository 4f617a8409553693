// findings.h: what was found out about a launch before it took place.
#pragma once

#include <string>
#include <vector>

enum class verdict {
  ok,    // as it should be
  note,  // the run can take place, and may surprise
  fault  // the run cannot take place, or not as it was meant
};

struct finding {
  verdict grade = verdict::ok;
  const char *name = "";  // stable: a script may look for it, and the page is named after it
  std::string found;
  std::string cure;  // what to do; empty when there is nothing to do
};

using finding_list = std::vector<finding>;

void add_ok(finding_list &list, const char *name, const std::string &found);
void add_note(finding_list &list, const char *name, const std::string &found,
              const std::string &cure);
void add_fault(finding_list &list, const char *name, const std::string &found,
               const std::string &cure);

bool has_fault(const finding_list &list);

// Prints every finding on a line of its own, with its page.
void print_findings(const finding_list &list);

// What stands in the way of a run, a line for each fault.
std::vector<std::string> reasons_of(const finding_list &list);
