#ifndef SUPPORT_TEXT_H_
#define SUPPORT_TEXT_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "kesu/common/base/gstring.h"
#include "kesu/common/base/vector.h"

namespace kesu_test {

/// The bytes of a text, as they are. The text must outlive the view.
inline common_base::ByteView ViewOf(std::string_view text) {
  return {common_base::kReferenceExistingBuffer,
          reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size())};
}

/// A text of the very bytes of a view.
inline std::string TextOf(const common_base::ByteView& bytes) {
  return {bytes.begin(), bytes.end()};
}

/// The UTF-8 form of a string, for comparison with a literal.
inline std::string TextOf(const common_base::GString& string) {
  common_base::ByteVector utf8;
  string->ToUtf8Vector(&utf8);
  return TextOf(utf8);
}

/// The lowest bytes of a number, the highest of them first.
inline std::string BigEndian(std::uint64_t value, int width) {
  std::string bytes;
  while (width-- > 0) bytes += static_cast<char>(value >> 8 * width);
  return bytes;
}

}  // namespace kesu_test

#endif  // SUPPORT_TEXT_H_
