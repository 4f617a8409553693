// case_file.cpp: reads the case file of the heat solver.
#include "case_file.h"

#include <exception>
#include <sstream>
#include <stdexcept>

namespace {

std::string trimmed(const std::string &text) {
  const auto first = text.find_first_not_of(" \t\r");
  if (first == std::string::npos) {
    return "";
  }
  return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

// A number that fills the whole text; throws otherwise.
int whole_number(const std::string &text) {
  std::size_t used = 0;
  const int number = std::stoi(text, &used);
  if (used != text.size()) {
    throw std::invalid_argument(text);
  }
  return number;
}

double number(const std::string &text) {
  std::size_t used = 0;
  const double value = std::stod(text, &used);
  if (used != text.size()) {
    throw std::invalid_argument(text);
  }
  return value;
}

// Stores one setting; false when there is no setting of this name.
bool store(heat_case &result, const std::string &name, const std::string &value) {
  if (name == "title") {
    result.title = value;
  } else if (name == "width") {
    result.width = number(value);
  } else if (name == "height") {
    result.height = number(value);
  } else if (name == "columns") {
    result.columns = whole_number(value);
  } else if (name == "rows") {
    result.rows = whole_number(value);
  } else if (name == "temperature") {
    result.temperature = number(value);
  } else if (name == "iterations") {
    result.iterations = whole_number(value);
  } else if (name == "report_every") {
    result.report_every = whole_number(value);
  } else if (name == "residual") {
    result.residual = number(value);
  } else if (name == "allowed_error") {
    result.allowed_error = number(value);
  } else {
    return false;
  }
  return true;
}

std::string check(const heat_case &given) {
  if (!(given.width > 0) || !(given.height > 0)) {
    return "the plate has no size";
  }
  if (given.columns < 1 || given.rows < 1) {
    return "the grid has no points";
  }
  if (given.report_every < 1) {
    return "report_every is below 1";
  }
  return "";
}

}  // namespace

std::string parse_case(const std::string &text, heat_case &result) {
  std::istringstream lines(text);
  std::string line;
  while (std::getline(lines, line)) {
    line = trimmed(line.substr(0, line.find('#')));
    if (line.empty()) {
      continue;
    }
    const auto equals = line.find('=');
    if (equals == std::string::npos) {
      return "not of the form name = value: " + line;
    }
    try {
      if (!store(result, trimmed(line.substr(0, equals)), trimmed(line.substr(equals + 1)))) {
        return "unknown setting: " + line;
      }
    } catch (const std::exception &) {
      return "not a number: " + line;
    }
  }
  return check(result);
}
