#include "loopback_client.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include "report.h"
#include "server/http/request_handler.h"

namespace kesu_server_bench {
namespace {

constexpr std::string_view kLength = "Content-Length: ";
constexpr std::string_view kEndOfHeaders = "\r\n\r\n";

/// Behind which byte the reply ends; none while its headers are not complete.
std::size_t LengthOf(const std::string& reply, std::size_t* body) {
  const std::size_t end = reply.find(kEndOfHeaders);
  if (end == std::string::npos) return std::string::npos;
  *body = end + kEndOfHeaders.size();
  const std::size_t length = reply.find(kLength);
  if (length == std::string::npos || length > end) return *body;
  return *body + std::strtoul(reply.c_str() + length + kLength.size(), nullptr, 10);
}

}  // namespace

LoopbackClient::LoopbackClient(int port) : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    Fail(std::string("cannot connect: ") + std::strerror(errno));
  }
  const int on = 1;
  setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

LoopbackClient::~LoopbackClient() {
  close(socket_);
}

void LoopbackClient::Send(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent <= 0) return;
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
}

int LoopbackClient::Exchange(std::string_view request, std::string_view* body) {
  Send(request);
  received_.clear();
  std::size_t begin = 0;
  for (;;) {
    const std::size_t end = LengthOf(received_, &begin);
    if (end != std::string::npos && received_.size() >= end) {
      if (body != nullptr) *body = std::string_view(received_).substr(begin, end - begin);
      return static_cast<int>(
          std::strtol(received_.c_str() + std::strlen("HTTP/1.1 "), nullptr, 10));
    }
    char piece[1 << 16];
    const ssize_t count = recv(socket_, piece, sizeof piece, 0);
    if (count <= 0) return 0;
    received_.append(piece, static_cast<std::size_t>(count));
  }
}

std::string HttpPost(const std::string& body) {
  return "POST " + std::string(kesu_server::kServicePath) +
         " HTTP/1.1\r\nHost: localhost\r\nContent-Type: application/binary\r\nContent-Length: " +
         std::to_string(body.size()) + "\r\n\r\n" + body;
}

}  // namespace kesu_server_bench
