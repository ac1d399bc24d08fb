#ifndef KESU_BENCH_PEERS_PLAIN_TUNED_BUFFER_H_
#define KESU_BENCH_PEERS_PLAIN_TUNED_BUFFER_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include <unicode/ustring.h>

#include "bench/peers/plain/messages.h"
#include "bench/peers/plain/wire.h"

namespace plain {

/// Buffer, written by someone who has measured: bytes that are never filled twice, and texts that
/// are converted where they are to stand.
class TunedBuffer {
 public:
  const unsigned char* data() const { return bytes_.get(); }
  std::size_t size() const { return size_; }

  void Varint(std::uint64_t value) {
    unsigned char* next = Room(kMaxVarintBytes);
    unsigned char* const start = next;
    for (; value >= 0x80; value >>= 7) *next++ = static_cast<unsigned char>(value | 0x80);
    *next++ = static_cast<unsigned char>(value);
    size_ += static_cast<std::size_t>(next - start);
  }

  template <typename Number>
  void Optional(std::uint32_t number, const std::optional<Number>& value) {
    if (!value) return;
    Varint(VarintKey(number));
    // Negative numbers go out with 64 bits.
    Varint(static_cast<std::uint64_t>(static_cast<std::int64_t>(*value)));
  }

  void OptionalFixed32(std::uint32_t number, const Int32& value) {
    if (!value) return;
    Varint(Fixed32Key(number));
    std::memcpy(Room(sizeof *value), &*value, sizeof *value);
    size_ += sizeof *value;
  }

  void OptionalText(std::uint32_t number, const Text& text) {
    if (text) String(number, *text);
  }

  void String(std::uint32_t number, const icu::UnicodeString& text) {
    Varint(BytesKey(number));
    const std::int32_t room = text.length() * kMaxUtf8BytesPerUnit;
    char* text_at = reinterpret_cast<char*>(Room(1 + static_cast<std::size_t>(room))) + 1;
    std::int32_t length = 0;
    UErrorCode status = U_ZERO_ERROR;
    u_strToUTF8WithSub(text_at, room, &length, text.getBuffer(), text.length(), 0xFFFD, nullptr,
                       &status);
    const std::size_t length_at = size_;
    size_ += 1 + static_cast<std::size_t>(length);
    PutLength(length_at);
  }

  /// The nested message that `write` writes, behind its length.
  template <typename Write>
  void Nested(std::uint32_t number, const Write& write) {
    Varint(BytesKey(number));
    Room(1);
    const std::size_t length_at = size_++;
    write();
    PutLength(length_at);
  }

 private:
  static constexpr std::size_t kFirstCapacity = 256;
  static constexpr std::size_t kMaxVarintBytes = 10;
  static constexpr std::int32_t kMaxUtf8BytesPerUnit = 3;

  /// Puts the length of everything behind `length_at` there, where one byte has been left for it;
  /// a longer length moves what follows.
  void PutLength(std::size_t length_at) {
    std::size_t length = size_ - length_at - 1;
    if (length < 0x80) {
      bytes_[length_at] = static_cast<unsigned char>(length);
      return;
    }
    std::size_t more = 1;
    while (length >> 7 * (more + 1) != 0) ++more;
    Room(more);
    unsigned char* place = &bytes_[length_at];
    std::memmove(place + 1 + more, place + 1, length);
    size_ += more;
    for (; length >= 0x80; length >>= 7) *place++ = static_cast<unsigned char>(length | 0x80);
    *place = static_cast<unsigned char>(length);
  }

  /// The end of what is written, with room for `count` bytes behind it.
  unsigned char* Room(std::size_t count) {
    if (capacity_ - size_ < count) Grow(size_ + count);
    return &bytes_[size_];
  }

  void Grow(std::size_t needed) {
    capacity_ = std::max({2 * capacity_, needed, kFirstCapacity});
    std::unique_ptr<unsigned char[]> bytes(new unsigned char[capacity_]);
    if (size_ != 0) std::memcpy(bytes.get(), bytes_.get(), size_);
    bytes_ = std::move(bytes);
  }

  std::unique_ptr<unsigned char[]> bytes_;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

}  // namespace plain

#endif  // KESU_BENCH_PEERS_PLAIN_TUNED_BUFFER_H_
