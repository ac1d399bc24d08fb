#include "dovi/curl_descriptors.h"

#include <algorithm>

#include <fcntl.h>
#include <poll.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

static_assert(CurlDescriptors::kCount <= FD_SETSIZE, "a descriptor must have its bit in an fd_set");

namespace {

/// What waits is thrown away: as long as it is there curl takes the connection for a live one. Once
/// it is shut down nothing more comes in.
void EndConnection(int fd) {
  char unread[4096];
  shutdown(fd, SHUT_RDWR);
  while (recv(fd, unread, sizeof(unread), MSG_DONTWAIT) > 0) {
  }
}

bool IsLocalSocket(int fd) {
  int domain = 0;
  socklen_t size = sizeof(domain);
  const bool is_socket = getsockopt(fd, SOL_SOCKET, SO_DOMAIN, &domain, &size) == 0;
  return is_socket && domain == AF_UNIX;
}

/// 0 of one that is not open.
ino_t InodeOf(int fd) {
  struct stat status {};
  return fstat(fd, &status) == 0 ? status.st_ino : 0;
}

}  // namespace

curl_socket_t CurlDescriptors::Open(const curl_sockaddr& address) {
  const int fd = socket(address.family, address.socktype | SOCK_CLOEXEC, address.protocol);
  if (fd < 0) return CURL_SOCKET_BAD;
  if (fd >= kCount) {
    close(fd);
    return CURL_SOCKET_BAD;
  }
  SetState(fd, kOpen);
  connections_[fd].inode = InodeOf(fd);
  highest_ = std::max(highest_, fd);
  return fd;
}

void CurlDescriptors::Close(curl_socket_t fd) {
  SetState(fd, kForeign);
  close(fd);
}

void CurlDescriptors::SetState(int fd, State state) {
  open_count_ += (state == kOpen) - (connections_[fd].state == kOpen);
  connections_[fd].state = state;
}

void CurlDescriptors::OutdateConnections() {
  for (int fd = 0; fd <= highest_; ++fd) {
    if (connections_[fd].state == kOpen) SetState(fd, kOutdated);
  }
}

void CurlDescriptors::EndUnusable(const GPollFD* polled) {
  pollfd idle[kCount];
  nfds_t count = 0;
  for (int fd = 0; fd <= highest_; ++fd) {
    const State state = connections_[fd].state;
    const bool may_be_used = state == kOpen || state == kOutdated;
    if (may_be_used && polled[fd].events == 0) idle[count++] = {fd, POLLIN, 0};
  }
  if (count == 0 || poll(idle, count, 0) < 0) return;
  for (nfds_t i = 0; i < count; ++i) {
    const int fd = idle[i].fd;
    const Connection& connection = connections_[fd];
    if (connection.state == kOpen && idle[i].revents == 0) continue;
    const bool is_ours = InodeOf(fd) == connection.inode;
    if (is_ours) EndConnection(fd);
    SetState(fd, is_ours ? kEnded : kForeign);
  }
}

void CurlDescriptors::BeginToNoteWatched() {
  PruneLookups();
  is_lookup_expected_ = begun_lookups_ > 0;
  begun_lookups_ = 0;
}

void CurlDescriptors::NoteWatched(int fd) {
  if (!is_lookup_expected_ || lookup_count_ == kMaxLookups || !IsLocalSocket(fd)) return;
  const int duplicate = fcntl(fd, F_DUPFD_CLOEXEC, 0);
  if (duplicate >= 0) lookups_[lookup_count_++] = duplicate;
}

bool CurlDescriptors::MayLookUp() {
  PruneLookups();
  if (lookup_count_ + begun_lookups_ >= kMaxLookups) return false;
  ++begun_lookups_;
  return true;
}

void CurlDescriptors::PruneLookups() {
  if (lookup_count_ == 0) return;
  pollfd ends[kMaxLookups];
  for (int i = 0; i < lookup_count_; ++i) ends[i] = {lookups_[i], 0, 0};
  if (poll(ends, static_cast<nfds_t>(lookup_count_), 0) <= 0) return;
  const auto is_running = [](const pollfd& end) { return (end.revents & POLLHUP) == 0; };
  pollfd* const first_done = std::partition(ends, ends + lookup_count_, is_running);
  for (pollfd* done = first_done; done != ends + lookup_count_; ++done) close(done->fd);
  lookup_count_ = static_cast<int>(first_done - ends);
  for (int i = 0; i < lookup_count_; ++i) lookups_[i] = ends[i].fd;
}
