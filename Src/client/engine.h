#ifndef CLIENT_ENGINE_H_
#define CLIENT_ENGINE_H_

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <glib.h>

#include "client/error.h"
#include "client/live_counters.h"
#include "client/options.h"
#include "dovi/deferred_request_source.h"
#include "kesu/common/base/internal/async.h"
#include "kesu/common/base/internal/posix_clock.h"
#include "kesu/mux/http_request_factory.h"

namespace kesu::detail {

class CallState;
class NetworkWatch;

/// The options that all clients of the process have in common.
struct EngineSettings {
  explicit EngineSettings(const Options& options);
  bool operator==(const EngineSettings&) const = default;

  std::string server;
  std::string product;
  std::string version;
  std::string platform;
  std::string locale;
  std::string proxy;
  std::string ca_file;
  std::chrono::milliseconds batch_wait;
  std::int64_t reply_memory_limit;
  bool pause_without_network;
  bool reconnect_on_network_change;
  const Clock* clock;
};

/// The clock of the options, or the system's. On any thread.
class EngineClock final : public common_base::PosixClock {
 public:
  explicit EngineClock(const Clock* clock) : clock_(clock) {}

  long long GetUtcTime() const override;
  long long TickCount() const override;

 private:
  const Clock* clock_;
};

/// Multiplexer, transport and timers, for all clients of the process; there while one of them is.
class Engine {
 public:
  /// By due tick.
  using Deadlines = std::multimap<long long, CallState*>;

  /// Settles what the engine is like, on any thread: false where another client has settled it
  /// otherwise. What succeeded is undone with Leave().
  static bool Reserve(const EngineSettings& settings, std::shared_ptr<LiveCounters>* counters);
  // All else is for the thread of the loop.

  /// Makes the engine for its first client. False when somebody else uses the multiplexer or the
  /// transport. `options` are borrowed until Leave().
  static bool Enter(const Options* options, const std::shared_ptr<LiveCounters>& counters);
  static void Leave(const Options* options);
  /// Null while there is no client. It may go, and another come, whenever a callback is called.
  static Engine* Get() { return instance_; }

  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;

  const EngineClock& clock() const { return clock_; }
  LiveCounters& counters() { return *counters_; }

  Deadlines::iterator AddDeadline(long long tick, CallState* call) {
    return deadlines_.emplace(tick, call);
  }
  void RemoveDeadline(Deadlines::iterator deadline) { deadlines_.erase(deadline); }

  /// Counts what has arrived since the last time.
  void CountBytesIn();

  /// From the watch on the network, and tests.
  void OnRouteChanged(bool is_there);
  void OnNetworkChanged();
  bool is_without_route() const { return is_without_route_; }

  /// In place of the network, for engines made from now on.
  static inline HttpRequestFactory* transport_for_tests = nullptr;

 private:
  class Transport;
  struct DeadlineSource;

  Engine(const Options* options, std::shared_ptr<LiveCounters> counters);
  ~Engine();

  /// Of the process, as the clients want them together.
  void ApplySettings();
  void StartMultiplexer(const EngineSettings& settings);
  void StartDeadlines();
  void WatchNetwork();
  void Trace(std::string_view text);
  void Log(std::string_view line);

  static Engine* instance_;

  std::vector<const Options*> clients_;
  const std::shared_ptr<LiveCounters> counters_;
  EngineClock clock_;
  std::unique_ptr<Transport> transport_;
  common_base::SimpleRequestQueue queue_;
  DeferredRequestSource timer_;
  Deadlines deadlines_;
  GSource* deadline_source_ = nullptr;
  std::unique_ptr<NetworkWatch> network_watch_;
  bool is_without_route_ = false;
  bool has_log_ = false;
  unsigned bytes_in_ = 0;
};

}  // namespace kesu::detail

#endif  // CLIENT_ENGINE_H_
