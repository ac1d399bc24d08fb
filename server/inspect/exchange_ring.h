#ifndef SERVER_INSPECT_EXCHANGE_RING_H_
#define SERVER_INSPECT_EXCHANGE_RING_H_

#include <cstddef>
#include <cstdint>
#include <deque>

#include "server/inspect/exchange.h"

namespace kesu_server {

/// The last exchanges, as many as there is room for.
class ExchangeRing {
 public:
  struct Room {
    std::size_t exchanges = 1000;
    /// For all of them.
    std::size_t bytes = std::size_t{32} << 20;
    /// For one body; of a longer one the beginning is kept.
    std::size_t body_bytes = std::size_t{1} << 20;
  };

  explicit ExchangeRing(const Room& room) : room_(room) {}

  /// Numbers it, and lets the oldest go that have no room any more.
  void Add(Exchange exchange);

  /// Null when it is not kept any more, or has not been yet. Valid until the next Add().
  const Exchange* Find(std::uint64_t id) const;
  /// The id of the oldest that is kept, and one more than that of the newest; the same when there
  /// is none.
  std::uint64_t begin_id() const { return end_id_ - exchanges_.size(); }
  std::uint64_t end_id() const { return end_id_; }

  /// So much of the room for a body that `length` bytes take.
  std::size_t KeptBytes(std::size_t length) const;

 private:
  const Room room_;
  std::deque<Exchange> exchanges_;
  std::size_t bytes_ = 0;
  std::uint64_t end_id_ = 1;
};

}  // namespace kesu_server

#endif  // SERVER_INSPECT_EXCHANGE_RING_H_
