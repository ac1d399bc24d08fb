#ifndef KESU_TOOL_TCP_STREAM_H_
#define KESU_TOOL_TCP_STREAM_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "tools/kesu/packet.h"

namespace kesu_tool {

/// What comes out of one direction of a connection.
class TcpSink {
 public:
  TcpSink() = default;
  TcpSink(const TcpSink&) = delete;
  TcpSink& operator=(const TcpSink&) = delete;
  virtual ~TcpSink() = default;

  virtual void OnBytes(std::string_view bytes) = 0;
  /// So many bytes were not captured.
  virtual void OnGap(std::uint64_t length) = 0;
  /// Nothing more comes.
  virtual void OnEnd() = 0;
};

/// Puts the segments of one direction of a connection in order. Of bytes that come twice the first
/// count. What comes early waits, up to a limit; then what is missing is taken for lost.
class TcpStream {
 public:
  static constexpr std::size_t kMostWaiting = std::size_t{1} << 20;

  /// `sink` is borrowed.
  explicit TcpStream(TcpSink* sink) : sink_(sink) {}

  /// Whether the segment starts another connection between the same ends.
  bool IsAnother(const TcpSegment& segment) const;
  void Add(const TcpSegment& segment);
  /// There are no more segments: hands over what waits.
  void End();

  bool has_ended() const { return has_ended_; }
  /// Bytes that wait, with what keeping them takes.
  std::size_t waiting() const { return waiting_bytes_; }

 private:
  /// Where its payload starts, counted from the start of the stream. Less than nothing for what
  /// came before the capture.
  std::int64_t OffsetOf(const TcpSegment& segment);
  void Keep(std::uint64_t offset, std::string_view bytes);
  void Deliver(std::uint64_t offset, std::string_view bytes);
  void DeliverWaiting();
  void SkipGap();

  TcpSink* sink_;
  /// The number of the first byte of the stream, and how many of its bytes were delivered.
  std::optional<std::uint32_t> first_number_;
  std::uint64_t delivered_ = 0;
  /// By their offset.
  std::map<std::uint64_t, std::string> waiting_;
  std::size_t waiting_bytes_ = 0;
  /// The length of the stream, once that is known.
  std::optional<std::uint64_t> length_;
  bool has_ended_ = false;
};

}  // namespace kesu_tool

#endif  // KESU_TOOL_TCP_STREAM_H_
