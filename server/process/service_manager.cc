#include "server/process/service_manager.h"

#include <cstddef>
#include <cstring>

#include <fcntl.h>
#include <glib.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace kesu_server {
namespace {

constexpr int kFirstActivatedSocket = 3;
constexpr guint64 kMaxActivatedSockets = 64;

/// 0 where the variable is not set or no number from 0 to `max`.
guint64 NumberIn(const char* variable, guint64 max) {
  const char* const text = g_getenv(variable);
  guint64 number = 0;
  const bool is_good =
      text != nullptr && g_ascii_string_to_unsigned(text, 10, 0, max, &number, nullptr) != FALSE;
  return is_good ? number : 0;
}

bool IsListeningTcpSocket(int descriptor) {
  sockaddr_storage address = {};
  socklen_t length = sizeof address;
  int is_listening = 0;
  socklen_t flag_length = sizeof is_listening;
  return getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &length) == 0 &&
         (address.ss_family == AF_INET || address.ss_family == AF_INET6) &&
         getsockopt(descriptor, SOL_SOCKET, SO_ACCEPTCONN, &is_listening, &flag_length) == 0 &&
         is_listening != 0;
}

}  // namespace

bool TakeActivatedSockets(std::vector<int>* sockets, std::string* error) {
  const bool is_for_us = NumberIn("LISTEN_PID", G_MAXINT) == static_cast<guint64>(getpid());
  const auto count = static_cast<int>(is_for_us ? NumberIn("LISTEN_FDS", kMaxActivatedSockets) : 0);
  for (int i = 0; i < count; ++i) {
    const int descriptor = kFirstActivatedSocket + i;
    if (!IsListeningTcpSocket(descriptor)) {
      *error = "the file descriptor " + std::to_string(descriptor) +
               " of LISTEN_FDS is no listening TCP socket";
      return false;
    }
    fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) | O_NONBLOCK);
    sockets->push_back(descriptor);
  }
  for (const char* const variable : {"LISTEN_PID", "LISTEN_FDS", "LISTEN_FDNAMES"}) {
    g_unsetenv(variable);
  }
  return true;
}

void NotifyServiceManager(const std::string& state) {
  const char* const path = g_getenv("NOTIFY_SOCKET");
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (path == nullptr || std::strlen(path) >= sizeof address.sun_path) return;
  std::memcpy(address.sun_path, path, std::strlen(path) + 1);
  // One in the abstract name space, which begins with a zero byte there.
  if (*path == '@') address.sun_path[0] = '\0';
  const int descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (descriptor < 0) return;
  sendto(descriptor, state.data(), state.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
         reinterpret_cast<const sockaddr*>(&address),
         static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + std::strlen(path)));
  close(descriptor);
}

std::string ReloadingState() {
  return "RELOADING=1\nMONOTONIC_USEC=" + std::to_string(g_get_monotonic_time());
}

}  // namespace kesu_server
