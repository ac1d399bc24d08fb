#ifndef SERVER_HTTP_WORKER_RECORD_H_
#define SERVER_HTTP_WORKER_RECORD_H_

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "server/learn/learner.h"

namespace kesu_server {

/// What a worker does at the moment and what has been done in its place since the server started,
/// in memory that all workers see. One process at a time writes a record, and all bytes zero is
/// where it starts.
struct WorkerRecord {
  using Count = std::atomic<std::uint64_t>;
  static_assert(Count::is_always_lock_free);

  static constexpr std::size_t kAddressBuckets = 16384;
  /// The services in the order of their counts; what is asked of no known one counts as the last.
  static constexpr std::array<std::string_view, 6> kServices = {
      "g:loc/ql", "http:echo", "geolocate", "geosubmit", "reverse", "unknown"};
  static constexpr std::array<int, 6> kStatuses = {200, 400, 403, 404, 503, 0};
  static constexpr std::array<int, 14> kHttpStatuses = {200, 204, 302, 304, 400, 403, 404,
                                                        405, 413, 415, 429, 500, 503, 0};
  /// The upper bounds of the classes of durations; the last class has none.
  static constexpr std::array<int, 11> kMicroseconds = {
      100, 250, 500, 1000, 2500, 5000, 10'000, 25'000, 100'000, 1'000'000, 0};

  /// As long as the worker runs.
  std::atomic<std::uint32_t> connections;
  std::array<std::atomic<std::uint32_t>, kAddressBuckets> connections_by_address;
  Count data_time_s;
  Count data_version;

  /// For ever.
  std::array<std::array<Count, kStatuses.size()>, kServices.size()> requests;
  std::array<Count, kHttpStatuses.size()> replies;
  std::array<Count, kMicroseconds.size()> durations;
  Count duration_sum_us;
  Count known_stations;
  Count unknown_stations;
  Count accepted_connections;
  Count refused_connections;
  Count dropped_lines;
  LessonCounts lessons;

  void CountRequest(std::string_view service, int status);
  void CountReply(unsigned http_status);
  void CountDuration(std::uint64_t microseconds);
  /// The worker is gone, and what it had at the moment with it.
  void ForgetMoment();
};

}  // namespace kesu_server

#endif  // SERVER_HTTP_WORKER_RECORD_H_
