#include "tools/kesu/client_options.h"

#include <chrono>

#include "dovi/deployment_settings.h"

#include "tools/kesu/printing.h"

namespace kesu_tool {
kesu::Options ClientOptions(const Arguments& arguments) {
  kesu::Options options;
  const bool names_server = !arguments.server.empty();
  options.server = names_server ? arguments.server : GetDoviDeploymentSettings().host;
  options.version = KESU_VERSION;
  options.deadline = std::chrono::milliseconds(
      arguments.deadline_ms.value_or(arguments.timeout_ms.value_or(kDefaultTimeoutMs)));
  options.ca_file = arguments.ca_file;
  options.proxy = arguments.proxy;
  options.platform_key = arguments.platform_key;
  // What is asked together leaves together, and at once.
  options.batch_wait = std::chrono::milliseconds(0);
  // Whoever names it on a command line wants it.
  options.locate_single_access_point = !arguments.hears;
  // Somebody is waiting for the answer, or for the news that there is no network.
  options.pause_without_network = false;
  options.reconnect_on_network_change =
      arguments.reads_input || arguments.command == Command::kTrack;
  if (!arguments.wants_trace) return options;
  options.trace = PrintTrace;
  options.log = PrintLogLine;
  options.log_level = kesu::LogLevel::kDebug;
  return options;
}

}  // namespace kesu_tool
