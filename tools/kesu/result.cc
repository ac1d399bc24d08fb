#include "tools/kesu/result.h"

#include <algorithm>

#include "kesu/mux/response.h"

namespace kesu_tool {
namespace {

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

}  // namespace

Outcome ClassifyFailure(int status, int http_status) {
  if (http_status != kOk) return Outcome::kFailed;
  switch (status) {
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

std::string DescribeFailure(const Result& result) {
  switch (result.outcome) {
    case Outcome::kTimedOut:
      return "no answer in time";
    case Outcome::kMalformed:
      return "the reply is malformed, broke off or is too large";
    default:
      break;
  }
  if (result.http_status == 0) {
    return "the service cannot be reached, or its certificate is not accepted; --trace shows why";
  }
  if (result.http_status != kOk) {
    std::string text = "the service answered with HTTP status ";
    text += std::to_string(result.http_status);
    if (result.http_status / 100 == 3) text += ", a redirect that is not followed";
    return text;
  }
  return "the service refused with status " + std::to_string(result.status);
}

int ExitStatus(std::span<const Result> results) {
  for (const OutcomeExitStatus& entry : kExitStatuses) {
    const auto is_met = [&](const Result& result) { return result.outcome == entry.outcome; };
    if (std::any_of(results.begin(), results.end(), is_met)) return entry.exit_status;
  }
  return 0;
}

}  // namespace kesu_tool
