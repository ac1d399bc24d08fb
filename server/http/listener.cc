#include "server/http/listener.h"

#include <cerrno>
#include <utility>

#include <glib-unix.h>

namespace kesu_server {
namespace {

constexpr unsigned kPauseMs = 50;
/// Those who are connected have their turn after so many new ones.
constexpr int kClientsInOneGo = 64;

}  // namespace

Listener::Listener(int socket, HasRoom has_room, OnClient on_client)
    : socket_(socket), has_room_(std::move(has_room)), on_client_(std::move(on_client)) {
  Watch();
}

Listener::~Listener() {
  g_source_remove(source_);
}

void Listener::Watch() {
  const auto accept = [](int, GIOCondition, void* listener) -> gboolean {
    static_cast<Listener*>(listener)->Accept();
    return G_SOURCE_CONTINUE;
  };
  source_ = g_unix_fd_add(socket_, G_IO_IN, accept, this);
}

void Listener::Accept() {
  for (int i = 0; i < kClientsInOneGo; ++i) {
    if (!has_room_()) return Pause();
    sockaddr_storage address = {};
    socklen_t length = sizeof address;
    const int client = accept4(socket_, reinterpret_cast<sockaddr*>(&address), &length,
                               SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (client >= 0) {
      on_client_(client, address);
    } else if (errno == EAGAIN) {
      return;
    } else if (errno != EINTR && errno != ECONNABORTED) {
      // No descriptors or no memory are left.
      return Pause();
    }
  }
}

void Listener::Pause() {
  g_source_remove(source_);
  const auto watch = [](void* listener) -> gboolean {
    static_cast<Listener*>(listener)->Watch();
    return G_SOURCE_REMOVE;
  };
  source_ = g_timeout_add(kPauseMs, watch, this);
}

}  // namespace kesu_server
