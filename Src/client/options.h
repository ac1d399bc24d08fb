#ifndef CLIENT_OPTIONS_H_
#define CLIENT_OPTIONS_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace kesu {

/// The time, for tests. Asked on every thread that makes calls.
class Clock {
 public:
  virtual ~Clock() = default;
  /// Since a moment that stays the same, and never going back.
  virtual std::chrono::microseconds Monotonic() const = 0;
  /// Since 1970-01-01 00:00 UTC.
  virtual std::chrono::milliseconds Utc() const = 0;
};

enum class LogLevel { kErrors = 1, kWarnings, kInformation, kDebug };

/// How a client works. Those marked * are of the one engine that all clients of the process share:
/// a second client with other ones is in error, see Client::error().
struct Options {
  /// * Scheme (http or https), host and perhaps port: "https://location.example:8443".
  std::string server = {};
  /// * Who asks: they go to the service.
  std::string product = "kesu";
  std::string version = "1.0";
  std::string platform = "linux";
  std::string locale = "en_US";

  /// For a call as a whole, whatever is tried again meanwhile: at least a millisecond, at most a
  /// day.
  std::chrono::milliseconds deadline = std::chrono::seconds(30);
  /// * "http://proxy.example:3128", say. The environment is never asked.
  std::string proxy = {};
  /// * A PEM file of the authorities that certificates are checked against; empty for libcurl's.
  std::string ca_file = {};
  /// * A request leaves this long after the last one that came with it, and ten times as long after
  /// the first at the latest. With 0, those of one iteration of the loop leave together.
  std::chrono::milliseconds batch_wait = std::chrono::milliseconds(100);
  /// * Bytes that reading one reply may take, beyond which it is malformed.
  std::int64_t reply_memory_limit = std::int64_t{96} << 20;

  /// The key that the service issued earlier, see Client::platform_key().
  std::string platform_key = {};
  /// Whether a lookup is made that tells of one access point and nothing else. Its answer would
  /// tell where somebody's access point is to whoever knows its address.
  bool locate_single_access_point = false;

  /// * While there is no route to the server, calls wait for one. Never for a server on this
  /// machine.
  bool pause_without_network = true;
  /// * When the network changes, connections from before are not used any more.
  bool reconnect_on_network_change = true;

  /// Answers are kept for so long, and given again to the very same question; 0 keeps none.
  std::chrono::milliseconds cache_lifetime = std::chrono::milliseconds(0);
  /// The most answers that are kept. The oldest give way.
  std::size_t cache_capacity = 1000;

  /// Take a line of the log, and a piece of the transport's trace: a line with its newline, or part
  /// of one. On the thread of the loop, from inside the library: they must not call it, nor throw.
  /// Debug lines may hold what is asked and answered, the others and the trace never do.
  std::function<void(std::string_view)> log = {};
  LogLevel log_level = LogLevel::kWarnings;
  std::function<void(std::string_view)> trace = {};

  /// * For tests; it must outlive the client and its calls. Null is the system's.
  const Clock* clock = nullptr;
};

}  // namespace kesu

#endif  // CLIENT_OPTIONS_H_
