#ifndef KESU_BENCH_PEERS_PLAIN_CURSOR_H_
#define KESU_BENCH_PEERS_PLAIN_CURSOR_H_

#include <cstddef>
#include <cstdint>
#include <cstring>

#include <unicode/unistr.h>

#include "bench/peers/plain/wire.h"

namespace plain {

/// Reads one message's bytes. A read past the end fails the cursor for good and yields zeros.
class Cursor {
 public:
  Cursor(const unsigned char* begin, std::size_t size) : next_(begin), end_(begin + size) {}

  bool at_end() const { return next_ == end_; }
  bool ok() const { return ok_; }

  std::uint64_t Varint() {
    if (next_ != end_ && *next_ < 0x80) return *next_++;
    return LongVarint();
  }

  std::uint32_t Key() { return static_cast<std::uint32_t>(Varint()); }

  std::int32_t Fixed32() {
    std::int32_t value = 0;
    if (end_ - next_ < 4) {
      Fail();
    } else {
      std::memcpy(&value, next_, sizeof value);
      next_ += 4;
    }
    return value;
  }

  /// The bytes of a nested message.
  Cursor Nested() {
    const std::uint64_t size = Varint();
    if (size > static_cast<std::uint64_t>(end_ - next_)) {
      Fail();
      return {end_, 0};
    }
    const unsigned char* begin = next_;
    next_ += size;
    return {begin, size};
  }

  icu::UnicodeString Text() {
    const Cursor bytes = Nested();
    return icu::UnicodeString::fromUTF8(
        icu::StringPiece(reinterpret_cast<const char*>(bytes.next_),
                         static_cast<std::int32_t>(bytes.end_ - bytes.next_)));
  }

  /// Passes over the value of an unknown key.
  void Skip(std::uint32_t key) {
    switch (key & kTypeMask) {
      case kVarintType:
        Varint();
        return;
      case kFixed64Type:
        return Advance(8);
      case kBytesType:
        Nested();
        return;
      case kFixed32Type:
        return Advance(4);
      default:
        return Fail();
    }
  }

  void Fail() {
    ok_ = false;
    next_ = end_;
  }

 private:
  void Advance(std::ptrdiff_t count) {
    if (end_ - next_ < count) return Fail();
    next_ += count;
  }

  std::uint64_t LongVarint() {
    std::uint64_t value = 0;
    for (int shift = 0; shift < 64 && next_ != end_; shift += 7) {
      const std::uint64_t byte = *next_++;
      value |= (byte & 0x7F) << shift;
      if (byte < 0x80) return value;
    }
    Fail();
    return 0;
  }

  const unsigned char* next_;
  const unsigned char* end_;
  bool ok_ = true;
};

}  // namespace plain

#endif  // KESU_BENCH_PEERS_PLAIN_CURSOR_H_
