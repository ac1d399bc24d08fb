#include "server/http/worker_record.h"

#include <algorithm>

namespace kesu_server {
namespace {

constexpr auto kRelaxed = std::memory_order_relaxed;

/// The place of `value` in `list`, or the last one.
template <typename List, typename Value>
std::size_t PlaceIn(const List& list, const Value& value) {
  const auto place = std::find(list.begin(), list.end() - 1, value);
  return static_cast<std::size_t>(place - list.begin());
}

}  // namespace

void WorkerRecord::CountRequest(std::string_view service, int status) {
  requests[PlaceIn(kServices, service)][PlaceIn(kStatuses, status)].fetch_add(1, kRelaxed);
}

void WorkerRecord::CountReply(unsigned http_status) {
  replies[PlaceIn(kHttpStatuses, static_cast<int>(http_status))].fetch_add(1, kRelaxed);
}

void WorkerRecord::CountDuration(std::uint64_t microseconds) {
  const auto* const last = kMicroseconds.end() - 1;
  const auto* const bound = std::lower_bound(
      kMicroseconds.begin(), last, microseconds,
      [](int limit, std::uint64_t us) { return static_cast<std::uint64_t>(limit) < us; });
  durations[static_cast<std::size_t>(bound - kMicroseconds.begin())].fetch_add(1, kRelaxed);
  duration_sum_us.fetch_add(microseconds, kRelaxed);
}

void WorkerRecord::ForgetMoment() {
  connections = 0;
  for (auto& bucket : connections_by_address) bucket.store(0, kRelaxed);
  data_time_s = 0;
  data_version = 0;
}

}  // namespace kesu_server
