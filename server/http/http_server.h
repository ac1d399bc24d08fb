#ifndef SERVER_HTTP_HTTP_SERVER_H_
#define SERVER_HTTP_HTTP_SERVER_H_

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include <microhttpd.h>
#include <sys/socket.h>

#include "server/http/admission.h"
#include "server/http/deadlines.h"
#include "server/http/lingering_sockets.h"
#include "server/http/listener.h"
#include "server/http/reply.h"
#include "server/http/request_handler.h"
#include "server/http/tls_files.h"
#include "server/http/worker_record.h"

namespace kesu_server {

/// How long clients may take, in seconds, each at least 1.
struct HttpTimes {
  unsigned header_s = 10;
  /// For the body of a request to come, and for that of its reply to be taken.
  unsigned body_s = 30;
  /// Without a byte in either direction.
  unsigned idle_s = 60;
};

/// Receives HTTP requests on the default main context and sends what the handler replies.
class HttpServer {
 public:
  /// What is borrowed, and what may be empty.
  struct Parts {
    RequestHandler* handler = nullptr;
    Admission* admission = nullptr;
    WorkerRecord* record = nullptr;
    std::size_t max_body_bytes = 0;
    HttpTimes times = {};
    /// Gets a line about each request, if it is there.
    std::function<void(const std::string& line)> log = {};
    /// Gets a line about each POST, if it is there.
    std::function<void(const std::string& line)> access_log = {};
    /// Is told of each request when its reply is there, if it is there itself.
    std::function<void(const HttpRequest& request, const Reply& reply, std::int64_t duration_us,
                       const std::string& client)>
        observe = {};
  };

  enum class Farewell {
    /// Connections on which nothing is under way are closed.
    kSoon,
    /// They may still bring a request, which is the last one.
    kPatient,
  };

  explicit HttpServer(Parts parts);
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;
  /// Closes all connections.
  ~HttpServer();

  /// Serves the clients of listening sockets, which are borrowed; with TLS if there is a
  /// certificate. False, and why in `error`, when that cannot be.
  bool Start(const std::vector<int>& listening_sockets, const TlsFiles& tls, std::string* error);

  /// Takes no more clients, finishes what is under way and calls `on_finished` when the last
  /// connection is closed, from inside if there is none. May be called again with kSoon.
  void Finish(Farewell farewell, std::function<void()> on_finished);
  bool is_finishing() const { return static_cast<bool>(on_finished_); }

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

  bool StartDaemon(const TlsFiles& tls);
  void AttachDaemon();
  void AddClient(int descriptor, const sockaddr_storage& address);
  void AddConnection(Connection* connection);
  void RemoveConnection(Connection* connection);
  MHD_Result OnHeaders(Connection* connection, const char* method, const char* path);
  void OnBody(Connection* connection, const char* bytes, std::size_t count) const;
  /// Asks the handler, and sends the reply or suspends the connection until it is there.
  MHD_Result Answer(Connection* connection);
  void TakeReply(Connection* connection, Reply reply);
  void Suspend(Connection* connection);
  static void Delay(Connection* connection);
  static void Resume(Connection* connection);
  MHD_Result Send(Connection* connection);
  MHD_Result SendStream(Connection* connection);
  static ssize_t ReadStream(void* connection, std::uint64_t position, char* buffer,
                            std::size_t buffer_bytes);
  void ResumeStream(Connection* connection);
  void EndStreams();
  void Log(const HttpRequest& request, const Reply& reply, gint64 duration_us) const;

  Parts parts_;
  std::unordered_set<Connection*> connections_;
  Deadlines<Connection> deadlines_;
  LingeringSockets lingering_;
  MHD_Daemon* daemon_ = nullptr;
  GSource* daemon_source_ = nullptr;
  std::deque<Listener> listeners_;
  /// Where the client is counted that libmicrohttpd is just being given.
  std::optional<std::size_t> entering_;
  std::function<void()> on_finished_;
};

}  // namespace kesu_server

#endif  // SERVER_HTTP_HTTP_SERVER_H_
