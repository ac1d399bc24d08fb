#ifndef SERVER_HTTP_LISTENER_H_
#define SERVER_HTTP_LISTENER_H_

#include <functional>

#include <sys/socket.h>

namespace kesu_server {

/// Accepts the clients of a listening socket on the default main context. Where there is no room
/// for more they wait in the socket's queue, and it looks again shortly after.
class Listener {
 public:
  using HasRoom = std::function<bool()>;
  using OnClient = std::function<void(int descriptor, const sockaddr_storage& address)>;

  /// `socket` is borrowed, and must not block. `on_client` gets the descriptors, which do not block
  /// either.
  Listener(int socket, HasRoom has_room, OnClient on_client);
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;
  ~Listener();

  /// Accepts those who wait.
  void Accept();

 private:
  void Watch();
  void Pause();

  int socket_;
  HasRoom has_room_;
  OnClient on_client_;
  /// The source that waits for clients or, while there is no room, for the next look.
  unsigned source_ = 0;
};

}  // namespace kesu_server

#endif  // SERVER_HTTP_LISTENER_H_
