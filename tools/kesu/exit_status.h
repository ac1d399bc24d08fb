#ifndef KESU_TOOL_EXIT_STATUS_H_
#define KESU_TOOL_EXIT_STATUS_H_

#include "client/error.h"

namespace kesu_tool {

enum ExitStatus {
  kFoundExitStatus = 0,
  kNothingFoundExitStatus = 1,
  /// The command line, a file that it names, or a line of standard input; or something that may not
  /// be asked.
  kUsageExitStatus = 2,
  /// The network or the server, or the results could not be written.
  kFailureExitStatus = 3,
  kTimeoutExitStatus = 4,
  kMalformedExitStatus = 5,
};

/// Of one lookup.
ExitStatus ExitStatusOf(const kesu::Error& error);

/// That of two lookups together.
ExitStatus Worst(ExitStatus one, ExitStatus other);

/// Nothing found is none.
inline bool IsFailure(ExitStatus status) {
  return status != kFoundExitStatus && status != kNothingFoundExitStatus;
}

}  // namespace kesu_tool

#endif  // KESU_TOOL_EXIT_STATUS_H_
