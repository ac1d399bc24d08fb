#ifndef SERVER_HTTP_HTTP_SERVER_H_
#define SERVER_HTTP_HTTP_SERVER_H_

#include <string>

#include <libsoup/soup.h>

#include "server/http/request_handler.h"

namespace kesu_server {

/// Receives HTTP requests on the default main context and sends what the handler replies.
class HttpServer {
 public:
  /// `handler` is borrowed. With `is_verbose` each request gives a line on standard error.
  HttpServer(const RequestHandler* handler, bool is_verbose);
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;
  ~HttpServer();

  /// Port 0 stands for any free one. False, and why in `error`, when the address is none or cannot
  /// be had.
  bool Listen(const std::string& address, unsigned short port, std::string* error);
  /// "http://127.0.0.1:8642"
  std::string url() const;

 private:
  static void OnHeaders(SoupServer* server, SoupServerMessage* message, const char* path,
                        GHashTable* query, void* http_server);
  static void OnRequest(SoupServer* server, SoupServerMessage* message, const char* path,
                        GHashTable* query, void* http_server);

  const RequestHandler* handler_;
  bool is_verbose_;
  SoupServer* server_;
};

}  // namespace kesu_server

#endif  // SERVER_HTTP_HTTP_SERVER_H_
