#include "tools/kesu/reverse_command.h"

#include <optional>
#include <string>

#include "tools/kesu/input_line.h"
#include "tools/kesu/lookup_run.h"
#include "tools/kesu/map_json.h"

namespace kesu_tool {
namespace {

/// `arguments` are borrowed.
LookupRun::Question QuestionOf(const kesu::Point& point, const Arguments& arguments,
                               const Label& label) {
  return [point, &arguments, label](kesu::Client* client, const LookupRun::Tell& tell) {
    return client->Reverse(point, [=, &arguments](const kesu::ReverseResult& result) {
      Answer answer = PlaceAnswer(arguments.format, label, point, result);
      if (!arguments.map_file.empty()) answer.map = PlaceMap(label.words, point, result);
      tell(std::move(answer));
    });
  };
}

}  // namespace

int RunReverse(const Arguments& arguments) {
  LookupRun run(arguments);
  for (const kesu::Point& point : arguments.points) {
    run.Ask(QuestionOf(point, arguments, {}));
  }
  if (arguments.reads_input) {
    run.AskLines([&](auto line, const Label& label, std::string* error) {
      const auto point = ParsePointLine(line, error);
      return point ? std::optional(QuestionOf(*point, arguments, label)) : std::nullopt;
    });
  }
  return run.Run();
}

}  // namespace kesu_tool
