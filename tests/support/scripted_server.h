#ifndef SUPPORT_SCRIPTED_SERVER_H_
#define SUPPORT_SCRIPTED_SERVER_H_

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <deque>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <arpa/inet.h>
#include <glib-unix.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace kesu_test {

/// A socket bound to a free port of 127.0.0.1, which is stored in `port`.
inline int BoundSocket(int* port) {
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof(address);
  if (bind(fd, reinterpret_cast<sockaddr*>(&address), size) != 0) std::abort();
  if (getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) != 0) std::abort();
  *port = ntohs(address.sin_port);
  return fd;
}

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

/// The length of the complete request at the start of `bytes`, or 0.
inline std::size_t RequestLength(const std::string& bytes) {
  const std::size_t blank_line = bytes.find("\r\n\r\n");
  if (blank_line == std::string::npos) return 0;
  constexpr char kName[] = "\r\ncontent-length:";
  std::string head = bytes.substr(0, blank_line);
  std::transform(head.begin(), head.end(), head.begin(), g_ascii_tolower);
  const std::size_t name = head.find(kName);
  const bool has_body = name != std::string::npos;
  const std::size_t body = has_body ? std::stoul(head.substr(name + sizeof kName - 1)) : 0;
  const std::size_t length = blank_line + 4 + body;
  return length <= bytes.size() ? length : 0;
}

/// One connection to a server of this script, which adds what arrives to `requests`.
class ScriptedConnection {
 public:
  ScriptedConnection(int fd, std::deque<ScriptedReply>* script, std::vector<std::string>* requests)
      : fd_(fd), script_(script), requests_(requests) {
    const auto read = [](int, GIOCondition, void* self) -> gboolean {
      static_cast<ScriptedConnection*>(self)->Read();
      return G_SOURCE_CONTINUE;
    };
    reader_ = g_unix_fd_add(fd_, G_IO_IN, read, this);
  }
  ~ScriptedConnection() { Close(); }

  /// Answers the request that waits, if there is one and a reply for it.
  void AnswerNext() {
    if (!has_request_ || writer_ != 0 || script_->empty()) return;
    has_request_ = false;
    reply_ = std::move(script_->front());
    script_->pop_front();
    sent_ = 0;
    const auto write = [](int, GIOCondition, void* self) -> gboolean {
      static_cast<ScriptedConnection*>(self)->WritePiece();
      return G_SOURCE_CONTINUE;
    };
    writer_ = g_unix_fd_add_full(G_PRIORITY_LOW, fd_, G_IO_OUT, write, this, nullptr);
    WritePiece();
  }

 private:
  void Read() {
    char buffer[65536];
    const ssize_t count = recv(fd_, buffer, sizeof(buffer), 0);
    if (count <= 0) return Close();
    received_.append(buffer, static_cast<std::size_t>(count));
    const std::size_t length = RequestLength(received_);
    if (length == 0) return;
    requests_->push_back(received_.substr(0, length));
    received_.erase(0, length);
    has_request_ = true;
    AnswerNext();
  }

  void WritePiece() {
    const std::size_t left = reply_.bytes.size() - sent_;
    const std::size_t piece = reply_.piece_size == 0 ? left : std::min(left, reply_.piece_size);
    const ssize_t written = send(fd_, reply_.bytes.data() + sent_, piece, MSG_NOSIGNAL);
    if (written > 0) sent_ += static_cast<std::size_t>(written);
    if (sent_ < reply_.bytes.size()) return;
    if (reply_.tail_count > 0) {
      --reply_.tail_count;
      reply_.bytes = reply_.tail;
      sent_ = 0;
      return;
    }
    StopWatching(&writer_);
    // Closed while it lingers for no time, a connection is reset.
    const linger none{1, 0};
    if (reply_.then == ScriptedReply::Then::kReset)
      setsockopt(fd_, SOL_SOCKET, SO_LINGER, &none, sizeof(none));
    if (reply_.then != ScriptedReply::Then::kKeepOpen) Close();
    AnswerNext();
  }

  static void StopWatching(guint* source) {
    if (*source != 0) g_source_remove(std::exchange(*source, 0));
  }

  void Close() {
    if (fd_ < 0) return;
    StopWatching(&reader_);
    StopWatching(&writer_);
    has_request_ = false;
    close(std::exchange(fd_, -1));
  }

  int fd_;
  std::deque<ScriptedReply>* script_;
  std::vector<std::string>* requests_;
  guint reader_ = 0;
  guint writer_ = 0;
  std::string received_;
  bool has_request_ = false;
  ScriptedReply reply_;
  std::size_t sent_ = 0;
};

/// A server on a port of 127.0.0.1, on GLib's default main context. Each request is answered by the
/// next reply of the script; without one it is left waiting.
class ScriptedServer {
 public:
  enum Kind { kAnswers, kDeaf };

  /// A deaf one accepts nothing. The system lets one connection to it stand, and takes in what fits
  /// its buffers; the next connections wait.
  explicit ScriptedServer(Kind kind = kAnswers) : listener_(BoundSocket(&port_)) {
    if (listen(listener_, kind == kDeaf ? 0 : SOMAXCONN) != 0) std::abort();
    if (kind == kDeaf) return;
    const auto accept_one = [](int listener, GIOCondition, void* self) -> gboolean {
      auto* server = static_cast<ScriptedServer*>(self);
      const int fd = accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
      if (fd >= 0) server->connections_.emplace_back(fd, &server->script_, &server->requests_);
      return G_SOURCE_CONTINUE;
    };
    accept_source_ = g_unix_fd_add(listener_, G_IO_IN, accept_one, this);
  }
  ScriptedServer(const ScriptedServer&) = delete;
  ScriptedServer& operator=(const ScriptedServer&) = delete;
  /// Closes all connections; those that were not accepted are reset.
  ~ScriptedServer() {
    if (accept_source_ != 0) g_source_remove(accept_source_);
    close(listener_);
  }

  int port() const { return port_; }
  /// "http://127.0.0.1:PORT"
  std::string host() const { return "http://127.0.0.1:" + std::to_string(port_); }

  /// Adds to the end of the script. A request that waits is answered before this returns.
  void Reply(ScriptedReply reply) {
    script_.push_back(std::move(reply));
    for (ScriptedConnection& connection : connections_) connection.AnswerNext();
  }

  /// The raw bytes of each complete request, in order of arrival.
  const std::vector<std::string>& requests() const { return requests_; }
  int connection_count() const { return static_cast<int>(connections_.size()); }

 private:
  int listener_;
  int port_;
  guint accept_source_ = 0;
  std::deque<ScriptedReply> script_;
  std::vector<std::string> requests_;
  std::deque<ScriptedConnection> connections_;
};

/// "http://127.0.0.1:PORT" of a port where nobody listens.
inline std::string RefusingHost() {
  int port = 0;
  close(BoundSocket(&port));
  return "http://127.0.0.1:" + std::to_string(port);
}

/// Iterates the default main context until `done` holds; false when that takes too long.
inline bool IterateUntil(const std::function<bool()>& done, unsigned limit_ms = 20000) {
  bool is_over = false;
  const auto end = [](void* over) -> gboolean { return *static_cast<bool*>(over) = true; };
  const guint timer = g_timeout_add(limit_ms, end, &is_over);
  while (!done() && !is_over) g_main_context_iteration(nullptr, TRUE);
  g_source_remove(timer);
  return done();
}

}  // namespace kesu_test

#endif  // SUPPORT_SCRIPTED_SERVER_H_
