#ifndef SUPPORT_BYTES_H_
#define SUPPORT_BYTES_H_

#include <ios>
#include <sstream>
#include <string>
#include <string_view>

#include <doctest/doctest.h>

#include "support/text.h"

namespace kesu_test {

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
