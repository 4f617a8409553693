// findings.cpp: the list of findings and its lines.
#include "front/findings.h"

#include <algorithm>

#include "core/messages.h"

namespace {

const char *word_for(verdict grade) {
  switch (grade) {
    case verdict::ok:
      return "ok";
    case verdict::note:
      return "note";
    case verdict::fault:
      break;
  }
  return "fault";
}

}  // namespace

void add_ok(finding_list &list, const char *name, const std::string &found) {
  list.push_back({verdict::ok, name, found, ""});
}

void add_note(finding_list &list, const char *name, const std::string &found,
              const std::string &cure) {
  list.push_back({verdict::note, name, found, cure});
}

void add_fault(finding_list &list, const char *name, const std::string &found,
               const std::string &cure) {
  list.push_back({verdict::fault, name, found, cure});
}

bool has_fault(const finding_list &list) {
  return std::any_of(list.begin(), list.end(),
                     [](const finding &one) { return one.grade == verdict::fault; });
}

void print_findings(const finding_list &list) {
  for (const finding &one : list) {
    const std::string page =
        one.grade == verdict::ok ? "" : "  [findings.md#" + std::string(one.name) + "]";
    print("%-5s  %-14s  %s%s%s%s\n", word_for(one.grade), one.name, one.found.c_str(),
          one.cure.empty() ? "" : ": ", one.cure.c_str(), page.c_str());
  }
}

std::vector<std::string> reasons_of(const finding_list &list) {
  std::vector<std::string> reasons;
  for (const finding &one : list) {
    if (one.grade == verdict::fault) {
      reasons.push_back(one.found + ": " + one.cure);
    }
  }
  return reasons;
}
