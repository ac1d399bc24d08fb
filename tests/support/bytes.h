#ifndef SUPPORT_BYTES_H_
#define SUPPORT_BYTES_H_

#include <ios>
#include <sstream>
#include <string>
#include <string_view>

#include <doctest/doctest.h>

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

/// The bytes of "00 01 AB": hexadecimal numbers with white space between them.
inline common_base::ByteVector Bytes(std::string_view hex) {
  common_base::ByteVector bytes;
  std::istringstream numbers{std::string(hex)};
  for (unsigned byte = 0; numbers >> std::hex >> byte;) {
    REQUIRE_MESSAGE(byte <= 0xFF, "more than a byte in: ", hex);
    bytes.Append(static_cast<unsigned char>(byte));
  }
  REQUIRE_MESSAGE(numbers.eof(), "not hexadecimal: ", hex);
  return bytes;
}

/// "00 01 AB", the form that Bytes() takes.
inline std::string ToHex(const common_base::ByteView& bytes) {
  std::string hex;
  for (const unsigned char byte : bytes) {
    if (!hex.empty()) hex += ' ';
    hex += "0123456789ABCDEF"[byte >> 4];
    hex += "0123456789ABCDEF"[byte & 0xF];
  }
  return hex;
}

}  // namespace kesu_test

#endif  // SUPPORT_BYTES_H_
