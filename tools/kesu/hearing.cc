#include "tools/kesu/hearing.h"

#include <string>

#include "tools/kesu/printing.h"

namespace kesu_tool {

bool IsEmpty(const kesu::Observation& observation) {
  return observation.cells.empty() && observation.access_points.empty() && !observation.fix;
}

void TraceMissing(const Arguments& arguments, const std::vector<kesu::here::Missing>& missing) {
  if (!arguments.wants_trace) return;
  for (const kesu::here::Missing& it : missing) {
    PrintLogLine(std::string(kesu::here::FaultName(it.fault)) + ": " + it.message);
  }
}

kesu::Error UnheardError(const std::vector<kesu::here::Missing>& missing) {
  std::string reason;
  for (const kesu::here::Missing& it : missing) {
    // Where there is no bus, that is the reason of both.
    if (reason == it.message) continue;
    reason.append(reason.empty() ? "" : "; ").append(it.message);
  }
  kesu::Error error{kesu::ErrorKind::kCannotConnect, "nothing is heard here: " + reason};
  error.reason = std::move(reason);
  error.transport = "nothing-heard";
  return error;
}

}  // namespace kesu_tool
