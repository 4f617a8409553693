// rehearsal_fuzzer.cpp: a rehearsal and the real run in the same world, which
// run_description.h explains. A rehearsal does nothing; when the real run only asks
// before it launches, both have the same command.
#include <algorithm>

#include "core/launch_state.h"
#include "fuzz_support.h"
#include "run_description.h"
#include "run_files.h"
#include "support/fresh_launch.h"

namespace {

fuzz::run_result run(std::string_view text, const fuzz::described_run &described,
                     const char *rehearse) {
  fuzz::begin_run(described.may_hang);
  fuzz::build_world(text);
  stand_in::given_variable("ZEPHON_REHEARSAL", rehearse);
  stand_in::given_variable("ZEPHON_RUN_RECORD", fuzz::record_path);
  return fuzz::run_launcher(described.arguments);
}

// The commands that were really asked.
bool was_asked(const fuzz::read_record &record, const std::string &command) {
  return std::any_of(record.steps.begin(), record.steps.end(), [&](const auto &step) {
    return step.kind == "query" && !step.is_assumed && step.text == command;
  });
}

bool is_record(const std::string &path) {
  return path.starts_with(fuzz::record_path);
}

void check_nothing_was_done(const fuzz::read_record &record) {
  for (const auto &started : stand_in::started_commands()) {
    fuzz::require(was_asked(record, platform::utf8_of(started.command)),
                  "only questions are asked: " + started.command);
  }
  for (const auto &files : {stand_in::written_files(), stand_in::removed_files()}) {
    for (const std::string &path : files) {
      fuzz::require(is_record(path) || stand_in::file_exists(path), "no file is made: " + path);
    }
  }
  fuzz::require(stand_in::message_boxes().empty(), "no box is shown");
}

void check_pieces(const fuzz::read_record &record) {
  std::string together;
  for (const std::string &piece : record.pieces) {
    together += piece;
  }
  fuzz::require(together == record.command.value_or(""), "the pieces are the command");
}

// Whether all that came before the launch could be rehearsed as it really went.
bool only_asked(const fuzz::read_record &record) {
  return record.command &&
         std::none_of(record.steps.begin(), record.steps.end(), [](const auto &step) {
           return step.kind == "action" || step.kind == "question";
         });
}

// The stand-in makes a file in a folder that is not there; Windows and a rehearsal do not.
bool folders_exist(const std::vector<std::string> &paths, std::string_view text) {
  fuzz::begin_run();
  fuzz::build_world(text);
  return std::all_of(paths.begin(), paths.end(), [](const std::string &path) {
    const std::size_t name = path.find_last_of("\\/") + 1;
    return is_record(path) || platform::list_directory(path.substr(0, name) + "*").has_value();
  });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  const auto text = fuzz::text_of(data, size);
  const auto described = fuzz::read_description(text);
  const auto rehearsed = run(text, described, "1");
  const auto told = fuzz::read_run_record();
  if (!told || rehearsed.end != fuzz::run_end::ended) {
    return 0;
  }
  check_nothing_was_done(*told);
  check_pieces(*told);
  if (!described.spares_files || described.has_ctrl_c || !told->command) {
    return 0;
  }
  const auto real = run(text, described, "0");
  const auto recorded = fuzz::read_run_record();
  if (recorded && real.end == fuzz::run_end::ended && only_asked(*recorded)) {
    fuzz::require(
        told->command == recorded->command || !folders_exist(stand_in::written_files(), text),
        "the rehearsal has the real run's command: " + told->command.value_or("") + "\n" +
            recorded->command.value_or(""));
  }
  return 0;
}
