#include "server/http/http_server.h"

#include <algorithm>
#include <limits>
#include <string_view>
#include <utility>

#include <glib-unix.h>
#include <glib.h>
#include <unistd.h>

#include "server/http/http_response.h"

namespace kesu_server {
namespace {

/// libmicrohttpd has a limit of its own, below ours.
constexpr unsigned kNoConnectionLimit = std::numeric_limits<int>::max();

MHD_Result ResultOf(bool is_good) {
  return is_good ? MHD_YES : MHD_NO;
}

/// Ends the connection as if its client had; libmicrohttpd sees it and cleans up.
void Disconnect(int descriptor) {
  shutdown(descriptor, SHUT_RDWR);
}

HttpHeaders ReadHeaders(MHD_Connection* handle) {
  HttpHeaders headers;
  const auto add = [](void* list, MHD_ValueKind, const char* name, const char* value) {
    static_cast<HttpHeaders*>(list)->emplace_back(name, value == nullptr ? "" : value);
    return MHD_YES;
  };
  MHD_get_connection_values(handle, MHD_HEADER_KIND, add, &headers);
  return headers;
}

/// Whether a request says that its body is longer than `max_bytes`.
bool StatesMoreThan(std::size_t max_bytes, MHD_Connection* handle) {
  const char* const text =
      MHD_lookup_connection_value(handle, MHD_HEADER_KIND, MHD_HTTP_HEADER_CONTENT_LENGTH);
  guint64 stated_bytes = 0;
  // libmicrohttpd has refused what is no number.
  return text != nullptr &&
         g_ascii_string_to_unsigned(text, 10, 0, G_MAXUINT64, &stated_bytes, nullptr) != FALSE &&
         stated_bytes > max_bytes;
}

/// Paths stay as they were sent, so that only the one spelling of each is served.
std::size_t LeaveEscaped(void*, MHD_Connection*, char* text) {
  return std::string_view(text).size();
}

}  // namespace

/// A client, and the request that it is at.
struct HttpServer::Connection {
  MHD_Connection* handle = nullptr;
  int descriptor = -1;
  gint64 deadline_us = 0;
  HttpRequest request;
  std::string body;
  Reply reply;
  /// A timer while the reply is delayed.
  unsigned delay = 0;
  /// The reply has been made, and waits for its time or to be sent.
  bool has_reply = false;
  /// The client goes on sending a body that nobody wants.
  bool must_linger = false;
};

struct HttpServer::DaemonSource {
  GSource base;
  MHD_Daemon* daemon;
  void* descriptor_tag;

