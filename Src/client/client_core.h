#ifndef CLIENT_CLIENT_CORE_H_
#define CLIENT_CLIENT_CORE_H_

#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "client/answer_cache.h"
#include "client/client.h"
#include "client/engine.h"
#include "client/live_counters.h"
#include "kesu/common/base/vector.h"

namespace kesu::detail {

class CallState;

/// What a Client consists of. Lives as long as the client and its calls.
class ClientCore : public std::enable_shared_from_this<ClientCore> {
 public:
  /// From the one that was made first on.
  using OpenCalls = std::list<std::shared_ptr<CallState>>;

  explicit ClientCore(Options options);
  ClientCore(const ClientCore&) = delete;
  ClientCore& operator=(const ClientCore&) = delete;

  // On any thread.

  /// Settles on the engine; once, before everything else.
  void Join();
  const Options& options() const { return options_; }
  const std::optional<Error>& error() const { return error_; }
  LiveCounters& counters() { return *counters_; }
  /// Ticks of the engine's clock.
  long long Now() const { return EngineClock(options_.clock).TickCount(); }
  std::string platform_key() const;
  void set_platform_key(std::string key);
  std::optional<Client::LastLocation> last_location() const;
  /// The destructor of the client.
  void Leave();
  void SetPaused(bool is_paused);

  // On the thread of the loop.

  /// Takes a call in, and hands it its place and deadline. Otherwise the error is of another kind
  /// than kNone.
  Error Open(CallState* call);
  /// Hands over what the call has asked, or keeps it back during a pause.
  void Submit(CallState* call);
  /// Its outcome is settled.
  void Close(CallState* call);
  Error TimeoutError() const;
  void RememberLocation(const Location& location);
  /// The start of each request, which says who asks; good until the next call.
  const common_base::ByteVector& AskerBytes();

  AnswerCache<Location> locations;
  AnswerCache<Place> places;

 private:
  void JoinOnLoop();
  void LeaveOnLoop();

  const Options options_;
  std::optional<Error> error_;
  /// Whether the engine reckons with this client, though it may not have been made for it.
  bool has_reserved_ = false;
  std::shared_ptr<LiveCounters> counters_ = std::make_shared<LiveCounters>();

  mutable std::mutex mutex_;
  std::string platform_key_;
  std::optional<Location> last_location_;
  long long last_location_tick_ = 0;

  /// Whether the engine has been joined, and its answer, for which Join() could perhaps not wait.
  bool has_joined_ = false;
  bool has_no_engine_ = false;
  bool has_left_ = false;
  bool is_paused_ = false;
  OpenCalls open_calls_;
  /// With this platform key; empty until they are wanted.
  common_base::ByteVector asker_bytes_;
  std::string asker_key_;
};

}  // namespace kesu::detail

#endif  // CLIENT_CLIENT_CORE_H_
