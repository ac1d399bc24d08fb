#ifndef SERVER_PROTOCOL_BIG_ENDIAN_H_
#define SERVER_PROTOCOL_BIG_ENDIAN_H_

#include <cstddef>
#include <string>
#include <type_traits>

namespace kesu_server {

/// Appends all bytes of a number, the most significant one first.
template <typename Number>
void AppendBigEndian(Number value, std::string* out) {
  const auto bits = static_cast<std::make_unsigned_t<Number>>(value);
  for (std::size_t left = sizeof bits; left > 0; --left) {
    out->push_back(static_cast<char>(bits >> (8 * (left - 1)) & 0xFF));
  }
}

}  // namespace kesu_server

#endif  // SERVER_PROTOCOL_BIG_ENDIAN_H_
