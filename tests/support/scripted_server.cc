#include "support/scripted_server.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include <arpa/inet.h>
#include <glib-unix.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace kesu_test {
namespace {

using Then = ScriptedReply::Then;

/// A socket bound to a free port of 127.0.0.1, which is stored in `port`.
int BoundSocket(int* port) {
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

/// The length of the complete request at the start of `bytes`, or 0.
std::size_t RequestLength(const std::string& bytes) {
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

void StopWatching(guint* source) {
  if (*source != 0) g_source_remove(std::exchange(*source, 0));
}

}  // namespace

class ScriptedServer::Connection {
 public:
  Connection(ScriptedServer* server, int fd) : server_(server), fd_(fd) {
    const auto read = [](int, GIOCondition, void* self) -> gboolean {
      static_cast<Connection*>(self)->Read();
      return G_SOURCE_CONTINUE;
    };
    reader_ = g_unix_fd_add(fd_, G_IO_IN, read, this);
  }
  ~Connection() { Close(); }

  /// Answers the request that waits, if there is one and a reply for it.
  void AnswerNext() {
    if (!has_request_ || writer_ != 0 || server_->script_.empty()) return;
    has_request_ = false;
    reply_ = std::move(server_->script_.front());
    server_->script_.pop_front();
    sent_ = 0;
    const auto write = [](int, GIOCondition, void* self) -> gboolean {
      static_cast<Connection*>(self)->WritePiece();
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
    server_->requests_.push_back(received_.substr(0, length));
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
    if (reply_.then == Then::kReset) setsockopt(fd_, SOL_SOCKET, SO_LINGER, &none, sizeof(none));
    if (reply_.then != Then::kKeepOpen) Close();
    AnswerNext();
  }

  void Close() {
    if (fd_ < 0) return;
    StopWatching(&reader_);
    StopWatching(&writer_);
    has_request_ = false;
    close(std::exchange(fd_, -1));
  }

  ScriptedServer* server_;
  int fd_;
  guint reader_ = 0;
  guint writer_ = 0;
  std::string received_;
  bool has_request_ = false;
  ScriptedReply reply_;
  std::size_t sent_ = 0;
};

ScriptedServer::ScriptedServer(Kind kind) : listener_(BoundSocket(&port_)) {
  if (listen(listener_, kind == kDeaf ? 0 : SOMAXCONN) != 0) std::abort();
  if (kind == kDeaf) return;
  const auto accept_one = [](int listener, GIOCondition, void* self) -> gboolean {
    auto* server = static_cast<ScriptedServer*>(self);
    const int fd = accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd >= 0) server->connections_.push_back(std::make_unique<Connection>(server, fd));
    return G_SOURCE_CONTINUE;
  };
  accept_source_ = g_unix_fd_add(listener_, G_IO_IN, accept_one, this);
}

ScriptedServer::~ScriptedServer() {
  StopWatching(&accept_source_);
  close(listener_);
}

void ScriptedServer::Reply(ScriptedReply reply) {
  script_.push_back(std::move(reply));
  for (auto& connection : connections_) connection->AnswerNext();
}

std::string RefusingHost() {
  int port = 0;
  close(BoundSocket(&port));
  return "http://127.0.0.1:" + std::to_string(port);
}

bool IterateUntil(const std::function<bool()>& done, unsigned limit_ms) {
  bool is_over = false;
  const auto end = [](void* over) -> gboolean { return *static_cast<bool*>(over) = true; };
  const guint timer = g_timeout_add(limit_ms, end, &is_over);
  while (!done() && !is_over) g_main_context_iteration(nullptr, TRUE);
  g_source_remove(timer);
  return done();
}

}  // namespace kesu_test
