#ifndef CLIENT_LIVE_COUNTERS_H_
#define CLIENT_LIVE_COUNTERS_H_

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "client/counters.h"

namespace kesu::detail {

/// Counters, as they are counted: on the thread of the loop mostly, and read on any.
struct LiveCounters {
  class Count {
   public:
    void Add(std::uint64_t number) { count_.fetch_add(number, std::memory_order_relaxed); }
    Count& operator++() {
      Add(1);
      return *this;
    }
    Count& operator--() {
      count_.fetch_sub(1, std::memory_order_relaxed);
      return *this;
    }
    operator std::uint64_t() const { return count_.load(std::memory_order_relaxed); }

   private:
    std::atomic<std::uint64_t> count_ = 0;
  };

  Counters Read() const {
    Counters counters{calls,   {},        cache_hits, requests,  retries,
                      waiting, in_flight, posts,      bytes_out, bytes_in};
    for (std::size_t i = 0; i < outcomes.size(); ++i) counters.outcomes[i] = outcomes[i];
    return counters;
  }

  Count calls, cache_hits, requests, retries, waiting, in_flight, posts, bytes_out, bytes_in;
  std::array<Count, kErrorKindCount> outcomes;
};

}  // namespace kesu::detail

#endif  // CLIENT_LIVE_COUNTERS_H_
