#include "support/scripted_server.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include <arpa/inet.h>
#include <glib-unix.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

namespace kesu_test {
namespace {

using Handler = gboolean (*)(int fd, GIOCondition condition, void* data);

GSource* Watch(int fd, GIOCondition condition, int priority, Handler handler, void* data) {
  GSource* source = g_unix_fd_source_new(fd, condition);
  g_source_set_priority(source, priority);
  g_source_set_callback(
      source, reinterpret_cast<GSourceFunc>(reinterpret_cast<void (*)()>(handler)), data, nullptr);
  g_source_attach(source, nullptr);
  return source;
}

void Unwatch(GSource** source) {
  if (*source == nullptr) return;
  g_source_destroy(*source);
  g_source_unref(std::exchange(*source, nullptr));
}

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

std::string HostAt(int port) {
  return "http://127.0.0.1:" + std::to_string(port);
}

std::size_t AnnouncedBodyLength(const std::string& head) {
  static constexpr char kName[] = "\r\nContent-Length:";
  for (std::size_t i = 0; i < head.size(); ++i) {
    if (strncasecmp(head.c_str() + i, kName, sizeof(kName) - 1) == 0) {
      return std::strtoul(head.c_str() + i + sizeof(kName) - 1, nullptr, 10);
    }
  }
  return 0;
}

/// The length of the complete request at the start of `bytes`, or 0.
std::size_t RequestLength(const std::string& bytes) {
  const std::size_t blank_line = bytes.find("\r\n\r\n");
  if (blank_line == std::string::npos) return 0;
  const std::size_t length = blank_line + 4 + AnnouncedBodyLength(bytes.substr(0, blank_line + 2));
  return length <= bytes.size() ? length : 0;
}

}  // namespace

class ScriptedServer::Connection {
 public:
  Connection(ScriptedServer* server, int fd) : server_(server), fd_(fd) {
    const int no_delay = 1;
    setsockopt(fd_, IPPROTO_TCP, TCP_NODELAY, &no_delay, sizeof(no_delay));
    read_source_ = Watch(
        fd_, G_IO_IN, G_PRIORITY_DEFAULT,
        [](int, GIOCondition, void* self) { return static_cast<Connection*>(self)->Read(); }, this);
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection() { Close(); }

  /// Notes the request that waits, if there is one, and answers it, if there is a reply for it.
  void AnswerNext() {
    if (fd_ < 0 || is_replying_) return;
    const std::size_t length = RequestLength(received_);
    if (length == 0) return;
    if (!is_noted_) server_->requests_.push_back(received_.substr(0, length));
    is_noted_ = true;
    if (server_->holding_ || server_->script_.empty()) return;
    reply_ = std::move(server_->script_.front());
    server_->script_.pop_front();
    received_.erase(0, length);
    is_noted_ = false;
    is_replying_ = true;
    sent_ = 0;
    if (WritePiece()) {
      write_source_ = Watch(
          fd_, G_IO_OUT, G_PRIORITY_LOW,
          [](int, GIOCondition, void* self) { return static_cast<Connection*>(self)->Write(); },
          this);
    }
  }

 private:
  gboolean Read() {
    char buffer[65536];
    const ssize_t length = recv(fd_, buffer, sizeof(buffer), 0);
    if (length <= 0) {
      Close();
      return G_SOURCE_REMOVE;
    }
    received_.append(buffer, static_cast<std::size_t>(length));
    AnswerNext();
    return G_SOURCE_CONTINUE;
  }

  gboolean Write() {
    if (WritePiece()) return G_SOURCE_CONTINUE;
    Unwatch(&write_source_);
    AnswerNext();
    return G_SOURCE_REMOVE;
  }

  /// False when the reply is over.
  bool WritePiece() {
    const std::size_t left = reply_.bytes.size() - sent_;
    const std::size_t piece = reply_.piece_size == 0 ? left : std::min(left, reply_.piece_size);
    const ssize_t written = send(fd_, reply_.bytes.data() + sent_, piece, MSG_NOSIGNAL);
    if (written > 0) sent_ += static_cast<std::size_t>(written);
    if (sent_ < reply_.bytes.size()) return true;
    is_replying_ = false;
    if (reply_.then != ScriptedReply::Then::kKeepOpen) Close();
    return false;
  }

  void Close() {
    if (fd_ < 0) return;
    Unwatch(&read_source_);
    Unwatch(&write_source_);
    if (reply_.then == ScriptedReply::Then::kReset) {
      const linger reset{1, 0};
      setsockopt(fd_, SOL_SOCKET, SO_LINGER, &reset, sizeof(reset));
    }
    close(std::exchange(fd_, -1));
  }

  ScriptedServer* server_;
  int fd_;
  GSource* read_source_ = nullptr;
  GSource* write_source_ = nullptr;
  std::string received_;
  /// Whether the request at the start of the bytes is in the server's list.
  bool is_noted_ = false;
  bool is_replying_ = false;
  ScriptedReply reply_;
  std::size_t sent_ = 0;
};

ScriptedServer::ScriptedServer() : listener_(BoundSocket(&port_)) {
  if (listen(listener_, SOMAXCONN) != 0) std::abort();
  accept_source_ = Watch(
      listener_, G_IO_IN, G_PRIORITY_DEFAULT,
      [](int, GIOCondition, void* self) -> gboolean {
        static_cast<ScriptedServer*>(self)->Accept();
        return G_SOURCE_CONTINUE;
      },
      this);
}

ScriptedServer::~ScriptedServer() {
  Unwatch(&accept_source_);
  close(listener_);
}

std::string ScriptedServer::host() const {
  return HostAt(port_);
}

void ScriptedServer::Reply(ScriptedReply reply) {
  script_.push_back(std::move(reply));
  for (auto& connection : connections_) connection->AnswerNext();
}

void ScriptedServer::HoldReplies() {
  holding_ = true;
}

void ScriptedServer::ReleaseReplies() {
  holding_ = false;
  for (auto& connection : connections_) connection->AnswerNext();
}

void ScriptedServer::Accept() {
  const int fd = accept4(listener_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
  if (fd >= 0) connections_.push_back(std::make_unique<Connection>(this, fd));
}

std::string RefusingHost() {
  int port = 0;
  close(BoundSocket(&port));
  return HostAt(port);
}

bool IterateUntil(const std::function<bool()>& done, unsigned limit_ms) {
  bool is_over = false;
  const auto end = [](void* over) -> gboolean {
    *static_cast<bool*>(over) = true;
    return G_SOURCE_REMOVE;
  };
  const guint timer = g_timeout_add(limit_ms, end, &is_over);
  while (!done() && !is_over) g_main_context_iteration(nullptr, TRUE);
  if (!is_over) g_source_remove(timer);
  return done();
}

}  // namespace kesu_test
