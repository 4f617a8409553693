// run_files.cpp: reads a record with a parser that is not the launcher's.
#include "run_files.h"

#include <nlohmann/json.hpp>

#include "fuzz_support.h"
#include "support/fresh_launch.h"

namespace fuzz {

namespace {

using nlohmann::json;

const json &member(const json &object, const char *name) {
  const auto found = object.find(name);
  require(found != object.end(), name);
  return *found;
}

std::vector<std::string> texts_of(const json &array) {
  std::vector<std::string> texts;
  for (const json &text : array) {
    require(text.is_string(), "each of the record's texts is one");
    texts.push_back(text.get<std::string>());
  }
  return texts;
}

}  // namespace

std::optional<read_record> read_run_record() {
  const auto content = stand_in::file_content(record_path);
  if (!content) {
    return std::nullopt;
  }
  const json whole = json::parse(*content, nullptr, false);
  require(whole.is_object(), "the record is JSON: " + *content);
  read_record record;
  require(member(whole, "status").is_number_integer(), "the status is a whole number");
  record.status = member(whole, "status").get<int>();
  record.arguments = texts_of(member(whole, "arguments"));
  record.messages = texts_of(member(whole, "messages"));
  for (const json &step : member(whole, "steps")) {
    record.steps.push_back({member(step, "kind").get<std::string>(),
                            member(step, "text").get<std::string>(),
                            !member(step, "assumed").is_null()});
  }
  const json &launch = member(whole, "launch");
  if (launch.is_object()) {
    record.command = member(launch, "command").get<std::string>();
    for (const json &piece : member(launch, "pieces")) {
      record.pieces.push_back(member(piece, "text").get<std::string>());
    }
  }
  return record;
}

}  // namespace fuzz
