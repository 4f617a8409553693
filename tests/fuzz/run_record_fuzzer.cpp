// run_record_fuzzer.cpp: what a run writes down of itself, whatever happens in it;
// run_description.h explains the input.
#include "core/launch_state.h"
#include "fuzz_support.h"
#include "run_description.h"
#include "run_files.h"
#include "support/fresh_launch.h"

namespace {

void check_record(const fuzz::read_record &record, const fuzz::described_run &described,
                  int status) {
  fuzz::require(record.status == status, "the record has the run's status");
  std::vector<std::string> arguments;
  for (const std::string &argument : described.arguments) {
    arguments.push_back(platform::utf8_of(argument));
  }
  fuzz::require(record.arguments == arguments, "the record has the arguments as they were given");
  std::string together;
  for (const std::string &piece : record.pieces) {
    together += piece;
  }
  fuzz::require(together == record.command.value_or(""), "the pieces are the command");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  const auto text = fuzz::text_of(data, size);
  const auto described = fuzz::read_description(text);
  fuzz::begin_run(described.may_hang);
  fuzz::build_world(text);
  stand_in::given_variable("ZEPHON_RUN_RECORD", fuzz::record_path);

  const auto result = fuzz::run_launcher(described.arguments);
  const auto record = fuzz::read_run_record();
  if (record && result.end == fuzz::run_end::ended) {
    check_record(*record, described, result.status);
  }
  // The second Ctrl-C is the system's own, and ends the program where it stands.
  fuzz::require(record || !described.spares_files || described.has_ctrl_c ||
                    result.end != fuzz::run_end::ended,
                "a run that ends leaves its record");
  return 0;
}