  static gboolean Prepare(GSource* source, int* timeout_ms) {
    MHD_UNSIGNED_LONG_LONG wait_ms = 0;
    const bool must_wake =
        MHD_get_timeout(reinterpret_cast<DaemonSource*>(source)->daemon, &wait_ms) == MHD_YES;
    constexpr MHD_UNSIGNED_LONG_LONG kMaxMs = std::numeric_limits<int>::max();
    *timeout_ms = must_wake ? static_cast<int>(std::min(wait_ms, kMaxMs)) : -1;
    return static_cast<gboolean>(*timeout_ms == 0);
  }
  static gboolean Check(GSource* source) {
    auto* const self = reinterpret_cast<DaemonSource*>(source);
    int timeout_ms = 0;
    return static_cast<gboolean>(g_source_query_unix_fd(source, self->descriptor_tag) != 0 ||
                                 Prepare(source, &timeout_ms) != FALSE);
  }
  static gboolean Dispatch(GSource* source, GSourceFunc, void*) {
    MHD_run(reinterpret_cast<DaemonSource*>(source)->daemon);
    return G_SOURCE_CONTINUE;
  }
};

HttpServer::HttpServer(const RequestHandler* handler, const HttpLimits& limits,
                       std::function<void(const std::string& line)> log)
    : handler_(handler),
      limits_(limits),
      log_(std::move(log)),
      deadlines_([](Connection* late) { Disconnect(late->descriptor); }) {}

HttpServer::~HttpServer() {
  listener_.reset();
  if (daemon_source_ != nullptr) {
    g_source_destroy(daemon_source_);
    g_source_unref(daemon_source_);
  }
  // It does not stop while one is suspended.
  for (Connection* const connection : connections_) {
    if (connection->delay == 0) continue;
    g_source_remove(std::exchange(connection->delay, 0));
    MHD_resume_connection(connection->handle);
  }
  if (daemon_ != nullptr) MHD_stop_daemon(daemon_);
}

bool HttpServer::Start(int listening_socket) {
  constexpr unsigned kFlags = MHD_USE_EPOLL | MHD_USE_NO_LISTEN_SOCKET | MHD_ALLOW_SUSPEND_RESUME;
  daemon_ = MHD_start_daemon(
      kFlags, 0, nullptr, nullptr, OnRequest, this, MHD_OPTION_NOTIFY_COMPLETED, OnRequestEnded,
      this, MHD_OPTION_NOTIFY_CONNECTION, OnConnection, this, MHD_OPTION_UNESCAPE_CALLBACK,
      LeaveEscaped, nullptr, MHD_OPTION_CONNECTION_LIMIT, kNoConnectionLimit,
      MHD_OPTION_CONNECTION_TIMEOUT, limits_.idle_s, MHD_OPTION_END);
  if (daemon_ == nullptr) return false;
  static GSourceFuncs functions = {DaemonSource::Prepare,
                                   DaemonSource::Check,
                                   DaemonSource::Dispatch,
                                   nullptr,
                                   nullptr,
                                   nullptr};
  daemon_source_ = g_source_new(&functions, sizeof(DaemonSource));
  auto* const source = reinterpret_cast<DaemonSource*>(daemon_source_);
  source->daemon = daemon_;
  source->descriptor_tag = g_source_add_unix_fd(
      daemon_source_, MHD_get_daemon_info(daemon_, MHD_DAEMON_INFO_EPOLL_FD)->epoll_fd, G_IO_IN);
  g_source_attach(daemon_source_, nullptr);
  listener_.emplace(
      listening_socket, [] { return true; },
      [this](int descriptor, const sockaddr_storage& address) { AddClient(descriptor, address); });
  return true;
}

void HttpServer::AddClient(int descriptor, const sockaddr_storage& address) {
  // It closes the descriptor when there is no memory.
  MHD_add_connection(daemon_, descriptor, reinterpret_cast<const sockaddr*>(&address),
                     sizeof address);
}

void HttpServer::OnConnection(void* http_server, MHD_Connection* handle, void** connection,
                              MHD_ConnectionNotificationCode what) {
  auto* const self = static_cast<HttpServer*>(http_server);
  if (what == MHD_CONNECTION_NOTIFY_CLOSED) {
    return self->RemoveConnection(static_cast<Connection*>(*connection));
  }
  auto* const added = new Connection;
  added->handle = handle;
  added->descriptor =
      MHD_get_connection_info(handle, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
  *connection = added;
  self->connections_.insert(added);
  self->deadlines_.Set(added, self->limits_.header_s);
}

void HttpServer::RemoveConnection(Connection* connection) {
  if (connection->must_linger) lingering_.Add(connection->descriptor);
  if (connection->delay != 0) g_source_remove(connection->delay);
  deadlines_.Clear(connection);
  connections_.erase(connection);
  delete connection;
}

MHD_Result HttpServer::OnRequest(void* http_server, MHD_Connection* handle, const char* path,
                                 const char* method, const char*, const char* upload,
                                 std::size_t* upload_bytes, void** request) {
  auto* const self = static_cast<HttpServer*>(http_server);
  auto* const connection = static_cast<Connection*>(
      MHD_get_connection_info(handle, MHD_CONNECTION_INFO_SOCKET_CONTEXT)->socket_context);
  if (*request == nullptr) {
    *request = connection;
    return self->OnHeaders(connection, method, path);
  }
  if (*upload_bytes == 0) {
    return connection->has_reply ? self->Send(connection) : self->Answer(connection);
  }
  const bool is_too_large = connection->request.is_too_large ||
                            *upload_bytes > self->limits_.body_bytes - connection->body.size();
  if (is_too_large) {
    connection->request.is_too_large = true;
    connection->body.clear();
  } else {
    connection->body.append(upload, *upload_bytes);
  }
  *upload_bytes = 0;
  return MHD_YES;
}

void HttpServer::OnRequestEnded(void* http_server, MHD_Connection*, void** request,
                                MHD_RequestTerminationCode) {
  auto* const self = static_cast<HttpServer*>(http_server);
  auto* const connection = static_cast<Connection*>(*request);
  if (connection == nullptr) return;
  connection->request = {};
  connection->body = {};
  connection->has_reply = false;
  // What comes next may take its time to begin, and then the usual time.
  self->deadlines_.Set(connection, self->limits_.idle_s + self->limits_.header_s);
}

MHD_Result HttpServer::OnHeaders(Connection* connection, const char* method, const char* path) {
  connection->request.method = method;
  connection->request.path = path;
  connection->request.headers = ReadHeaders(connection->handle);
  deadlines_.Set(connection, limits_.body_s);
  if (!StatesMoreThan(limits_.body_bytes, connection->handle)) return MHD_YES;
  connection->request.is_too_large = true;
  connection->must_linger = true;
  return Answer(connection);
}

MHD_Result HttpServer::Answer(Connection* connection) {
  connection->request.body = connection->body;
  connection->reply = handler_->Handle(connection->request);
  connection->has_reply = true;
  if (log_) Log(connection->request, connection->reply);
  return connection->reply.delay_ms > 0 ? Delay(connection) : Send(connection);
}

MHD_Result HttpServer::Delay(Connection* connection) {
  deadlines_.Clear(connection);
  const auto resume = [](void* delayed) -> gboolean {
    auto* const self = static_cast<Connection*>(delayed);
    MHD_Daemon* const daemon =
        MHD_get_connection_info(self->handle, MHD_CONNECTION_INFO_DAEMON)->daemon;
    self->delay = 0;
    MHD_resume_connection(self->handle);
    // Nothing else wakes it up.
    MHD_run(daemon);
    return G_SOURCE_REMOVE;
  };
  connection->delay = g_timeout_add(connection->reply.delay_ms, resume, connection);
  MHD_suspend_connection(connection->handle);
  return MHD_YES;
}

MHD_Result HttpServer::Send(Connection* connection) {
  deadlines_.Set(connection, limits_.body_s);
  if (connection->reply.delivery == Delivery::kNone) {
    Disconnect(connection->descriptor);
    return MHD_NO;
  }
  const unsigned status = connection->reply.status;
  const HttpResponse response = NewHttpResponse(std::move(connection->reply));
  return ResultOf(response &&
                  MHD_queue_response(connection->handle, status, response.get()) == MHD_YES);
}

void HttpServer::Log(const HttpRequest& request, const Reply& reply) const {
  const std::string line = request.method + " " + request.path;
  char* const printable = g_strescape(line.c_str(), nullptr);
  std::string text = printable;
  g_free(printable);
  text.append(", ").append(std::to_string(request.body.size())).append(" bytes: status ");
  text.append(std::to_string(reply.status)).append(", ");
  text.append(std::to_string(reply.body.size())).append(" bytes");
  if (!reply.fault.empty()) text.append(", with the fault ").append(reply.fault);
  log_(text);
}

}  // namespace kesu_server
