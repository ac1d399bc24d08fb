#ifndef SERVER_INSPECT_EVENT_FEED_H_
#define SERVER_INSPECT_EVENT_FEED_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "server/http/reply_stream.h"
#include "server/inspect/exchange_ring.h"

namespace kesu_server {

/// Tells readers of the exchanges as server-sent events. A reader is a place in the ring: one that
/// falls behind is told what it has missed, and costs no memory meanwhile.
class EventFeed {
 public:
  static constexpr std::size_t kMostReaders = 16;

  /// `ring` is borrowed.
  explicit EventFeed(const ExchangeRing* ring) : ring_(ring) {}
  EventFeed(const EventFeed&) = delete;
  EventFeed& operator=(const EventFeed&) = delete;
  /// There are no readers any more.
  ~EventFeed();

  /// Of what is newer than `after`, an id. Null when there are too many readers.
  std::shared_ptr<ReplyStream> NewReader(std::uint64_t after);

  /// There is more in the ring. May be called while a request is handled.
  void OnAdded();

 private:
  class Reader;

  void Remove(const Reader* reader);
  /// Lets those go on that had nothing left to tell, and go whose clients have gone.
  void WakeReaders(bool is_heartbeat);

  const ExchangeRing* ring_;
  std::vector<Reader*> readers_;
  /// Timers, or 0.
  unsigned soon_ = 0;
  unsigned heartbeat_ = 0;
};

}  // namespace kesu_server

#endif  // SERVER_INSPECT_EVENT_FEED_H_
