#ifndef KESU_COMMON_BASE_BYTE_ORDER_H_
#define KESU_COMMON_BASE_BYTE_ORDER_H_

#include <bit>
#include <cstring>

namespace common_base {

/// `value` with its bytes in the opposite order.
inline unsigned short ReverseBytes(unsigned short value) {
  return __builtin_bswap16(value);
}
inline unsigned ReverseBytes(unsigned value) {
  return __builtin_bswap32(value);
}
inline unsigned long long ReverseBytes(unsigned long long value) {
  return __builtin_bswap64(value);
}

/// Numbers in memory, at any address, in the order of bytes that is asked for.
template <std::endian kOrder, typename Number>
void StoreNumber(Number value, unsigned char* bytes) {
  if constexpr (kOrder != std::endian::native) value = ReverseBytes(value);
  std::memcpy(bytes, &value, sizeof value);
}
template <std::endian kOrder, typename Number>
Number LoadNumber(const unsigned char* bytes) {
  Number value;
  std::memcpy(&value, bytes, sizeof value);
  if constexpr (kOrder != std::endian::native) value = ReverseBytes(value);
  return value;
}

}  // namespace common_base

#endif  // KESU_COMMON_BASE_BYTE_ORDER_H_
