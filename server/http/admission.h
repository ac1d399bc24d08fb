#ifndef SERVER_HTTP_ADMISSION_H_
#define SERVER_HTTP_ADMISSION_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include <sys/socket.h>

#include "server/http/worker_record.h"

namespace kesu_server {

/// How many connections there may be, those of all workers together; 0 for any number.
struct ConnectionLimits {
  std::uint64_t all = 10'000;
  std::uint64_t per_address = 1000;
};

/// Decides which clients are let in. What an address has is counted in one of many buckets, which
/// it shares with others now and then; networks of 64 bits count as one address.
class Admission {
 public:
  /// `records` are those of all workers, `own` the place of this one's among them. `secret`, the
  /// same in all workers, keeps it from strangers who shares a bucket with whom.
  Admission(std::span<WorkerRecord> records, std::size_t own, const ConnectionLimits& limits,
            std::string secret)
      : records_(records), own_(&records[own]), limits_(limits), secret_(std::move(secret)) {}

  /// Whether one more connection may be accepted at all.
  bool HasRoom() const;
  /// Yields the bucket of a client that is let in, to be given back.
  std::optional<std::size_t> Enter(const sockaddr_storage& address);
  void Leave(std::size_t bucket);

 private:
  std::size_t BucketOf(const sockaddr_storage& address) const;

  std::span<WorkerRecord> records_;
  WorkerRecord* own_;
  ConnectionLimits limits_;
  std::string secret_;
};

}  // namespace kesu_server

#endif  // SERVER_HTTP_ADMISSION_H_
