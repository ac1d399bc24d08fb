#include "server/http/lingering_sockets.h"

#include <cerrno>

#include <fcntl.h>
#include <glib-unix.h>
#include <sys/socket.h>
#include <unistd.h>

namespace kesu_server {
namespace {

/// Who goes on for longer than this, or with more, has no use for the reply.
constexpr unsigned kMaxMs = 2000;
constexpr std::size_t kMaxBytes = std::size_t{16} << 20;
/// More than these do not linger.
constexpr std::size_t kMaxSockets = 256;

}  // namespace

class LingeringSockets::Socket {
 public:
  /// Takes the descriptor.
  Socket(LingeringSockets* owner, int descriptor) : owner_(owner), descriptor_(descriptor) {
    shutdown(descriptor_, SHUT_WR);
    const auto drain = [](int, GIOCondition, void* socket) -> gboolean {
      static_cast<Socket*>(socket)->Drain();
      return G_SOURCE_CONTINUE;
    };
    const auto end = [](void* socket) -> gboolean {
      static_cast<Socket*>(socket)->End();
      return G_SOURCE_CONTINUE;
    };
    watch_ = g_unix_fd_add(descriptor_, G_IO_IN, drain, this);
    timer_ = g_timeout_add(kMaxMs, end, this);
  }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;
  ~Socket() {
    g_source_remove(watch_);
    g_source_remove(timer_);
    close(descriptor_);
  }

 private:
  void Drain() {
    char bytes[16384];
    const ssize_t count = recv(descriptor_, bytes, sizeof bytes, MSG_DONTWAIT);
    if (count > 0) drained_bytes_ += static_cast<std::size_t>(count);
    const bool may_go_on = count > 0 || (count < 0 && errno == EAGAIN);
    if (!may_go_on || drained_bytes_ > kMaxBytes) End();
  }

  /// Deletes this object.
  void End() { owner_->Remove(this); }

  LingeringSockets* owner_;
  int descriptor_;
  unsigned watch_;
  unsigned timer_;
  std::size_t drained_bytes_ = 0;
};

LingeringSockets::LingeringSockets() = default;
LingeringSockets::~LingeringSockets() = default;

void LingeringSockets::Add(int descriptor) {
  if (sockets_.size() >= kMaxSockets) return;
  const int copy = fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
  if (copy >= 0) sockets_.push_back(std::make_unique<Socket>(this, copy));
}

void LingeringSockets::Remove(const Socket* socket) {
  std::erase_if(sockets_, [socket](const auto& listed) { return listed.get() == socket; });
}

}  // namespace kesu_server
