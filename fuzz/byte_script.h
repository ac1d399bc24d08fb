#ifndef FUZZ_BYTE_SCRIPT_H_
#define FUZZ_BYTE_SCRIPT_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "support/text.h"

namespace kesu_fuzz {

using kesu_test::TextOf;
using kesu_test::ViewOf;

/// Ends the process when a property does not hold, in every build.
inline void Require(bool holds) {
  if (!holds) std::abort();
}

/// The input of a fuzz target, taken piece by piece from its front. An input that has run out
/// yields zeros and empty texts.
class ByteScript {
 public:
  ByteScript(const std::uint8_t* bytes, std::size_t size)
      : rest_(reinterpret_cast<const char*>(bytes), size) {}
  explicit ByteScript(std::string_view bytes) : rest_(bytes) {}

  bool IsAtEnd() const { return rest_.empty(); }

  unsigned TakeByte() {
    const std::string_view byte = TakeText(1);
    return byte.empty() ? 0 : static_cast<unsigned char>(byte[0]);
  }
  /// From 0 up to `count` - 1; `count` is 1 to 256.
  int Pick(int count) { return static_cast<int>(TakeByte()) % count; }
  /// Two bytes, big-endian, with a sign.
  int TakeInt16() {
    const unsigned high = TakeByte();
    return static_cast<std::int16_t>(high << 8 | TakeByte());
  }
  std::uint32_t TakeUint32() {
    const auto high = static_cast<std::uint16_t>(TakeInt16());
    return std::uint32_t{high} << 16 | static_cast<std::uint16_t>(TakeInt16());
  }
  /// At most `length` bytes.
  std::string_view TakeText(std::size_t length) {
    const std::string_view text = rest_.substr(0, length);
    rest_.remove_prefix(text.size());
    return text;
  }
  std::string_view TakeRest() { return TakeText(rest_.size()); }

 private:
  std::string_view rest_;
};

}  // namespace kesu_fuzz

#endif  // FUZZ_BYTE_SCRIPT_H_
