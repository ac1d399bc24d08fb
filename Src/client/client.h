#ifndef CLIENT_CLIENT_H_
#define CLIENT_CLIENT_H_

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "client/counters.h"
#include "client/error.h"
#include "client/observation.h"
#include "client/options.h"
#include "client/place.h"
#include "client/result.h"

namespace kesu {

namespace detail {
class CallState;
class ClientCore;
}  // namespace detail

using LocateResult = Result<Location>;
using ReverseResult = Result<Place>;

/// A call under way. It is cancelled when this goes: keep it as long as the answer is wanted.
class [[nodiscard]] Call {
 public:
  /// None.
  Call();
  Call(Call&& other) noexcept;
  Call& operator=(Call&& other) noexcept;
  ~Call();

  /// After it, the callback is neither called any more nor kept. Harmless at any time, from inside
  /// the callback too. To be called on the thread that made the call; on another, the callback may
  /// just be running.
  void Cancel();
  /// Lets the call go on by itself to its answer.
  void Detach();
  /// Whether the callback is still to be called.
  bool is_pending() const;

 private:
  friend class Client;

  explicit Call(std::shared_ptr<detail::CallState> state);

  std::shared_ptr<detail::CallState> state_;
};

/// Where am I, and what is there: a location service behind one object.
///
///     kesu::Client client({.server = "https://location.example"});
///     kesu::Observation seen;
///     seen.access_points.push_back({.mac_address = "00-00-5E-00-53-01", .signal_dbm = -60});
///     kesu::Call call = client.Locate(seen, [](const kesu::LocateResult& result) { … });
///
/// A callback is called exactly once, later, from the main loop: with the answer, or with an error
/// when the deadline has passed at the latest. It may do anything: make and cancel calls, run a
/// loop, destroy the client. It must not throw; that ends the process.
///
/// Any thread may use a client. The work is done on GLib's default main context, which some thread
/// has to run; callbacks are called on the context that is the calling thread's default, which is
/// the same one unless the thread has pushed its own.
class Client {
 public:
  explicit Client(Options options);
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;
  /// Calls that are not answered end as kCancelled, from the main loop.
  ~Client();

  /// Why this client cannot work: options that make no sense, or contradict those of another
  /// client. Each of its calls ends with this error then.
  const std::optional<Error>& error() const;

  /// Where is it that this is observed?
  kesu::Call Locate(const Observation& observation,
                    std::function<void(const LocateResult&)> callback);
  /// What is at this point, or at each of these? The answers to a list are in its order, one for
  /// each point, and travel together.
  kesu::Call Reverse(const Point& point, std::function<void(const ReverseResult&)> callback);
  kesu::Call Reverse(const std::vector<Point>& points,
                     std::function<void(const std::vector<ReverseResult>&)> callback);

  /// Calls a service of one's own, with message classes: see client/service_call.h, which has to be
  /// included for it. On the thread of the loop only.
  template <typename Reply, typename Request>
  kesu::Call Call(std::string_view service, const Request& request,
                  std::function<void(const Result<Reply>&)> callback);
  /// The same with the bytes of the two messages.
  kesu::Call CallBytes(std::string_view service, std::string_view request,
                       std::function<void(const Result<std::string>&)> callback);

  /// Keeps new calls back until Resume(). Their deadlines do not wait.
  void Pause();
  void Resume();

  /// What the service has issued to tell this installation from others, to be stored by the
  /// application and given back to its next client. It goes with every lookup. Empty at first.
  std::string platform_key() const;
  void set_platform_key(std::string key);

  struct LastLocation {
    Location location;
    std::chrono::milliseconds age;
  };
  /// The last answer to Locate(); those from the cache do not count.
  std::optional<LastLocation> last_location() const;

  Counters counters() const;

 private:
  /// Whether callbacks of calls that are made here and now are called on the thread of the loop.
  static bool IsOnLoop();
  kesu::Call Refuse(std::function<void(const Result<std::string>&)> callback);

  std::shared_ptr<detail::ClientCore> core_;
};

}  // namespace kesu

#endif  // CLIENT_CLIENT_H_
