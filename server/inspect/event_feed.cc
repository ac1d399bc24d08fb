#include "server/inspect/event_feed.h"

#include <algorithm>
#include <string>
#include <utility>

#include <glib.h>

#include "server/inspect/summary_json.h"

namespace kesu_server {
namespace {

/// What comes within this time is told at once.
constexpr unsigned kGatherMs = 50;
/// So that nobody on the way takes the connection for dead, and a page that has gone is noticed.
constexpr unsigned kHeartbeatS = 15;

/// The client comes back after two seconds.
constexpr char kGreeting[] = "retry: 2000\n\n";
constexpr char kHeartbeat[] = ":\n\n";

std::string PostEvent(const Exchange& exchange) {
  return "event: post\nid: " + std::to_string(exchange.id) + "\ndata: " + SummaryJson(exchange) +
         "\n\n";
}

std::string GoneEvent(std::uint64_t before) {
  return "event: gone\ndata: {\"before\":" + std::to_string(before) + "}\n\n";
}

}  // namespace

class EventFeed::Reader final : public ReplyStream {
 public:
  Reader(EventFeed* feed, std::uint64_t after)
      : feed_(feed), next_(after + 1), pending_(kGreeting) {}
  ~Reader() override { feed_->Remove(this); }

  std::size_t Read(char* buffer, std::size_t size) override {
    std::size_t length = 0;
    while (length < size && (!pending_.empty() || Next())) {
      const std::size_t count = pending_.copy(buffer + length, size - length);
      pending_.erase(0, count);
      length += count;
    }
    return length;
  }

  void Wake(bool is_heartbeat) {
    needs_heartbeat_ = needs_heartbeat_ || is_heartbeat;
    ReplyStream::Wake();
  }

 private:
  /// Makes the next event pending. False when there is none.
  bool Next() {
    const ExchangeRing& ring = *feed_->ring_;
    next_ = std::max(next_, ring.begin_id());
    if (next_ < ring.end_id()) {
      pending_ = PostEvent(*ring.Find(next_++));
    } else if (told_begin_ != ring.begin_id()) {
      told_begin_ = ring.begin_id();
      pending_ = GoneEvent(told_begin_);
    } else if (std::exchange(needs_heartbeat_, false)) {
      pending_ = kHeartbeat;
    } else {
      return false;
    }
    return true;
  }

  EventFeed* feed_;
  std::uint64_t next_;
  /// That what is older has gone.
  std::uint64_t told_begin_ = 1;
  /// Not yet handed over.
  std::string pending_;
  bool needs_heartbeat_ = false;
};

EventFeed::~EventFeed() {
  if (soon_ != 0) g_source_remove(soon_);
  if (heartbeat_ != 0) g_source_remove(heartbeat_);
}

std::shared_ptr<ReplyStream> EventFeed::NewReader(std::uint64_t after) {
  // A page that is loaded again may have left one behind.
  WakeReaders(false);
  if (readers_.size() == kMostReaders) return nullptr;
  // Ids begin anew with the server.
  auto reader = std::make_shared<Reader>(this, after < ring_->end_id() ? after : 0);
  readers_.push_back(reader.get());
  const auto beat = [](void* feed) -> gboolean {
    static_cast<EventFeed*>(feed)->WakeReaders(true);
    return G_SOURCE_CONTINUE;
  };
  if (heartbeat_ == 0) heartbeat_ = g_timeout_add_seconds(kHeartbeatS, beat, this);
  return reader;
}

void EventFeed::Remove(const Reader* reader) {
  std::erase(readers_, reader);
  if (readers_.empty() && heartbeat_ != 0) g_source_remove(std::exchange(heartbeat_, 0));
}

void EventFeed::OnAdded() {
  if (readers_.empty() || soon_ != 0) return;
  const auto wake = [](void* feed) -> gboolean {
    static_cast<EventFeed*>(feed)->soon_ = 0;
    static_cast<EventFeed*>(feed)->WakeReaders(false);
    return G_SOURCE_REMOVE;
  };
  soon_ = g_timeout_add(kGatherMs, wake, this);
}

void EventFeed::WakeReaders(bool is_heartbeat) {
  for (Reader* const reader : readers_) reader->Wake(is_heartbeat);
}

}  // namespace kesu_server
