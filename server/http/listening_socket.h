#ifndef SERVER_HTTP_LISTENING_SOCKET_H_
#define SERVER_HTTP_LISTENING_SOCKET_H_

#include <string>
#include <vector>

namespace kesu_server {

/// Listens on the port of an IP address with `count` sockets among which the system shares out the
/// clients; port 0 stands for any free one. Nobody else listens there. Empty, and why in `error`,
/// when the address is none or cannot be had.
std::vector<int> ListenOn(const std::string& address, unsigned short port, int count,
                          std::string* error);

/// "127.0.0.1:8642" or "[::1]:8642"; the address of a listening socket.
std::string HostAndPort(int socket);

/// Whether nobody but this machine can come there.
bool IsOnLoopback(int socket);

}  // namespace kesu_server

#endif  // SERVER_HTTP_LISTENING_SOCKET_H_
