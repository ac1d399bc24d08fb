#include "tools/kesu/transport_settings.h"

#include <cstddef>

#include "dovi/deployment_settings.h"
#include "kesu/common/base/logging.h"

#include "tools/kesu/printing.h"

namespace kesu_tool {
namespace {

void PrintLogString(const common_base::GString& line, void*) {
  common_base::ByteVector utf8;
  line->ToUtf8Vector(&utf8);
  PrintLogLine(
      {reinterpret_cast<const char*>(utf8.data()), static_cast<std::size_t>(utf8.length())});
}

}  // namespace

bool ApplyTransportSettings(const Arguments& arguments, int total_timeout_ms) {
  DoviDeploymentSettings settings;
  settings.host = arguments.server.c_str();
  settings.ca_file = arguments.ca_file.c_str();
  settings.proxy = arguments.proxy.c_str();
  settings.total_timeout_ms = total_timeout_ms;
  settings.trace = arguments.wants_trace ? DoviTraceTarget::kCallback : DoviTraceTarget::kNowhere;
  settings.trace_callback = [](const char* text, void*) { PrintTrace(text); };
  if (arguments.wants_trace) {
    common_base::SetLogLevel(common_base::kLogDebug);
    common_base::SetLogCallback(PrintLogString, nullptr);
  }
  return SetDoviDeploymentSettings(settings);
}

}  // namespace kesu_tool
