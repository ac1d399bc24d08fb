#include "server/process/line_writer.h"

#include <cerrno>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kesu_server {

LineWriter::LineWriter(int descriptor) : descriptor_(descriptor) {
  struct stat status = {};
  is_socket_ = fstat(descriptor, &status) == 0 && S_ISSOCK(status.st_mode);
  if (is_socket_) return;
  // Opened anew it does not block, and still does for those who share the descriptor.
  const std::string path = "/proc/self/fd/" + std::to_string(descriptor);
  const int own = open(path.c_str(), O_WRONLY | O_APPEND | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (own < 0) return;
  descriptor_ = own;
  is_own_ = true;
}

LineWriter::~LineWriter() {
  if (is_own_) close(descriptor_);
}

void LineWriter::Write(std::string_view line) {
  std::string bytes;
  if (newly_dropped_ > 0) {
    bytes = "kesu-server: " + std::to_string(newly_dropped_) + " lines dropped here\n";
  }
  bytes.append(line.substr(0, kMaxBytes - bytes.size() - 1)).append("\n");
  if (TryToWrite(bytes)) {
    newly_dropped_ = 0;
  } else {
    ++newly_dropped_;
    ++all_dropped_;
  }
}

bool LineWriter::TryToWrite(std::string_view bytes) {
  if (!is_socket_) {
    // Where it could not be opened anew; a pipe that is ready has room for a line.
    pollfd ready = {descriptor_, POLLOUT, 0};
    if (!is_own_ && poll(&ready, 1, 0) == 0) return false;
    return write(descriptor_, bytes.data(), bytes.size()) >= 0 || errno != EAGAIN;
  }
  const auto send_some = [this](std::string_view some) {
    return send(descriptor_, some.data(), some.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
  };
  if (!rest_.empty()) {
    const ssize_t count = send_some(rest_);
    rest_.erase(0, count < 0 ? 0 : static_cast<std::size_t>(count));
    if (!rest_.empty()) return false;
  }
  const ssize_t count = send_some(bytes);
  if (count < 0) return errno != EAGAIN;
  rest_ = bytes.substr(static_cast<std::size_t>(count));
  return true;
}

}  // namespace kesu_server
