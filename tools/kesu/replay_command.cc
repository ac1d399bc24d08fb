#include "tools/kesu/replay_command.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <string>

#include <glib.h>

#include "client/text.h"
#include "dovi/dovi_http_request_factory.h"

#include "decode/body_decoder.h"
#include "tools/kesu/exit_status.h"
#include "tools/kesu/input_file.h"
#include "tools/kesu/post_run.h"
#include "tools/kesu/printing.h"
#include "tools/kesu/transport_settings.h"
#include "tools/kesu/tree_writers.h"

namespace kesu_tool {
namespace {

constexpr int kHttpOk = 200;
/// More than any service takes.
constexpr std::size_t kLongestPost = std::size_t{1} << 26;

/// What a server says of its refusal: the first line, as far as it prints.
std::string ReasonIn(const std::string& body) {
  constexpr std::size_t kLongest = 200;
  std::string line = body.substr(0, std::min(body.find('\n'), kLongest));
  std::erase_if(line, [](char byte) { return !g_ascii_isprint(byte); });
  return line.empty() ? line : ": " + line;
}

ExitStatus Complain(ExitStatus exit_status, const std::string& complaint) {
  PrintError(complaint);
  return exit_status;
}

/// Shows the reply, or says why there is none to show.
ExitStatus Show(const PostRun& run, Format format) {
  using common_kesu::TransportErrorKind;
  const common_kesu::TransportError error = run.transport_error();
  const std::string reason = kesu::detail::TextOf(error.text);
  if (error.kind == TransportErrorKind::kTimedOut) {
    return Complain(kTimeoutExitStatus, "no answer in time");
  }
  if (error.kind == TransportErrorKind::kTooLarge) {
    return Complain(kMalformedExitStatus, "the reply is too large");
  }
  if (run.http_status() == 0) {
    return Complain(kFailureExitStatus,
                    "no reply from the service" + (reason.empty() ? "" : ": " + reason));
  }
  const std::string body = run.reply();
  if (run.http_status() != kHttpOk) {
    return Complain(kFailureExitStatus, "the service answered with HTTP status " +
                                            std::to_string(run.http_status()) + ReasonIn(body));
  }
  const auto writer = NewTreeWriter(format, stdout);
  const auto fault =
      kesu_decode::BodyDecoder(writer.get()).Decode(kesu::detail::ViewOf(body), {}, false);
  if (!FlushResults()) return kFailureExitStatus;
  if (error.kind != TransportErrorKind::kNone) {
    return Complain(kMalformedExitStatus, "the reply broke off: " + reason);
  }
  if (!fault) return kFoundExitStatus;
  return Complain(kMalformedExitStatus,
                  "the reply, offset " + std::to_string(fault->offset) + ": " + fault->reason);
}

}  // namespace

int RunReplay(const Arguments& arguments) {
  const InputFile file(arguments.file);
  std::string body;
  std::string error;
  if (!file.ReadAll(kLongestPost, &body, &error)) {
    return Complain(kUsageExitStatus, file.name() + " " + error);
  }
  if (body.empty()) return Complain(kUsageExitStatus, file.name() + " is empty");
  const int timeout_ms =
      arguments.deadline_ms.value_or(arguments.timeout_ms.value_or(kDefaultTimeoutMs));
  if (!ApplyTransportSettings(arguments, timeout_ms)) return FailUsage(kLongServerName);
  DoviHttpRequestFactory factory;
  PostRun run(&factory, kesu::detail::ViewOf(body));
  run.Run();
  return Show(run, arguments.format);
}

}  // namespace kesu_tool
