#ifndef KESU_BENCH_PEERS_PLAIN_BUFFER_H_
#define KESU_BENCH_PEERS_PLAIN_BUFFER_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "bench/peers/plain/messages.h"
#include "bench/peers/plain/wire.h"

namespace plain {

/// The one growing buffer that a message is written into.
class Buffer {
 public:
  const char* data() const { return bytes_.data(); }
  std::size_t size() const { return bytes_.size(); }

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
    bytes_.append(reinterpret_cast<const char*>(&*value), sizeof *value);
  }

  void OptionalText(std::uint32_t number, const Text& text) {
    if (text) String(number, *text);
  }

  void String(std::uint32_t number, const icu::UnicodeString& text) {
    utf8_.clear();
    text.toUTF8String(utf8_);
    Varint(BytesKey(number));
    Varint(utf8_.size());
    bytes_ += utf8_;
  }

  /// The nested message that `write` writes, behind its length.
  template <typename Write>
  void Nested(std::uint32_t number, const Write& write) {
    Varint(BytesKey(number));
    const std::size_t start = bytes_.size();
    write();
    char length[kMaxVarintBytes];
    bytes_.insert(start, length, PutVarint(bytes_.size() - start, length));
  }

 private:
  static constexpr std::size_t kMaxVarintBytes = 10;

  static std::size_t PutVarint(std::uint64_t value, char* place) {
    std::size_t size = 0;
    for (; value >= 0x80; value >>= 7) place[size++] = static_cast<char>(value | 0x80);
    place[size++] = static_cast<char>(value);
    return size;
  }

  void Varint(std::uint64_t value) {
    for (; value >= 0x80; value >>= 7) bytes_.push_back(static_cast<char>(value | 0x80));
    bytes_.push_back(static_cast<char>(value));
  }

  std::string bytes_;
  /// Of the text at hand; keeps its room from text to text.
  std::string utf8_;
};

}  // namespace plain

#endif  // KESU_BENCH_PEERS_PLAIN_BUFFER_H_
