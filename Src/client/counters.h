#ifndef CLIENT_COUNTERS_H_
#define CLIENT_COUNTERS_H_

#include <array>
#include <cstddef>
#include <cstdint>

#include "client/error.h"

namespace kesu {

/// What the clients of the process have done together since the first of them was made, while there
/// was always one.
struct Counters {
  std::uint64_t calls = 0;
  /// Of calls, by the kind of their errors; kNone counts those that succeeded, kCancelled those
  /// that were given up as well. A list of points succeeds when one of them does.
  std::array<std::uint64_t, kErrorKindCount> outcomes = {};
  /// Questions that were answered from the cache.
  std::uint64_t cache_hits = 0;

  /// Mostly one for each call; a long list of points takes several.
  std::uint64_t requests = 0;
  /// How often a request was sent again.
  std::uint64_t retries = 0;
  /// At this moment: those that wait for a batch, for another attempt or for the end of a pause,
  /// and those that are in a POST.
  std::uint64_t waiting = 0;
  std::uint64_t in_flight = 0;

  std::uint64_t posts = 0;
  /// Of bodies.
  std::uint64_t bytes_out = 0;
  std::uint64_t bytes_in = 0;

  std::uint64_t outcome(ErrorKind kind) const { return outcomes[static_cast<std::size_t>(kind)]; }
};

}  // namespace kesu

#endif  // CLIENT_COUNTERS_H_
