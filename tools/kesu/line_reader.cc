#include "tools/kesu/line_reader.h"

#include <cerrno>
#include <string_view>
#include <utility>

#include <glib-unix.h>
#include <unistd.h>

namespace kesu_tool {
namespace {

constexpr std::size_t kBytesPerRead = std::size_t{1} << 16;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr GIOCondition kReadable = static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR);

}  // namespace

LineReader::LineReader(int descriptor, std::function<void()> on_input)
    : descriptor_(descriptor), on_input_(std::move(on_input)) {}

std::optional<LineReader::Line> LineReader::Take() {
  const std::size_t end = buffer_.find('\n', searched_);
  if (end != std::string::npos) return TakeUpTo(end);
  if (is_at_end_) return TakeLast();
  buffer_.erase(0, std::exchange(taken_, 0));
  if (buffer_.size() > kLongestLine) {
    is_dropping_ = true;
    buffer_.clear();
  }
  searched_ = buffer_.size();
  if (source_ == 0) source_ = g_unix_fd_add(descriptor_, kReadable, OnReadable, this);
  return std::nullopt;
}

std::optional<LineReader::Line> LineReader::TakeLast() {
  std::optional<Line> line;
  if (buffer_.size() > taken_ || is_dropping_) line = TakeUpTo(buffer_.size());
  buffer_.clear();
  taken_ = searched_ = 0;
  return line;
}

LineReader::Line LineReader::TakeUpTo(std::size_t end) {
  Line line{++lines_, buffer_.substr(taken_, end - taken_), std::exchange(is_dropping_, false)};
  taken_ = searched_ = end + 1;
  if (line.text.ends_with('\r')) line.text.pop_back();
  // Some programs begin a file with it.
  if (line.number == 1 && line.text.starts_with(kByteOrderMark)) {
    line.text.erase(0, kByteOrderMark.size());
  }
  if (line.text.size() > kLongestLine) line.is_too_long = true;
  if (line.is_too_long) line.text.clear();
  return line;
}

gboolean LineReader::OnReadable(int, GIOCondition, void* reader) {
  auto* self = static_cast<LineReader*>(reader);
  self->source_ = 0;
  self->Read();
  self->on_input_();
  return G_SOURCE_REMOVE;
}

void LineReader::Read() {
  const std::size_t length = buffer_.size();
  buffer_.resize(length + kBytesPerRead);
  const ssize_t count = read(descriptor_, buffer_.data() + length, kBytesPerRead);
  buffer_.resize(length + static_cast<std::size_t>(count > 0 ? count : 0));
  if (count > 0) return;
  // Somebody else may have taken what there was.
  if (count < 0 && (errno == EINTR || errno == EAGAIN)) return;
  is_at_end_ = true;
  if (count < 0) failure_ = errno;
}

void LineReader::Stop() {
  if (source_ != 0) g_source_remove(std::exchange(source_, 0));
  is_at_end_ = true;
  is_dropping_ = false;
  buffer_.clear();
  taken_ = searched_ = 0;
}

}  // namespace kesu_tool
