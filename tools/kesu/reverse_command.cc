#include "tools/kesu/reverse_command.h"

#include "tools/kesu/lookup_run.h"

namespace kesu_tool {
namespace {

LookupRun::Question QuestionOf(const kesu::Point& point, Format format) {
  return [point, format](kesu::Client* client, LookupRun::Tell tell) {
    return client->Reverse(point, [=](const kesu::ReverseResult& result) {
      tell(PlaceAnswer(format, point, result));
    });
  };
}

}  // namespace

int RunReverse(const Arguments& arguments) {
  LookupRun run(arguments);
  for (const kesu::Point& point : arguments.points) run.Ask(QuestionOf(point, arguments.format));
  return run.Run();
}

}  // namespace kesu_tool
