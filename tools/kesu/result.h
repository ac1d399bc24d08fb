#ifndef KESU_TOOL_RESULT_H_
#define KESU_TOOL_RESULT_H_

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "kesu/mux/transport_error.h"

#include "tools/kesu/observation.h"

namespace kesu_tool {

/// How a lookup or a point ended.
enum class Outcome {
  kFound,
  kNothingFound,
  /// The service cannot be reached, or refuses.
  kFailed,
  kTimedOut,
  kMalformed,
};

struct Result {
  void SetTransportError(const common_kesu::TransportError& error);

  /// Until something else is known.
  Outcome outcome = Outcome::kTimedOut;
  /// The status of the response and that of the exchange that carried it, as the services of the
  /// library tell them; 0 where there was none.
  int status = 0;
  int http_status = 0;
  /// Of a failure: why the transport brought no whole reply, or none, and in words what exactly
  /// was wrong, where that is known.
  common_kesu::TransportErrorKind transport_error = common_kesu::TransportErrorKind::kNone;
  std::string reason;

  /// What locate has found, or what reverse was asked about.
  std::optional<Point> point;

  /// Of locate.
  std::optional<int> accuracy_m;
  /// Empty: none.
  std::string platform_key;

  /// Of reverse. Empty: none.
  std::string address;
  std::vector<std::string> features;
};

inline bool IsFailure(Outcome outcome) {
  return outcome != Outcome::kFound && outcome != Outcome::kNothingFound;
}

/// How a request has failed whose statuses and transport error are in `result`.
Outcome ClassifyFailure(const Result& result);

/// Why it failed: a word for programs, and a sentence. Not for an outcome that is no failure.
const char* KindOfFailure(const Result& result);
std::string DescribeFailure(const Result& result);

/// The command line, or a file that it names.
inline constexpr int kUsageExitStatus = 2;
/// The network or the server, or the results could not be written.
inline constexpr int kFailureExitStatus = 3;
inline constexpr int kMalformedExitStatus = 5;

/// The exit status of the whole run: that of the worst outcome.
int ExitStatus(std::span<const Result> results);

}  // namespace kesu_tool

#endif  // KESU_TOOL_RESULT_H_
