#include "tools/kesu/tcp_stream.h"

#include <algorithm>
#include <utility>

namespace kesu_tool {
namespace {

/// Of a run that waits, beside its bytes.
constexpr std::size_t kBytesPerRun = 100;

}  // namespace

bool TcpStream::IsAnother(const TcpSegment& segment) const {
  return segment.is_syn && first_number_ && segment.sequence_number + 1 != *first_number_;
}

std::int64_t TcpStream::OffsetOf(const TcpSegment& segment) {
  // The start itself has a number, in front of that of the first byte.
  const std::uint32_t number = segment.sequence_number + (segment.is_syn ? 1 : 0);
  if (!first_number_) first_number_ = number;
  // The numbers wrap: the nearest place counts.
  const std::uint32_t next = *first_number_ + static_cast<std::uint32_t>(delivered_);
  return static_cast<std::int64_t>(delivered_) + static_cast<std::int32_t>(number - next);
}

void TcpStream::Add(const TcpSegment& segment) {
  if (has_ended_) return;
  const std::int64_t offset = OffsetOf(segment);
  std::string_view bytes = segment.payload;
  const std::int64_t end = offset + static_cast<std::int64_t>(bytes.size());
  if (segment.is_fin && end >= static_cast<std::int64_t>(delivered_)) length_ = end;
  const auto known = static_cast<std::int64_t>(delivered_) - offset;
  if (known > 0) bytes.remove_prefix(std::min(static_cast<std::size_t>(known), bytes.size()));
  if (!bytes.empty()) {
    const auto start = static_cast<std::uint64_t>(end) - bytes.size();
    start == delivered_ ? Deliver(start, bytes) : Keep(start, bytes);
  }
  DeliverWaiting();
  while (waiting_bytes_ > kMostWaiting) {
    SkipGap();
    DeliverWaiting();
  }
  if (segment.is_reset) return End();
  if (length_ && delivered_ >= *length_) End();
}

/// Of runs that start at the same place, the one that was first stays, for as long as it goes.
void TcpStream::Keep(std::uint64_t offset, std::string_view bytes) {
  std::string& run = waiting_[offset];
  if (run.empty()) waiting_bytes_ += kBytesPerRun;
  if (run.size() >= bytes.size()) return;
  waiting_bytes_ += bytes.size() - run.size();
  run += bytes.substr(run.size());
}

void TcpStream::Deliver(std::uint64_t offset, std::string_view bytes) {
  const std::uint64_t end = offset + bytes.size();
  if (end <= delivered_) return;
  sink_->OnBytes(bytes.substr(static_cast<std::size_t>(delivered_ - offset)));
  delivered_ = end;
}

void TcpStream::DeliverWaiting() {
  while (!waiting_.empty() && waiting_.begin()->first <= delivered_) {
    const auto run = waiting_.extract(waiting_.begin());
    waiting_bytes_ -= run.mapped().size() + kBytesPerRun;
    Deliver(run.key(), run.mapped());
  }
}

void TcpStream::SkipGap() {
  const std::uint64_t next = waiting_.begin()->first;
  sink_->OnGap(next - delivered_);
  delivered_ = next;
}

void TcpStream::End() {
  if (std::exchange(has_ended_, true)) return;
  while (!waiting_.empty()) {
    SkipGap();
    DeliverWaiting();
  }
  if (length_ && *length_ > delivered_) sink_->OnGap(*length_ - delivered_);
  sink_->OnEnd();
}

}  // namespace kesu_tool
