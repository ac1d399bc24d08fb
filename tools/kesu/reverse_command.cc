#include "tools/kesu/reverse_command.h"

#include <optional>
#include <string>

#include "tools/kesu/input_line.h"
#include "tools/kesu/lookup_run.h"

namespace kesu_tool {
namespace {

LookupRun::Question QuestionOf(const kesu::Point& point, Format format, const Label& label) {
  return [point, format, label](kesu::Client* client, const LookupRun::Tell& tell) {
    return client->Reverse(point, [=](const kesu::ReverseResult& result) {
      tell(PlaceAnswer(format, label, point, result));
    });
  };
}

}  // namespace

int RunReverse(const Arguments& arguments) {
  LookupRun run(arguments);
  for (const kesu::Point& point : arguments.points) {
    run.Ask(QuestionOf(point, arguments.format, {}));
  }
  if (arguments.reads_input) {
    run.AskLines([&](auto line, const Label& label, std::string* error) {
      const auto point = ParsePointLine(line, error);
      return point ? std::optional(QuestionOf(*point, arguments.format, label)) : std::nullopt;
    });
  }
  return run.Run();
}

}  // namespace kesu_tool
