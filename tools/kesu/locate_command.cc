#include "tools/kesu/locate_command.h"

#include <cstddef>
#include <string>
#include <utility>

#include "tools/kesu/lookup_run.h"

namespace kesu_tool {
namespace {

LookupRun::Question QuestionOf(const kesu::Observation& seen, Format format, Label label) {
  return [&seen, format, label = std::move(label)](kesu::Client* client, LookupRun::Tell tell) {
    return client->Locate(seen, [=](const kesu::LocateResult& result) {
      tell(LocationAnswer(format, label, result, client->platform_key()));
    });
  };
}

}  // namespace

int RunLocate(const Arguments& arguments) {
  LookupRun run(arguments);
  const std::size_t count = arguments.observations.size();
  for (std::size_t i = 0; i < count; ++i) {
    Label label = count > 1 ? "lookup " + std::to_string(i + 1) : "";
    run.Ask(QuestionOf(arguments.observations[i], arguments.format, std::move(label)));
  }
  return run.Run();
}

}  // namespace kesu_tool
