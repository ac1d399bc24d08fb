#ifndef KESU_COMMON_NET_PROTO_VARINT_H_
#define KESU_COMMON_NET_PROTO_VARINT_H_

#include <bit>
#include <cstdint>
#include <cstring>

// What runs for every value: together in one function, which keeps where it is in registers.
// Without optimisation it stays apart, where a debugger and the coverage find it.
#ifdef __OPTIMIZE__
#define KESU_HOT [[gnu::always_inline]] inline
#else
#define KESU_HOT inline
#endif

#pragma GCC visibility push(hidden)
namespace common_net_proto {

/// A number, and where what follows it starts: null where the bytes ended in it.
struct NumberRead {
  unsigned long long value;
  const unsigned char* end;
};

inline constexpr int kPayloadBits = 7;
inline constexpr int kLongestVarint = 10;
inline constexpr unsigned kContinuationBit = 0x80;

/// Puts the payloads of up to eight bytes, the first in the low bits, side by side.
inline std::uint64_t JoinPayloads(std::uint64_t bytes) {
  bytes &= 0x7F7F'7F7F'7F7F'7F7F;
  bytes = (bytes & 0x007F'007F'007F'007F) | (bytes & 0x7F00'7F00'7F00'7F00) >> 1;
  bytes = (bytes & 0x0000'3FFF'0000'3FFF) | (bytes & 0x3FFF'0000'3FFF'0000) >> 2;
  return (bytes & 0x0FFF'FFFF) | (bytes & 0x0FFF'FFFF'0000'0000) >> 4;
}

/// Where ten bytes or more are there.
inline NumberRead ReadVarintByWord(const unsigned char* at) {
  constexpr std::uint64_t kContinuationBits = 0x8080'8080'8080'8080;
  std::uint64_t word = 0;
  std::memcpy(&word, at, sizeof word);
  if (const std::uint64_t last = ~word & kContinuationBits; last != 0) {
    const int bits = std::countr_zero(last) + 1;
    return {JoinPayloads(word & ~std::uint64_t{0} >> (64 - bits)), at + bits / 8};
  }
  const std::uint64_t value = JoinPayloads(word) | (at[8] & 0x7FULL) << 56;
  if (at[8] < kContinuationBit) return {value, at + 9};
  return {at[9] < kContinuationBit ? value | std::uint64_t{at[9]} << 63 : 0, at + kLongestVarint};
}

[[gnu::noinline]] inline NumberRead ReadLongVarint(const unsigned char* at,
                                                   const unsigned char* end) {
  if (std::endian::native == std::endian::little && end - at >= kLongestVarint) {
    return ReadVarintByWord(at);
  }
  unsigned long long value = 0;
  for (int shift = 0; shift < kLongestVarint * kPayloadBits; shift += kPayloadBits) {
    if (at == end) return {0, nullptr};
    const unsigned char byte = *at++;
    value |= (byte & 0x7FULL) << shift;
    if (byte < kContinuationBit) return {value, at};
  }
  return {0, at};
}

/// As ProtoUtil::ReadVarint(): 0 where the bytes end inside it, or it goes on after its tenth byte.
KESU_HOT NumberRead ReadVarint(const unsigned char* at, const unsigned char* end) {
  if (at != end && *at < kContinuationBit) return {*at, at + 1};
  return ReadLongVarint(at, end);
}

}  // namespace common_net_proto
#pragma GCC visibility pop

#endif  // KESU_COMMON_NET_PROTO_VARINT_H_
