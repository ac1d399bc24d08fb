#include "server/import/line_reader.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace kesu_server {
namespace {

constexpr std::size_t kReadBytes = std::size_t{1} << 16;

}  // namespace

bool LineReader::Fill() {
  buffer_.erase(0, begin_);
  begin_ = 0;
  const std::size_t kept = buffer_.size();
  buffer_.resize(kept + kReadBytes);
  const std::ptrdiff_t got = source_->Read(buffer_.data() + kept, kReadBytes);
  buffer_.resize(kept + static_cast<std::size_t>(std::max<std::ptrdiff_t>(got, 0)));
  if (got > 0) return true;
  is_at_end_ = true;
  failed_ = got < 0;
  return false;
}

bool LineReader::Next() {
  line_ = {};
  is_too_long_ = false;
  std::size_t searched = 0;
  while (true) {
    const std::size_t end = buffer_.find('\n', begin_ + searched);
    if (end == std::string::npos) {
      searched = buffer_.size() - begin_;
      if (searched > max_bytes_ || is_too_long_) {
        is_too_long_ = true;
        begin_ = buffer_.size();
        searched = 0;
      }
      if (!is_at_end_ && Fill()) continue;
      // What a stream that failed ends with is no line.
      if (failed_ || (searched == 0 && !is_too_long_)) return false;
      line_ = std::string_view(buffer_).substr(begin_);
      begin_ = buffer_.size();
    } else {
      line_ = std::string_view(buffer_).substr(begin_, end - begin_);
      begin_ = end + 1;
    }
    ++number_;
    if (is_too_long_ || line_.size() > max_bytes_) {
      is_too_long_ = true;
      line_ = {};
    }
    if (line_.ends_with('\r')) line_.remove_suffix(1);
    return true;
  }
}

}  // namespace kesu_server
