#ifndef KESU_COMMON_NET_PROTO_BYTE_CURSOR_H_
#define KESU_COMMON_NET_PROTO_BYTE_CURSOR_H_

#include <cstddef>

namespace common_net_proto {

/// Bytes that are being read, in two pointers that the compiler can keep in registers. It reads as
/// ProtoUtil reads from a DataInputStream: past the end there are zeros, and the error stays.
class ByteCursor {
 public:
  ByteCursor(const unsigned char* bytes, int count) : next_(bytes), end_(bytes + count) {}

  const unsigned char* next() const { return next_; }
  int remaining() const { return static_cast<int>(end_ - next_); }
  bool hit_error() const { return hit_error_; }

  /// `count` is at most remaining().
  void Skip(int count) { next_ += count; }
  void Fail() {
    next_ = end_;
    hit_error_ = true;
  }

  unsigned char ReadByte() {
    if (next_ != end_) return *next_++;
    hit_error_ = true;
    return 0;
  }

  /// 0 where the bytes end inside the varint, or it goes on after its tenth byte.
  unsigned long long ReadVarint() {
    if (next_ != end_ && *next_ < 0x80) return *next_++;
    return ReadLongVarint();
  }

  template <typename Number>
  Number ReadLittleEndian() {
    Number value = 0;
    for (std::size_t i = 0; i < sizeof(Number); ++i) {
      value |= static_cast<Number>(ReadByte()) << (8 * i);
    }
    return value;
  }

  /// The bytes behind a length; none, and an error, where there are not so many.
  ByteCursor ReadLengthDelimited() {
    const unsigned long long length = ReadVarint();
    if (length > static_cast<unsigned>(remaining())) Fail();
    const ByteCursor span(next_, hit_error_ ? 0 : static_cast<int>(length));
    next_ = span.end_;
    return span;
  }

 private:
  unsigned long long ReadLongVarint() {
    unsigned long long value = 0;
    if (remaining() >= kLongestVarint) {
      const unsigned char* at = next_;
      int shift = 0;
      for (; *at >= 0x80 && shift < 63; shift += 7) value |= (*at++ & 0x7FULL) << shift;
      next_ = at + 1;
      return *at < 0x80 ? value | static_cast<unsigned long long>(*at) << shift : 0;
    }
    for (int shift = 0; shift < 64; shift += 7) {
      const unsigned char byte = ReadByte();
      value |= static_cast<unsigned long long>(byte & 0x7F) << shift;
      if (byte < 0x80) return hit_error_ ? 0 : value;
    }
    return 0;
  }

  static constexpr int kLongestVarint = 10;

  const unsigned char* next_;
  const unsigned char* end_;
  bool hit_error_ = false;
};

}  // namespace common_net_proto

#endif  // KESU_COMMON_NET_PROTO_BYTE_CURSOR_H_
