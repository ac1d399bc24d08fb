#include "bench/peers/server.h"

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <unordered_map>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <spawn.h>
#include <sys/epoll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "bench/peers/answers.h"
#include "bench/peers/mux_format.h"
#include "bench/peers/self.h"

namespace {

constexpr std::size_t kReadBytes = 1 << 16;
constexpr int kMaxEvents = 64;
/// Id, status, the length of the encodings and the value after them.
constexpr std::size_t kFixedBodyBytes = 2 + 2 + 2 + 4;
constexpr std::string_view kHeadEnd = "\r\n\r\n";
constexpr std::string_view kLengthHeader = "Content-Length: ";

/// The reply to a POST of the multiplexer: an answer to each of its requests.
std::string AnswerMany(std::string_view body) {
  plain::MuxReader in(body);
  std::string answer;
  std::string out;
  plain::PutNumber(in.Take<std::uint16_t>(), &out);
  while (in.ok() && !in.at_end()) {
    const auto length = in.Take<std::uint32_t>();
    const auto type = in.Take<std::uint16_t>();
    plain::MuxReader block(in.TakeBytes(length));
    if (type != plain::kRequestBlock) continue;
    const auto id = block.Take<std::uint16_t>();
    block.TakeText();
    block.Take<std::uint16_t>();
    const std::string_view payload = block.TakeBytes(block.Take<std::uint32_t>());
    answer.clear();
    AppendAnswer(payload, &answer);
    plain::PutNumber(static_cast<std::uint32_t>(kFixedBodyBytes + answer.size()), &out);
    plain::PutNumber(plain::kResponseBlock, &out);
    plain::PutNumber(id, &out);
    plain::PutNumber(plain::kStatusOk, &out);
    plain::PutText({}, &out);
    plain::PutNumber(std::uint32_t{0}, &out);
    out += answer;
  }
  return out;
}

std::string AnswerOne(std::string_view body) {
  std::string out;
  AppendAnswer(body, &out);
  return out;
}

/// One connection: requests of known length, one after the other.
class Connection {
 public:
  explicit Connection(int fd) : fd_(fd) {}
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection() { close(fd_); }

  /// False when it is to be closed.
  bool OnReadable() {
    char bytes[kReadBytes];
    const ssize_t count = read(fd_, bytes, sizeof bytes);
    if (count <= 0) return false;
    received_.append(bytes, static_cast<std::size_t>(count));
    while (TakeRequest()) continue;
    return true;
  }

 private:
  bool TakeRequest() {
    const std::size_t head_size = received_.find(kHeadEnd);
    if (head_size == std::string::npos) return false;
    const std::string_view head = std::string_view(received_).substr(0, head_size);
    const std::size_t length_at = head.find(kLengthHeader);
    const std::size_t length =
        length_at == std::string_view::npos
            ? 0
            : std::strtoul(&received_[length_at + kLengthHeader.size()], nullptr, 10);
    const std::size_t body_at = head_size + kHeadEnd.size();
    if (received_.size() - body_at < length) return false;
    const std::string_view body = std::string_view(received_).substr(body_at, length);
    const bool is_single = head.find(kSinglePath) != std::string_view::npos;
    Send(is_single ? AnswerOne(body) : AnswerMany(body));
    received_.erase(0, body_at + length);
    return true;
  }

  void Send(const std::string& body) const {
    std::string response = "HTTP/1.1 200 OK\r\nContent-Type: ";
    response += plain::kMuxContentType;
    response += "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
    for (std::string_view rest = response; !rest.empty();) {
      const ssize_t count = send(fd_, rest.data(), rest.size(), MSG_NOSIGNAL);
      if (count <= 0) return;
      rest.remove_prefix(static_cast<std::size_t>(count));
    }
  }

  int fd_;
  std::string received_;
};

int Listen() {
  const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      listen(listener, SOMAXCONN) != 0) {
    Die("listen");
  }
  return listener;
}

int PortOf(int listener) {
  sockaddr_in address = {};
  socklen_t size = sizeof address;
  getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size);
  return ntohs(address.sin_port);
}

void Watch(int epoll, int fd) {
  epoll_event event = {};
  event.events = EPOLLIN;
  event.data.fd = fd;
  epoll_ctl(epoll, EPOLL_CTL_ADD, fd, &event);
}

}  // namespace

void Serve() {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  const int listener = Listen();
  std::printf("%d\n", PortOf(listener));
  std::fflush(stdout);
  const int epoll = epoll_create1(EPOLL_CLOEXEC);
  Watch(epoll, listener);
  std::unordered_map<int, std::unique_ptr<Connection>> connections;
  while (true) {
    epoll_event events[kMaxEvents];
    const int count = epoll_wait(epoll, events, kMaxEvents, -1);
    for (int i = 0; i < count; ++i) {
      const int fd = events[i].data.fd;
      if (fd != listener) {
        if (!connections[fd]->OnReadable()) connections.erase(fd);
        continue;
      }
      const int accepted = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
      if (accepted < 0) continue;
      const int on = 1;
      setsockopt(accepted, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
      connections[accepted] = std::make_unique<Connection>(accepted);
      Watch(epoll, accepted);
    }
  }
}

ServerProcess::ServerProcess() {
  int pipe_ends[2];
  if (pipe2(pipe_ends, O_CLOEXEC) != 0) Die("pipe");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, pipe_ends[1], STDOUT_FILENO);
  std::string path = SelfPath();
  std::string option = kServeOption;
  char* arguments[] = {path.data(), option.data(), nullptr};
  if (posix_spawn(&pid_, path.c_str(), &actions, nullptr, arguments, environ) != 0) {
    Die("posix_spawn");
  }
  posix_spawn_file_actions_destroy(&actions);
  close(pipe_ends[1]);
  char port[16] = {};
  if (read(pipe_ends[0], port, sizeof port - 1) <= 0) Die("the server");
  close(pipe_ends[0]);
  host_ = "http://127.0.0.1:" + std::to_string(std::strtoul(port, nullptr, 10));
}

ServerProcess::~ServerProcess() {
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
}
