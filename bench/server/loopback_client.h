#ifndef SERVER_BENCH_LOOPBACK_CLIENT_H_
#define SERVER_BENCH_LOOPBACK_CLIENT_H_

#include <string>
#include <string_view>

namespace kesu_server_bench {

/// A connection to a port of this machine that is kept open, and costs as little as can be.
class LoopbackClient {
 public:
  explicit LoopbackClient(int port);
  ~LoopbackClient();
  LoopbackClient(const LoopbackClient&) = delete;
  LoopbackClient& operator=(const LoopbackClient&) = delete;

  /// Sends a whole HTTP request and waits for the reply. Yields its status, 0 when none came. The
  /// body, if wanted, stays valid until the next exchange.
  int Exchange(std::string_view request, std::string_view* body = nullptr);
  /// Sends it and waits for nothing.
  void Send(std::string_view bytes);

 private:
  int socket_ = -1;
  std::string received_;
};

/// An HTTP request for the endpoint of the location protocol.
std::string HttpPost(const std::string& body);

}  // namespace kesu_server_bench

#endif  // SERVER_BENCH_LOOPBACK_CLIENT_H_
