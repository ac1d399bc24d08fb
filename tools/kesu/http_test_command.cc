#include "tools/kesu/http_test_command.h"

#include <cstdio>

#include "dovi/dovi_http_request_factory.h"

#include "tools/kesu/http_test_run.h"
#include "tools/kesu/printing.h"
#include "tools/kesu/transport_settings.h"

namespace kesu_tool {

int RunHttpTest(const Arguments& arguments) {
  // The run has a timer of its own, which counts from its start.
  if (!ApplyTransportSettings(arguments, 0)) return FailUsage(kLongServerName);
  DoviHttpRequestFactory factory;
  HttpTestRun run;
  const ExitStatus exit_status =
      run.Run(&factory, arguments.timeout_ms.value_or(kDefaultTimeoutMs), stdout);
  if (!run.complaint().empty()) PrintError(run.complaint());
  return FlushResults() ? exit_status : kFailureExitStatus;
}

}  // namespace kesu_tool
