#ifndef SUPPORT_BYTES_H_
#define SUPPORT_BYTES_H_

#include <algorithm>
#include <charconv>
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

/// The bytes of "00 01 AB": pairs of hexadecimal digits, with any white space between the pairs.
inline common_base::ByteVector Bytes(std::string_view hex) {
  common_base::ByteVector bytes;
  while (true) {
    hex.remove_prefix(std::min(hex.find_first_not_of(" \n"), hex.size()));
    if (hex.empty()) return bytes;
    unsigned char byte = 0;
    const std::string_view pair = hex.substr(0, 2);
    const auto [end, error] = std::from_chars(pair.data(), pair.data() + pair.size(), byte, 16);
    REQUIRE_MESSAGE((pair.size() == 2 && end == pair.data() + 2), "not hexadecimal: ", pair);
    bytes.Append(byte);
    hex.remove_prefix(2);
  }
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
