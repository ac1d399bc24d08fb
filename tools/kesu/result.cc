#include "tools/kesu/result.h"

#include <algorithm>
#include <iterator>

#include "kesu/mux/response.h"

namespace kesu_tool {
namespace {

using common_kesu::TransportErrorKind;

constexpr int kOk = 200;

struct OutcomeExitStatus {
  Outcome outcome;
  int exit_status;
};

/// From the worst to the best.
constexpr OutcomeExitStatus kExitStatuses[] = {
    {Outcome::kFailed, kFailureExitStatus},
    {Outcome::kTimedOut, 4},
    {Outcome::kMalformed, kMalformedExitStatus},
    {Outcome::kNothingFound, 1},
    {Outcome::kFound, 0},
};

bool IsRedirect(int http_status) {
  constexpr int kRedirects[] = {301, 302, 303, 307, 308};
  return std::find(std::begin(kRedirects), std::end(kRedirects), http_status) !=
         std::end(kRedirects);
}

std::string DescribeInGeneral(const Result& result) {
  if (result.outcome == Outcome::kTimedOut) return "no answer in time";
  if (result.outcome == Outcome::kMalformed) {
    switch (result.transport_error) {
      case TransportErrorKind::kClosedEarly:
        return "the reply broke off";
      case TransportErrorKind::kTooLarge:
        return "the reply is too large";
      default:
        return "the reply is malformed";
    }
  }
  if (result.http_status == 0) return "no reply from the service";
  if (result.http_status != kOk) {
    std::string text = "the service answered with HTTP status ";
    text += std::to_string(result.http_status);
    if (IsRedirect(result.http_status)) text += ", a redirect that is not followed";
    return text;
  }
  return "the service refused with status " + std::to_string(result.status);
}

}  // namespace

void Result::SetTransportError(const common_kesu::TransportError& error) {
  common_base::ByteVector utf8;
  error.text->ToUtf8Vector(&utf8);
  transport_error = error.kind;
  reason.assign(utf8.begin(), utf8.end());
}

Outcome ClassifyFailure(const Result& result) {
  if (result.transport_error == TransportErrorKind::kTimedOut) return Outcome::kTimedOut;
  if (result.http_status != kOk) return Outcome::kFailed;
  switch (result.status) {
    // The exchange and the request succeeded, but there was no sense in the answer.
    case kOk:
    case common_kesu::ErrorResponse::kProtocolVersionMismatch:
    // The replies were none, or none that held an answer to this request.
    case common_kesu::ErrorResponse::kRetriesUsedUp:
      return Outcome::kMalformed;
    default:
      return Outcome::kFailed;
  }
}

const char* KindOfFailure(const Result& result) {
  if (result.outcome == Outcome::kTimedOut) return "timeout";
  if (result.transport_error != TransportErrorKind::kNone) {
    return common_kesu::TransportErrorKindName(result.transport_error);
  }
  return result.outcome == Outcome::kMalformed ? "malformed" : "failure";
}

std::string DescribeFailure(const Result& result) {
  std::string text = DescribeInGeneral(result);
  if (!result.reason.empty()) text += ": " + result.reason;
  return text;
}

int ExitStatus(std::span<const Result> results) {
  for (const OutcomeExitStatus& entry : kExitStatuses) {
    const auto is_met = [&](const Result& result) { return result.outcome == entry.outcome; };
    if (std::any_of(results.begin(), results.end(), is_met)) return entry.exit_status;
  }
  return 0;
}

}  // namespace kesu_tool
