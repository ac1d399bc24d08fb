#include "server/http/http_server.h"

#include <utility>

#include "server/http/reply_sender.h"

namespace kesu_server {
namespace {

constexpr int kListenBacklog = 1024;

constexpr char kUploadKey[] = "kesu-server-upload";

/// The body of a request while it arrives; libsoup would keep any amount.
struct Upload {
  std::string body;
  bool is_too_large = false;
};

void OnChunk(SoupServerMessage*, GBytes* chunk, void* data) {
  auto* const upload = static_cast<Upload*>(data);
  gsize size = 0;
  const void* const bytes = g_bytes_get_data(chunk, &size);
  if (upload->is_too_large || size > kMaxBodyBytes - upload->body.size()) {
    upload->is_too_large = true;
    upload->body.clear();
    return;
  }
  upload->body.append(static_cast<const char*>(bytes), size);
}

void DeleteUpload(void* upload) {
  delete static_cast<Upload*>(upload);
}

HttpHeaders ReadHeaders(SoupMessageHeaders* headers) {
  HttpHeaders result;
  SoupMessageHeadersIter iterator;
  soup_message_headers_iter_init(&iterator, headers);
  const char* name = nullptr;
  const char* value = nullptr;
  while (soup_message_headers_iter_next(&iterator, &name, &value) != FALSE) {
    result.emplace_back(name, value);
  }
  return result;
}

/// One line about a request, whatever bytes it consisted of.
void PrintRequest(const HttpRequest& request, const Reply& reply) {
  const std::string line = request.method + " " + request.path;
  char* const printable = g_strescape(line.c_str(), nullptr);
  g_printerr("%s, %" G_GSIZE_FORMAT " bytes: status %u, %" G_GSIZE_FORMAT " bytes%s%s\n", printable,
             request.body.size(), reply.status, reply.body.size(),
             reply.fault.empty() ? "" : ", with the fault ", reply.fault.c_str());
  g_free(printable);
}

/// Null, with `*failure` set, when the address cannot be had. libsoup's own sockets keep only ten
/// clients waiting; one client with a large batch opens more connections at once than that.
GSocket* NewListeningSocket(GSocketAddress* address, GError** failure) {
  GSocket* const socket = g_socket_new(g_socket_address_get_family(address), G_SOCKET_TYPE_STREAM,
                                       G_SOCKET_PROTOCOL_TCP, failure);
  if (socket == nullptr) return nullptr;
  g_socket_set_listen_backlog(socket, kListenBacklog);
  if (g_socket_bind(socket, address, TRUE, failure) != FALSE &&
      g_socket_listen(socket, failure) != FALSE) {
    return socket;
  }
  g_object_unref(socket);
  return nullptr;
}

}  // namespace

HttpServer::HttpServer(const RequestHandler* handler, bool is_verbose)
    : handler_(handler),
      is_verbose_(is_verbose),
      // Paths come as they were sent, so that only the one path and no other spelling is served.
      server_(soup_server_new("raw-paths", TRUE, nullptr)) {
  soup_server_add_early_handler(server_, nullptr, OnHeaders, this, nullptr);
  soup_server_add_handler(server_, nullptr, OnRequest, this, nullptr);
}

HttpServer::~HttpServer() {
  soup_server_disconnect(server_);
  g_object_unref(server_);
}

bool HttpServer::Listen(const std::string& address, unsigned short port, std::string* error) {
  GSocketAddress* const socket_address =
      g_inet_socket_address_new_from_string(address.c_str(), port);
  if (socket_address == nullptr) {
    *error = "\"" + address + "\" is no IP address";
    return false;
  }
  GError* failure = nullptr;
  GSocket* const socket = NewListeningSocket(socket_address, &failure);
  g_object_unref(socket_address);
  if (socket != nullptr) {
    soup_server_listen_socket(server_, socket, SoupServerListenOptions{}, &failure);
    g_object_unref(socket);
  }
  if (failure == nullptr) return true;
  *error = failure->message;
  g_error_free(failure);
  return false;
}

std::string HttpServer::url() const {
  GSList* const uris = soup_server_get_uris(server_);
  if (uris == nullptr) return {};
  GUri* const uri = static_cast<GUri*>(uris->data);
  const std::string host = g_uri_get_host(uri);
  const bool is_ipv6 = host.find(':') != std::string::npos;
  // Written by hand, so that port 80 is in it too.
  std::string url =
      "http://" + (is_ipv6 ? "[" + host + "]" : host) + ":" + std::to_string(g_uri_get_port(uri));
  g_slist_free_full(uris, [](void* listed) { g_uri_unref(static_cast<GUri*>(listed)); });
  return url;
}

void HttpServer::OnHeaders(SoupServer*, SoupServerMessage* message, const char*, GHashTable*,
                           void*) {
  auto* const upload = new Upload;
  g_object_set_data_full(G_OBJECT(message), kUploadKey, upload, DeleteUpload);
  soup_message_body_set_accumulate(soup_server_message_get_request_body(message), FALSE);
  g_signal_connect(message, "got-chunk", G_CALLBACK(OnChunk), upload);
}

void HttpServer::OnRequest(SoupServer* server, SoupServerMessage* message, const char* path,
                           GHashTable*, void* http_server) {
  const auto* const self = static_cast<HttpServer*>(http_server);
  const auto* const upload =
      static_cast<const Upload*>(g_object_get_data(G_OBJECT(message), kUploadKey));
  HttpRequest request;
  request.method = soup_server_message_get_method(message);
  request.path = path;
  request.headers = ReadHeaders(soup_server_message_get_request_headers(message));
  if (upload != nullptr) {
    request.body = upload->body;
    request.is_too_large = upload->is_too_large;
  }
  const Reply reply = self->handler_->Handle(request);
  SendReply(reply, server, message);
  if (self->is_verbose_) PrintRequest(request, reply);
}

}  // namespace kesu_server
