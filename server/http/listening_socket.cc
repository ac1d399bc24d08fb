#include "server/http/listening_socket.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace kesu_server {
namespace {

/// One client with a large batch opens many connections at once.
constexpr int kListenBacklog = 1024;

using Address = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

Address ParseAddress(const std::string& address, unsigned short port) {
  addrinfo hints = {};
  hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const int failure = getaddrinfo(address.c_str(), std::to_string(port).c_str(), &hints, &found);
  return {failure == 0 ? found : nullptr, freeaddrinfo};
}

bool SetOption(int socket, int level, int option, int value) {
  return setsockopt(socket, level, option, &value, sizeof value) == 0;
}

/// The first socket is bound before it says that it shares the port, so that it cannot have that of
/// another server; those that follow share it with the first.
bool BindAndListen(int socket, const sockaddr* address, socklen_t length, bool is_first) {
  if (address->sa_family == AF_INET6) SetOption(socket, IPPROTO_IPV6, IPV6_V6ONLY, 0);
  const auto share = [socket] { return SetOption(socket, SOL_SOCKET, SO_REUSEPORT, 1); };
  return SetOption(socket, SOL_SOCKET, SO_REUSEADDR, 1) && (is_first || share()) &&
         bind(socket, address, length) == 0 && (!is_first || share()) &&
         listen(socket, kListenBacklog) == 0;
}

/// -1, with errno set, when it cannot be had.
int NewSocket(const sockaddr* address, socklen_t length, bool is_first) {
  const int descriptor = socket(address->sa_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (descriptor < 0 || BindAndListen(descriptor, address, length, is_first)) return descriptor;
  const int failure = errno;
  close(descriptor);
  errno = failure;
  return -1;
}

}  // namespace

std::vector<int> ListenOn(const std::string& address, unsigned short port, int count,
                          std::string* error) {
  const Address parsed = ParseAddress(address, port);
  if (!parsed) {
    *error = "\"" + address + "\" is no IP address";
    return {};
  }
  sockaddr_storage bound = {};
  socklen_t length = parsed->ai_addrlen;
  std::memcpy(&bound, parsed->ai_addr, length);
  const auto* const bound_address = reinterpret_cast<const sockaddr*>(&bound);
  std::vector<int> sockets;
  while (sockets.size() < static_cast<std::size_t>(count)) {
    sockets.push_back(NewSocket(bound_address, length, sockets.empty()));
    if (sockets.back() < 0) {
      *error = "cannot listen on " + address + ", port " + std::to_string(port) + ": " +
               std::strerror(errno);
      sockets.pop_back();
      for (const int socket : sockets) close(socket);
      return {};
    }
    // Now the port is known.
    getsockname(sockets.back(), reinterpret_cast<sockaddr*>(&bound), &length);
  }
  return sockets;
}

std::string HostAndPort(int socket) {
  sockaddr_storage address = {};
  socklen_t length = sizeof address;
  char host[NI_MAXHOST];
  char port[NI_MAXSERV];
  if (getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length) != 0 ||
      getnameinfo(reinterpret_cast<const sockaddr*>(&address), length, host, sizeof host, port,
                  sizeof port, NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
    return {};
  }
  const std::string text = host;
  return (address.ss_family == AF_INET6 ? "[" + text + "]" : text) + ":" + port;
}

bool IsOnLoopback(int socket) {
  constexpr std::uint32_t kLoopbackNet = 127;
  sockaddr_storage address = {};
  socklen_t length = sizeof address;
  if (getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length) != 0) return false;
  if (address.ss_family == AF_INET) {
    return ntohl(reinterpret_cast<const sockaddr_in*>(&address)->sin_addr.s_addr) >> 24 ==
           kLoopbackNet;
  }
  if (address.ss_family != AF_INET6) return address.ss_family == AF_UNIX;
  const in6_addr& v6 = reinterpret_cast<const sockaddr_in6*>(&address)->sin6_addr;
  return IN6_IS_ADDR_LOOPBACK(&v6) || (IN6_IS_ADDR_V4MAPPED(&v6) && v6.s6_addr[12] == kLoopbackNet);
}

}  // namespace kesu_server
