#include "tools/kesu/exit_status.h"

#include <algorithm>
#include <iterator>

namespace kesu_tool {
namespace {

using kesu::ErrorKind;

constexpr int kHttpOk = 200;

constexpr ExitStatus kFromTheWorst[] = {kFailureExitStatus,      kTimeoutExitStatus,
                                        kMalformedExitStatus,    kUsageExitStatus,
                                        kNothingFoundExitStatus, kFoundExitStatus};

const ExitStatus* RankOf(ExitStatus status) {
  return std::find(std::begin(kFromTheWorst), std::end(kFromTheWorst), status);
}

}  // namespace

ExitStatus ExitStatusOf(const kesu::Error& error) {
  switch (error.kind) {
    case ErrorKind::kNone:
      return kFoundExitStatus;
    case ErrorKind::kNotFound:
      return kNothingFoundExitStatus;
    case ErrorKind::kWithheld:
    case ErrorKind::kMisuse:
      return kUsageExitStatus;
    case ErrorKind::kTimedOut:
    // The time of the whole run was up.
    case ErrorKind::kCancelled:
      return kTimeoutExitStatus;
    case ErrorKind::kMalformed:
      return kMalformedExitStatus;
    case ErrorKind::kCannotConnect:
    case ErrorKind::kCannotResolve:
    case ErrorKind::kTls:
    case ErrorKind::kServer:
      break;
  }
  // A reply that had begun well.
  const bool broke_off = error.transport == "closed-early" && error.http_status == kHttpOk;
  return broke_off ? kMalformedExitStatus : kFailureExitStatus;
}

ExitStatus Worst(ExitStatus one, ExitStatus other) {
  return RankOf(one) < RankOf(other) ? one : other;
}

}  // namespace kesu_tool
