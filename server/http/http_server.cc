#include "server/http/http_server.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <string_view>
#include <utility>

#include <glib.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "server/http/access_log.h"
#include "server/http/http_response.h"
#include "server/http/reply_stream.h"

namespace kesu_server {
namespace {

/// libmicrohttpd has a limit of its own, below ours.
constexpr unsigned kNoConnectionLimit = std::numeric_limits<int>::max();

/// For the headers of a request and of its reply, and a piece of its body. A client takes that much
/// as long as it is connected.
constexpr std::size_t kConnectionBytes = std::size_t{16} << 10;

MHD_Result ResultOf(bool is_good) {
  return is_good ? MHD_YES : MHD_NO;
}

/// Ends the connection as if its client had; libmicrohttpd sees it and cleans up.
void Disconnect(int descriptor) {
  shutdown(descriptor, SHUT_RDWR);
}

/// Whether the client has ended the stream, and sent nothing before, or is gone.
bool HasHungUp(int descriptor) {
  char byte = 0;
  const ssize_t count = recv(descriptor, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
  return count == 0 || (count < 0 && errno == ECONNRESET);
}

/// libmicrohttpd takes notice of a client's end of stream only where it comes alone; this lets it
/// look once more where it came together with a request.
void RemindOfEnd(int descriptor) {
  if (HasHungUp(descriptor)) shutdown(descriptor, SHUT_RD);
}

/// Whether bytes have come that libmicrohttpd has not read yet.
bool HasUnread(int descriptor) {
  int count = 0;
  return ioctl(descriptor, FIONREAD, &count) == 0 && count > 0;
}

/// Headers or arguments, in the order in which they came.
HttpHeaders ReadValues(MHD_ValueKind kind, MHD_Connection* handle) {
  HttpHeaders values;
  const auto add = [](void* list, MHD_ValueKind, const char* name, const char* value) {
    static_cast<HttpHeaders*>(list)->emplace_back(name, value == nullptr ? "" : value);
    return MHD_YES;
  };
  MHD_get_connection_values(handle, kind, add, &values);
  return values;
}

HttpHeaders ReadArguments(MHD_Connection* handle) {
  HttpHeaders arguments = ReadValues(MHD_GET_ARGUMENT_KIND, handle);
  for (auto& [name, value] : arguments) value.resize(MHD_http_unescape(value.data()));
  return arguments;
}

/// The address of the client.
std::string ClientOf(MHD_Connection* handle) {
  const MHD_ConnectionInfo* const info =
      MHD_get_connection_info(handle, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
  char host[NI_MAXHOST];
  const socklen_t length =
      info->client_addr->sa_family == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
  const bool is_known =
      getnameinfo(info->client_addr, length, host, sizeof host, nullptr, 0, NI_NUMERICHOST) == 0;
  return is_known ? host : "";
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

/// One line about a request, whatever bytes it consisted of.
std::string VerboseLine(const HttpRequest& request, const Reply& reply) {
  const std::string line = request.method + " " + request.path;
  char* const printable = g_strescape(line.c_str(), nullptr);
  std::string text = printable;
  g_free(printable);
  text.append(", ").append(std::to_string(request.body.size())).append(" bytes: status ");
  text.append(std::to_string(reply.status)).append(", ");
  text.append(std::to_string(reply.body.size())).append(" bytes");
  if (!reply.fault.empty()) text.append(", with the fault ").append(reply.fault);
  return text;
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
  /// Where its address is counted; none until it is let in.
  std::optional<std::size_t> bucket;
  gint64 start_us = 0;
  /// A timer while the reply is delayed.
  unsigned delay = 0;
  bool is_in_request = false;
  /// libmicrohttpd has set it aside, until the reply is there and it is time for it.
  bool is_suspended = false;
  /// The reply has been made, and waits for its time or to be sent.
  bool has_reply = false;
  /// The reply is one, and is being sent. It is set aside while there is nothing to send.
  std::shared_ptr<ReplyStream> stream;
  HttpServer* server = nullptr;
  /// The client may go on sending a body that nobody wants.
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
    g_source_set_ready_time(source, -1);
    MHD_run(reinterpret_cast<DaemonSource*>(source)->daemon);
    return G_SOURCE_CONTINUE;
  }
};

HttpServer::HttpServer(Parts parts)
    : parts_(std::move(parts)),
      deadlines_([](Connection* late) { Disconnect(late->descriptor); }) {}

HttpServer::~HttpServer() {
  listeners_.clear();
  on_finished_ = nullptr;
  if (daemon_source_ != nullptr) {
    g_source_destroy(daemon_source_);
    g_source_unref(daemon_source_);
  }
  // It does not stop while one is suspended.
  for (Connection* const connection : connections_) {
    if (connection->delay != 0) g_source_remove(std::exchange(connection->delay, 0));
    if (connection->is_suspended) MHD_resume_connection(connection->handle);
  }
  if (daemon_ != nullptr) MHD_stop_daemon(daemon_);
}

bool HttpServer::Start(const std::vector<int>& listening_sockets, const TlsFiles& tls,
                       std::string* error) {
  if (!StartDaemon(tls)) {
    *error = tls.key.empty() ? "cannot serve HTTP" : "the TLS certificate or its key is no good";
    return false;
  }
  AttachDaemon();
  for (const int socket : listening_sockets) {
    listeners_.emplace_back(
        socket, [this] { return parts_.admission->HasRoom(); },
        [this](int descriptor, const sockaddr_storage& address) {
          AddClient(descriptor, address);
        });
  }
  return true;
}

bool HttpServer::StartDaemon(const TlsFiles& tls) {
  unsigned flags = MHD_USE_EPOLL | MHD_USE_NO_LISTEN_SOCKET | MHD_ALLOW_SUSPEND_RESUME;
  std::vector<MHD_OptionItem> certificate;
  if (!tls.key.empty()) {
    flags |= MHD_USE_TLS;
    // It does not change them.
    const auto add = [&](MHD_OPTION option, const std::string& pem) {
      certificate.push_back({option, 0, const_cast<char*>(pem.c_str())});
    };
    add(MHD_OPTION_HTTPS_MEM_CERT, tls.certificate);
    add(MHD_OPTION_HTTPS_MEM_KEY, tls.key);
  }
  certificate.push_back({MHD_OPTION_END, 0, nullptr});
  daemon_ = MHD_start_daemon(
      flags, 0, nullptr, nullptr, OnRequest, this, MHD_OPTION_NOTIFY_COMPLETED, OnRequestEnded,
      this, MHD_OPTION_NOTIFY_CONNECTION, OnConnection, this, MHD_OPTION_UNESCAPE_CALLBACK,
      LeaveEscaped, nullptr, MHD_OPTION_CONNECTION_LIMIT, kNoConnectionLimit,
      MHD_OPTION_CONNECTION_MEMORY_LIMIT, kConnectionBytes, MHD_OPTION_CONNECTION_TIMEOUT,
      parts_.times.idle_s, MHD_OPTION_ARRAY, certificate.data(), MHD_OPTION_END);
  return daemon_ != nullptr;
}

void HttpServer::AttachDaemon() {
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
  // It does not recurse; but without this GLib takes its file out of the loop for each dispatch.
  g_source_set_can_recurse(daemon_source_, TRUE);
  g_source_attach(daemon_source_, nullptr);
}

void HttpServer::Finish(Farewell farewell, std::function<void()> on_finished) {
  on_finished_ = std::move(on_finished);
  EndStreams();
  // Those who wait already were there in time.
  if (farewell == Farewell::kSoon) {
    for (Listener& listener : listeners_) listener.Accept();
    for (const Connection* const connection : connections_) {
      if (!connection->is_in_request && !HasUnread(connection->descriptor)) {
        Disconnect(connection->descriptor);
      }
    }
  }
  listeners_.clear();
  if (connections_.empty()) on_finished_();
}

void HttpServer::AddClient(int descriptor, const sockaddr_storage& address) {
  entering_ = parts_.admission->Enter(address);
  if (!entering_) {
    close(descriptor);
    return;
  }
  MHD_add_connection(daemon_, descriptor, reinterpret_cast<const sockaddr*>(&address),
                     sizeof address);
  // Now it takes notice, and is counted before the next one is let in.
  MHD_run(daemon_);
  // There was no memory, and the descriptor has been closed.
  if (entering_) parts_.admission->Leave(*std::exchange(entering_, std::nullopt));
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
  self->AddConnection(added);
}

void HttpServer::AddConnection(Connection* connection) {
  connection->bucket = std::exchange(entering_, std::nullopt);
  connections_.insert(connection);
  deadlines_.Set(connection, parts_.times.header_s);
}

void HttpServer::RemoveConnection(Connection* connection) {
  if (connection->must_linger || HasUnread(connection->descriptor)) {
    lingering_.Add(connection->descriptor);
  }
  if (connection->delay != 0) g_source_remove(connection->delay);
  if (connection->bucket) parts_.admission->Leave(*connection->bucket);
  deadlines_.Clear(connection);
  connections_.erase(connection);
  delete connection;
  if (on_finished_ && connections_.empty()) on_finished_();
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
  self->OnBody(connection, upload, std::exchange(*upload_bytes, 0));
  return MHD_YES;
}

void HttpServer::OnBody(Connection* connection, const char* bytes, std::size_t count) const {
  HttpRequest& request = connection->request;
  if (request.is_too_large || count > parts_.max_body_bytes - connection->body.size()) {
    request.is_too_large = true;
    connection->body = {};
    return;
  }
  connection->body.append(bytes, count);
}

void HttpServer::OnRequestEnded(void* http_server, MHD_Connection*, void** request,
                                MHD_RequestTerminationCode) {
  auto* const self = static_cast<HttpServer*>(http_server);
  auto* const connection = static_cast<Connection*>(*request);
  if (connection == nullptr) return;
  connection->request = {};
  connection->body = {};
  connection->stream = nullptr;
  connection->has_reply = false;
  connection->is_in_request = false;
  RemindOfEnd(connection->descriptor);
  // What comes next may take its time to begin, and then the usual time.
  self->deadlines_.Set(connection, self->parts_.times.idle_s + self->parts_.times.header_s);
}

MHD_Result HttpServer::OnHeaders(Connection* connection, const char* method, const char* path) {
  connection->request.method = method;
  connection->request.path = path;
  connection->request.arguments = ReadArguments(connection->handle);
  connection->request.headers = ReadValues(MHD_HEADER_KIND, connection->handle);
  connection->is_in_request = true;
  deadlines_.Set(connection, parts_.times.body_s);
  if (!StatesMoreThan(parts_.max_body_bytes, connection->handle)) return MHD_YES;
  connection->request.is_too_large = true;
  connection->must_linger = true;
  return Answer(connection);
}

MHD_Result HttpServer::Answer(Connection* connection) {
  connection->request.body = connection->body;
  connection->start_us = g_get_monotonic_time();
  parts_.handler->Handle(connection->request, [this, connection](Reply reply) {
    TakeReply(connection, std::move(reply));
  });
  if (!connection->has_reply) {
    Suspend(connection);
    return MHD_YES;
  }
  if (connection->reply.delay_ms == 0) return Send(connection);
  Suspend(connection);
  Delay(connection);
  return MHD_YES;
}

void HttpServer::TakeReply(Connection* connection, Reply reply) {
  connection->reply = std::move(reply);
  connection->has_reply = true;
  const gint64 duration_us = g_get_monotonic_time() - connection->start_us;
  Log(connection->request, connection->reply, duration_us);
  if (parts_.observe) {
    parts_.observe(connection->request, connection->reply, duration_us,
                   ClientOf(connection->handle));
  }
  if (!connection->is_suspended) return;
  if (connection->reply.delay_ms > 0) return Delay(connection);
  Resume(connection);
}

void HttpServer::Suspend(Connection* connection) {
  deadlines_.Clear(connection);
  connection->is_suspended = true;
  MHD_suspend_connection(connection->handle);
}

void HttpServer::Delay(Connection* connection) {
  const auto resume = [](void* delayed) -> gboolean {
    auto* const self = static_cast<Connection*>(delayed);
    self->delay = 0;
    Resume(self);
    return G_SOURCE_REMOVE;
  };
  connection->delay = g_timeout_add(connection->reply.delay_ms, resume, connection);
}

void HttpServer::Resume(Connection* connection) {
  MHD_Daemon* const daemon =
      MHD_get_connection_info(connection->handle, MHD_CONNECTION_INFO_DAEMON)->daemon;
  connection->is_suspended = false;
  MHD_resume_connection(connection->handle);
  // Nothing else wakes it up.
  MHD_run(daemon);
}

MHD_Result HttpServer::Send(Connection* connection) {
  if (connection->reply.stream) return SendStream(connection);
  deadlines_.Set(connection, parts_.times.body_s);
  if (connection->reply.delivery == Delivery::kNone) {
    Disconnect(connection->descriptor);
    return MHD_NO;
  }
  const unsigned status = connection->reply.status;
  if (is_finishing()) SetHeader("Connection", "close", &connection->reply);
  const HttpResponse response = NewHttpResponse(std::move(connection->reply));
  return ResultOf(response &&
                  MHD_queue_response(connection->handle, status, response.get()) == MHD_YES);
}

MHD_Result HttpServer::SendStream(Connection* connection) {
  // It has all the time in the world; but who does not take what there is, is idle.
  deadlines_.Clear(connection);
  connection->stream = std::move(connection->reply.stream);
  connection->server = this;
  connection->stream->set_on_more([this, connection] { ResumeStream(connection); });
  // Behind its end the server does.
  SetHeader("Connection", "close", &connection->reply);
  const HttpResponse response = NewStreamResponse(connection->reply, ReadStream, connection);
  return ResultOf(response &&
                  MHD_queue_response(connection->handle, MHD_HTTP_OK, response.get()) == MHD_YES);
}

ssize_t HttpServer::ReadStream(void* connection, std::uint64_t, char* buffer,
                               std::size_t buffer_bytes) {
  auto* const self = static_cast<Connection*>(connection);
  if (self->server->is_finishing()) return MHD_CONTENT_READER_END_OF_STREAM;
  // libmicrohttpd looks for that only while it has something to send.
  if (HasHungUp(self->descriptor)) return MHD_CONTENT_READER_END_WITH_ERROR;
  const std::size_t count = self->stream->Read(buffer, buffer_bytes);
  if (count == 0) self->server->Suspend(self);
  return static_cast<ssize_t>(count);
}

void HttpServer::ResumeStream(Connection* connection) {
  if (!connection->is_suspended) return;
  connection->is_suspended = false;
  MHD_resume_connection(connection->handle);
  // Whoever has more to say may be inside libmicrohttpd.
  g_source_set_ready_time(daemon_source_, 0);
}

void HttpServer::EndStreams() {
  for (Connection* const connection : connections_) {
    if (connection->stream) ResumeStream(connection);
  }
}

void HttpServer::Log(const HttpRequest& request, const Reply& reply, gint64 duration_us) const {
  parts_.record->CountReply(reply.status);
  parts_.record->CountDuration(static_cast<std::uint64_t>(duration_us));
  if (parts_.access_log && request.method == "POST") {
    parts_.access_log(AccessLogLine({reply.status == MHD_HTTP_NOT_FOUND ? "" : request.path,
                                     reply.status, reply.requests, reply.answered,
                                     request.body.size(), reply.body.size(), duration_us}));
  }
  if (parts_.log) parts_.log(VerboseLine(request, reply));
}

}  // namespace kesu_server
