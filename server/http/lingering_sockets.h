#ifndef SERVER_HTTP_LINGERING_SOCKETS_H_
#define SERVER_HTTP_LINGERING_SOCKETS_H_

#include <cstddef>
#include <memory>
#include <vector>

namespace kesu_server {

/// Connections that have had their reply before they had sent their request. To close them at once
/// would make the client's system throw the reply away unread, so that what comes is read into the
/// void for a while.
class LingeringSockets {
 public:
  LingeringSockets();
  LingeringSockets(const LingeringSockets&) = delete;
  LingeringSockets& operator=(const LingeringSockets&) = delete;
  ~LingeringSockets();

  /// Keeps the connection of `descriptor` open, which stays the caller's to close.
  void Add(int descriptor);

 private:
  class Socket;

  void Remove(const Socket* socket);

  std::vector<std::unique_ptr<Socket>> sockets_;
};

}  // namespace kesu_server

#endif  // SERVER_HTTP_LINGERING_SOCKETS_H_
