#include "tools/kesu/result_writer.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <limits>
#include <utility>

#include <glib-unix.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kesu_tool {
namespace {

constexpr int kPatienceAtEndMs = 1000;

std::size_t BytesAtOnce(int descriptor) {
  struct stat status = {};
  const bool is_file = fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
  return is_file ? std::numeric_limits<std::size_t>::max() : PIPE_BUF;
}

}  // namespace

ResultWriter::ResultWriter(int descriptor, std::function<void()> on_progress)
    : descriptor_(descriptor),
      on_progress_(std::move(on_progress)),
      bytes_at_once_(BytesAtOnce(descriptor)) {}

ResultWriter::~ResultWriter() {
  if (source_ != 0) g_source_remove(source_);
}

void ResultWriter::Write(std::string_view text) {
  if (has_failed_) return;
  waiting_ += text;
  if (source_ == 0) WriteWhatIsTaken(0);
  if (waiting_.empty() || source_ != 0) return;
  constexpr auto kWritable = static_cast<GIOCondition>(G_IO_OUT | G_IO_HUP | G_IO_ERR);
  source_ = g_unix_fd_add(descriptor_, kWritable, OnWritable, this);
}

void ResultWriter::WriteRest() {
  WriteWhatIsTaken(kPatienceAtEndMs);
  if (!waiting_.empty()) has_failed_ = true;
}

gboolean ResultWriter::OnWritable(int, GIOCondition, void* writer) {
  auto* self = static_cast<ResultWriter*>(writer);
  self->WriteWhatIsTaken(0);
  const bool goes_on = !self->waiting_.empty();
  if (!goes_on) self->source_ = 0;
  self->on_progress_();
  return goes_on ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
}

void ResultWriter::WriteWhatIsTaken(int patience_ms) {
  while (written_ < waiting_.size() && WriteSome(patience_ms)) continue;
  const bool is_half_written = written_ > waiting_.size() / 2;
  if (is_half_written) waiting_.erase(0, std::exchange(written_, 0));
}

bool ResultWriter::WriteSome(int patience_ms) {
  pollfd file = {descriptor_, POLLOUT, 0};
  if (poll(&file, 1, patience_ms) <= 0) return false;
  const std::size_t length = std::min(waiting_.size() - written_, bytes_at_once_);
  const ssize_t count = write(descriptor_, waiting_.data() + written_, length);
  if (count >= 0) {
    written_ += static_cast<std::size_t>(count);
    return true;
  }
  if (errno == EINTR || errno == EAGAIN) return false;
  has_failed_ = true;
  waiting_.clear();
  written_ = 0;
  return false;
}

}  // namespace kesu_tool
