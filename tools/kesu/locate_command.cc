#include "tools/kesu/locate_command.h"

#include <cstddef>
#include <optional>
#include <string>
#include <utility>

#include "tools/kesu/input_line.h"
#include "tools/kesu/lookup_run.h"

namespace kesu_tool {
namespace {

/// For `run`, which is borrowed.
LookupRun::Question QuestionOf(const LookupRun* run, kesu::Observation seen, Format format,
                               Label label) {
  return [run, seen = std::move(seen), format, label = std::move(label)](
             kesu::Client* client, const LookupRun::Tell& tell) {
    return client->Locate(seen, [=](const kesu::LocateResult& result) {
      tell(LocationAnswer(format, label, result, run->platform_key()));
    });
  };
}

}  // namespace

int RunLocate(const Arguments& arguments) {
  LookupRun run(arguments);
  const std::size_t count = arguments.observations.size();
  for (std::size_t i = 0; i < count; ++i) {
    Label label;
    if (count > 1) label.words = "lookup " + std::to_string(i + 1);
    run.Ask(QuestionOf(&run, arguments.observations[i], arguments.format, std::move(label)));
  }
  if (arguments.reads_input) {
    run.AskLines([&](auto line, const Label& label, std::string* error) {
      auto seen = ParseObservationLine(line, error);
      return seen ? std::optional(QuestionOf(&run, *seen, arguments.format, label)) : std::nullopt;
    });
  }
  return run.Run();
}

}  // namespace kesu_tool
