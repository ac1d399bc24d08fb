#include "tools/kesu/locate_here_command.h"

#include <algorithm>
#include <chrono>

#include "client/main_loop.h"

#include "tools/kesu/answer.h"
#include "tools/kesu/hearing.h"
#include "tools/kesu/locate_command.h"
#include "tools/kesu/printing.h"

namespace kesu_tool {
namespace {

using std::chrono::milliseconds;

kesu::here::Sightings Listen(const Arguments& arguments) {
  kesu::here::Options options;
  if (arguments.timeout_ms) {
    options.deadline = std::min(options.deadline, milliseconds(*arguments.timeout_ms));
  }
  kesu::MainLoop loop;
  kesu::here::Sightings heard;
  const kesu::here::Call call =
      kesu::here::Observe(options, [&](const kesu::here::Sightings& sightings) {
        heard = sightings;
        loop.Quit();
      });
  loop.Run();
  return heard;
}

}  // namespace

int RunLocateHere(const Arguments& arguments) {
  const auto start = std::chrono::steady_clock::now();
  kesu::here::Sightings heard = Listen(arguments);
  TraceMissing(arguments, heard.missing);
  if (IsEmpty(heard.observation)) {
    const Answer answer = FailureAnswer(arguments.format, {}, UnheardError(heard.missing));
    answer.is_complaint ? PrintError(answer.text) : PrintLine(answer.text);
    return FlushResults() ? answer.exit_status : kFailureExitStatus;
  }
  Arguments rest = arguments;
  if (rest.timeout_ms) {
    const auto listened =
        std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - start);
    rest.timeout_ms = std::max(1, *rest.timeout_ms - static_cast<int>(listened.count()));
  }
  rest.observations = {std::move(heard.observation)};
  return RunLocate(rest);
}

}  // namespace kesu_tool
