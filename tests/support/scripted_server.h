#ifndef SUPPORT_SCRIPTED_SERVER_H_
#define SUPPORT_SCRIPTED_SERVER_H_

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <glib.h>

namespace kesu_test {

/// What a ScriptedServer does once a request has arrived.
struct ScriptedReply {
  enum class Then { kKeepOpen, kClose, kReset };

  /// Sent as they are; they need not be HTTP.
  std::string bytes;
  Then then = Then::kKeepOpen;
  /// The bytes go out this many at a time, each time after everything else that the main context
  /// has to do; 0 sends them at once.
  std::size_t piece_size = 0;
  /// Sent so many times behind `bytes`.
  std::string tail = {};
  std::size_t tail_count = 0;
};

/// A server on a port of 127.0.0.1, on GLib's default main context. Each request is answered by the
/// next reply of the script; without one it is left waiting.
class ScriptedServer {
 public:
  enum Kind { kAnswers, kDeaf };

  /// A deaf one accepts nothing. The system lets one connection to it stand, and takes in what fits
  /// its buffers; the next connections wait.
  explicit ScriptedServer(Kind kind = kAnswers);
  ScriptedServer(const ScriptedServer&) = delete;
  ScriptedServer& operator=(const ScriptedServer&) = delete;
  /// Closes all connections; those that were not accepted are reset.
  ~ScriptedServer();

  int port() const { return port_; }
  /// "http://127.0.0.1:PORT"
  std::string host() const { return "http://127.0.0.1:" + std::to_string(port_); }

  /// Adds to the end of the script. A request that waits is answered before this returns.
  void Reply(ScriptedReply reply);

  /// The raw bytes of each complete request, in order of arrival.
  const std::vector<std::string>& requests() const { return requests_; }
  int connection_count() const { return static_cast<int>(connections_.size()); }

 private:
  class Connection;

  int listener_;
  int port_;
  guint accept_source_ = 0;
  std::deque<ScriptedReply> script_;
  std::vector<std::string> requests_;
  std::vector<std::unique_ptr<Connection>> connections_;
};

/// "http://127.0.0.1:PORT" of a port where nobody listens.
std::string RefusingHost();

/// Iterates the default main context until `done` holds; false when that takes too long.
bool IterateUntil(const std::function<bool()>& done, unsigned limit_ms = 20000);

}  // namespace kesu_test

#endif  // SUPPORT_SCRIPTED_SERVER_H_
