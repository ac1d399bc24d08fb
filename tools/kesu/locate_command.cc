#include "tools/kesu/locate_command.h"

#include <cstddef>
#include <optional>
#include <string>
#include <utility>

#include "tools/kesu/input_line.h"
#include "tools/kesu/lookup_run.h"
#include "tools/kesu/map_json.h"

namespace kesu_tool {
namespace {

/// For `run`, which is borrowed, as `arguments` are.
LookupRun::Question QuestionOf(const LookupRun* run, kesu::Observation seen,
                               const Arguments& arguments, Label label) {
  return [run, seen = std::move(seen), &arguments, label = std::move(label)](
             kesu::Client* client, const LookupRun::Tell& tell) {
    return client->Locate(seen, [=, &arguments](const kesu::LocateResult& result) {
      Answer answer = LocationAnswer(arguments.format, label, result, run->platform_key());
      const std::string& title = label.words.empty() ? "lookup" : label.words;
      if (!arguments.map_file.empty()) answer.map = LocationMap(title, seen, result);
      tell(std::move(answer));
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
    run.Ask(QuestionOf(&run, arguments.observations[i], arguments, std::move(label)));
  }
  if (arguments.reads_input) {
    run.AskLines([&](auto line, const Label& label, std::string* error) {
      auto seen = ParseObservationLine(line, error);
      return seen ? std::optional(QuestionOf(&run, *seen, arguments, label)) : std::nullopt;
    });
  }
  return run.Run();
}

}  // namespace kesu_tool
