#include "tools/kesu/http_stream.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include <glib.h>

#include "tools/kesu/inflation.h"

namespace kesu_tool {
namespace {

constexpr std::string_view kVersion = "HTTP/1.";
constexpr std::string_view kMethods[] = {"POST ",   "GET ",     "HEAD ",  "PUT ",
                                         "DELETE ", "OPTIONS ", "PATCH ", "CONNECT "};
constexpr std::size_t kLongestStart = 8;
/// Of a start line, and of a line in a chunked body.
constexpr std::size_t kLongestLine = 8192;

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

std::string_view Trimmed(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

std::string LowerCase(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(), g_ascii_tolower);
  return lower;
}

/// "HTTP/1.1 200"
int StatusOf(std::string_view start_line) {
  constexpr std::size_t kPlace = 9;
  int status = 0;
  if (start_line.size() < kPlace + 3) return 0;
  const char* digits = start_line.data() + kPlace;
  const auto [end, error] = std::from_chars(digits, digits + 3, status);
  return error == std::errc() && end == digits + 3 ? status : 0;
}

bool IsStartLine(std::string_view line) {
  if (line.starts_with(kVersion)) return StatusOf(line) >= 100;
  const std::size_t last_space = line.rfind(' ');
  return last_space != std::string_view::npos && LooksLikeHttp(line) &&
         line.substr(last_space + 1).starts_with(kVersion);
}

/// Where the next message may start; the size of `text` where nowhere.
std::size_t FindPossibleStart(std::string_view text) {
  // Both kinds of start lines begin with a capital letter, which is quickly seen.
  std::size_t place = 0;
  for (const char c : text) {
    if (c >= 'A' && c <= 'Z' && LooksLikeHttp(text.substr(place))) return place;
    ++place;
  }
  return place;
}

}  // namespace

bool LooksLikeHttp(std::string_view beginning) {
  const auto is_here = [&](std::string_view method) { return beginning.starts_with(method); };
  return is_here(kVersion) || std::any_of(std::begin(kMethods), std::end(kMethods), is_here);
}

std::string HttpMessage::Header(std::string_view name) const {
  for (const Line& header : headers) {
    const std::string lower = LowerCase(header.text);
    const std::size_t colon = lower.find(':');
    if (colon == std::string::npos || Trimmed(lower).substr(0, colon) != name) continue;
    return std::string(Trimmed(std::string_view(lower).substr(colon + 1)));
  }
  return {};
}

void HttpStream::OnBytes(std::string_view bytes) {
  buffer_ += bytes;
  while (Step()) continue;
  searched_ -= consumed_;
  buffer_.erase(0, std::exchange(consumed_, 0));
}

void HttpStream::OnGap(std::uint64_t length) {
  const bool is_between = state_ == State::kStart && buffer_.empty();
  if (state_ != State::kStart && state_ != State::kLost) {
    EndMessage(std::to_string(length) + " bytes of it were not captured");
  }
  PassOver(buffer_.size());
  Consume(buffer_.size());
  buffer_.clear();
  consumed_ = searched_ = 0;
  offset_ += length;
  passed_over_ += length;
  state_ = is_between ? State::kStart : State::kLost;
}

void HttpStream::OnEnd() {
  if (state_ == State::kBodyUpToEnd) {
    EndMessage({});
  } else if (state_ != State::kStart && state_ != State::kLost) {
    EndMessage("it ends before its body does");
  }
  PassOver(buffer_.size());
  Consume(buffer_.size());
  buffer_.clear();
  consumed_ = searched_ = 0;
  ReportPassedOver();
}

bool HttpStream::Step() {
  switch (state_) {
    case State::kStart:
      return ReadHead();
    case State::kLost:
      return FindStart();
    case State::kBody:
    case State::kBodyUpToEnd:
      return ReadBody(State::kStart);
    case State::kChunk:
      return ReadBody(State::kChunkEnd);
    case State::kChunkSize:
      return ReadChunkSize();
    case State::kChunkEnd:
    case State::kTrailer:
      return ReadTrailerLine();
  }
  return false;
}

void HttpStream::Consume(std::size_t length) {
  consumed_ += length;
  offset_ += length;
  searched_ = consumed_;
}

void HttpStream::PassOver(std::uint64_t length) {
  passed_over_ += length;
}

void HttpStream::ReportPassedOver() {
  const std::uint64_t length = std::exchange(passed_over_, 0);
  if (length > 0) receiver_->OnPassedOver(offset_ - length, length);
}

bool HttpStream::FindStart() {
  const std::string_view rest = std::string_view(buffer_).substr(consumed_);
  const std::size_t start = FindPossibleStart(rest);
  if (start < rest.size()) {
    PassOver(start);
    Consume(start);
    state_ = State::kStart;
    return true;
  }
  // The end may be the beginning of one.
  const std::size_t known = rest.size() - std::min(rest.size(), kLongestStart - 1);
  PassOver(known);
  Consume(known);
  return false;
}

bool HttpStream::GetLost(std::size_t length) {
  state_ = State::kLost;
  PassOver(length);
  Consume(length);
  return true;
}

bool HttpStream::ReadHead() {
  // Some senders put empty lines between messages.
  while (consumed_ < buffer_.size() && (buffer_[consumed_] == '\r' || buffer_[consumed_] == '\n')) {
    Consume(1);
  }
  const std::string_view rest = std::string_view(buffer_).substr(consumed_);
  if (rest.empty()) return false;
  const std::string_view line = rest.substr(0, rest.substr(0, kLongestLine).find('\n'));
  const bool may_start = rest.size() < kLongestStart || LooksLikeHttp(rest);
  const bool is_line_whole = line.size() < rest.size();
  if (!may_start || line.size() > kLongestLine || (is_line_whole && !IsStartLine(Trimmed(line)))) {
    return GetLost(1);
  }
  std::size_t end = buffer_.find("\n\r\n", searched_);
  std::size_t end_length = 3;
  const std::size_t other_end = buffer_.find("\n\n", searched_);
  if (other_end < end) end = other_end, end_length = 2;
  const std::size_t head = std::min(end, buffer_.size()) - consumed_;
  if (head > kLargestHead) return GetLost(rest.size());
  if (end == std::string::npos) {
    // The end may be split.
    searched_ = std::max(consumed_, buffer_.size() - std::min<std::size_t>(buffer_.size(), 2));
    return false;
  }
  ReportPassedOver();
  message_ = {};
  is_too_large_ = false;
  for (std::string_view left = rest.substr(0, head + 1); !left.empty();) {
    const std::size_t length = std::min(left.find('\n'), left.size() - 1) + 1;
    HttpMessage::Line text{offset_, std::string(Trimmed(left.substr(0, length)))};
    if (message_.start.text.empty()) {
      message_.start = std::move(text);
    } else {
      message_.headers.push_back(std::move(text));
    }
    left.remove_prefix(length);
    Consume(length);
  }
  Consume(end_length - 1);
  BeginBody();
  return true;
}

void HttpStream::BeginBody() {
  const std::string& start = message_.start.text;
  message_.is_response = start.starts_with(kVersion);
  const int status = message_.is_response ? StatusOf(start) : 0;
  const bool has_one = !message_.is_response || (status >= 200 && status != 204 && status != 304);
  const std::string length = message_.Header("content-length");
  missing_ = 0;
  if (has_one && message_.Header("transfer-encoding").find("chunked") != std::string::npos) {
    state_ = State::kChunkSize;
  } else if (has_one && !length.empty()) {
    const auto [end, error] =
        std::from_chars(length.data(), length.data() + length.size(), missing_);
    const bool is_number = error == std::errc() && end == length.data() + length.size();
    state_ = State::kBody;
    if (!is_number || missing_ == 0) EndMessage(is_number ? "" : "its length is no number");
  } else if (has_one && message_.is_response) {
    state_ = State::kBodyUpToEnd;
  } else {
    EndMessage({});
  }
}

bool HttpStream::ReadBody(State then) {
  const std::size_t there = buffer_.size() - consumed_;
  const bool is_bounded = state_ != State::kBodyUpToEnd;
  const std::size_t length =
      is_bounded ? static_cast<std::size_t>(std::min<std::uint64_t>(there, missing_)) : there;
  const std::size_t room = kLargestBody - message_.body.size();
  if (length > room) is_too_large_ = true;
  message_.body.append(buffer_, consumed_, std::min(length, room));
  Consume(length);
  missing_ -= is_bounded ? length : 0;
  if (!is_bounded || missing_ > 0) return false;
  state_ = then;
  if (then == State::kStart) EndMessage({});
  return true;
}

bool HttpStream::TakeLine(std::string* line) {
  const std::size_t end = buffer_.find('\n', consumed_);
  const std::size_t length = std::min(end, buffer_.size()) - consumed_;
  if (length > kLongestLine) {
    EndMessage("a line of its chunks is too long");
    state_ = State::kLost;
    return true;
  }
  if (end == std::string::npos) return false;
  line->assign(Trimmed(std::string_view(buffer_).substr(consumed_, length)));
  Consume(length + 1);
  return true;
}

bool HttpStream::ReadChunkSize() {
  std::string line;
  if (!TakeLine(&line)) return false;
  if (state_ == State::kLost) return true;
  const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), missing_, 16);
  const bool is_number =
      error == std::errc() && (end == line.data() + line.size() || *end == ';' || IsBlank(*end));
  if (!is_number) {
    EndMessage("the size of a chunk is no number");
    state_ = State::kLost;
  } else {
    state_ = missing_ == 0 ? State::kTrailer : State::kChunk;
  }
  return true;
}

bool HttpStream::ReadTrailerLine() {
  std::string line;
  if (!TakeLine(&line)) return false;
  if (state_ == State::kLost) return true;
  if (state_ == State::kTrailer) {
    if (line.empty()) EndMessage({});
  } else if (line.empty()) {
    state_ = State::kChunkSize;
  } else {
    EndMessage("a chunk is longer than its size says");
    state_ = State::kLost;
  }
  return true;
}

void HttpStream::EndMessage(std::string fault) {
  state_ = State::kStart;
  message_.fault = std::move(fault);
  const std::string encoding = message_.Header("content-encoding");
  if (is_too_large_ && message_.fault.empty()) {
    message_.fault = "its body has more than " + std::to_string(kLargestBody) + " bytes";
  }
  const bool is_deflated = encoding == "gzip" || encoding == "x-gzip" || encoding == "deflate";
  if (is_deflated && !message_.body.empty()) {
    const bool is_whole = Inflate(kLargestBody, &message_.body);
    if (!is_whole && message_.fault.empty()) message_.fault = "its body cannot be inflated";
  }
  receiver_->OnMessage(message_);
  message_ = {};
}

}  // namespace kesu_tool
