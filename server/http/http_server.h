#ifndef SERVER_HTTP_HTTP_SERVER_H_
#define SERVER_HTTP_HTTP_SERVER_H_

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_set>

#include <microhttpd.h>
#include <sys/socket.h>

#include "server/http/deadlines.h"
#include "server/http/lingering_sockets.h"
#include "server/http/listener.h"
#include "server/http/reply.h"
#include "server/http/request_handler.h"

namespace kesu_server {

/// What clients may take. The times are in seconds, and at least 1.
struct HttpLimits {
  /// The longest body that a request may have.
  std::size_t body_bytes = std::size_t{1} << 20;
  unsigned header_s = 10;
  /// For the body of a request to come, and for that of its reply to be taken.
  unsigned body_s = 30;
  /// Without a byte in either direction.
  unsigned idle_s = 60;
};

/// Receives HTTP requests on the default main context and sends what the handler replies.
class HttpServer {
 public:
  /// `handler` is borrowed. `log`, which may be empty, gets a line about each request.
  HttpServer(const RequestHandler* handler, const HttpLimits& limits,
             std::function<void(const std::string& line)> log);
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;
  /// Closes all connections.
  ~HttpServer();

  /// Serves the clients of a listening socket, which is borrowed. False when there is no memory.
  bool Start(int listening_socket);

 private:
  struct Connection;
  struct DaemonSource;

  static MHD_Result OnRequest(void* http_server, MHD_Connection* handle, const char* path,
                              const char* method, const char* version, const char* upload,
                              std::size_t* upload_bytes, void** request);
  static void OnRequestEnded(void* http_server, MHD_Connection* handle, void** request,
                             MHD_RequestTerminationCode how);
  static void OnConnection(void* http_server, MHD_Connection* handle, void** connection,
                           MHD_ConnectionNotificationCode what);

  void AddClient(int descriptor, const sockaddr_storage& address);
  void RemoveConnection(Connection* connection);
  MHD_Result OnHeaders(Connection* connection, const char* method, const char* path);
  MHD_Result Answer(Connection* connection);
  MHD_Result Delay(Connection* connection);
  MHD_Result Send(Connection* connection);
  void Log(const HttpRequest& request, const Reply& reply) const;

  const RequestHandler* handler_;
  HttpLimits limits_;
  std::function<void(const std::string& line)> log_;
  std::unordered_set<Connection*> connections_;
  Deadlines<Connection> deadlines_;
  LingeringSockets lingering_;
  MHD_Daemon* daemon_ = nullptr;
  GSource* daemon_source_ = nullptr;
  std::optional<Listener> listener_;
};

}  // namespace kesu_server

#endif  // SERVER_HTTP_HTTP_SERVER_H_
