#include "tools/kesu/http_test_command.h"

#include "dovi/deployment_settings.h"
#include "dovi/dovi_http_request_factory.h"
#include "kesu/common/base/logging.h"

#include "tools/kesu/http_test_run.h"
#include "tools/kesu/printing.h"

namespace kesu_tool {
namespace {

void PrintLogString(const common_base::GString& line, void*) {
  common_base::ByteVector utf8;
  line->ToUtf8Vector(&utf8);
  PrintLogLine(
      {reinterpret_cast<const char*>(utf8.data()), static_cast<std::size_t>(utf8.length())});
}

/// False when the name of the server is too long.
bool ApplySettings(const Arguments& arguments) {
  DoviDeploymentSettings settings;
  settings.host = arguments.server.c_str();
  settings.ca_file = arguments.ca_file.c_str();
  settings.proxy = arguments.proxy.c_str();
  settings.trace = arguments.wants_trace ? DoviTraceTarget::kCallback : DoviTraceTarget::kNowhere;
  settings.trace_callback = [](const char* text, void*) { PrintTrace(text); };
  if (arguments.wants_trace) {
    common_base::SetLogLevel(common_base::kLogDebug);
    common_base::SetLogCallback(PrintLogString, nullptr);
  }
  return SetDoviDeploymentSettings(settings);
}

}  // namespace

int RunHttpTest(const Arguments& arguments) {
  if (!ApplySettings(arguments)) return FailUsage("the name of the server is too long");
  DoviHttpRequestFactory factory;
  HttpTestRun run;
  const ExitStatus exit_status =
      run.Run(&factory, arguments.timeout_ms.value_or(kDefaultTimeoutMs), stdout);
  if (!run.complaint().empty()) PrintError(run.complaint());
  return FlushResults() ? exit_status : kFailureExitStatus;
}

}  // namespace kesu_tool
