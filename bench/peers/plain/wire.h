#ifndef KESU_BENCH_PEERS_PLAIN_WIRE_H_
#define KESU_BENCH_PEERS_PLAIN_WIRE_H_

#include <cstdint>

/// The keys of the tagged wire format, whole: number and wire type, for one switch over both.
namespace plain {

constexpr std::uint32_t kVarintType = 0;
constexpr std::uint32_t kFixed64Type = 1;
constexpr std::uint32_t kBytesType = 2;
constexpr std::uint32_t kFixed32Type = 5;
constexpr std::uint32_t kTypeMask = 7;

constexpr std::uint32_t VarintKey(std::uint32_t number) {
  return number << 3 | kVarintType;
}
constexpr std::uint32_t BytesKey(std::uint32_t number) {
  return number << 3 | kBytesType;
}
constexpr std::uint32_t Fixed32Key(std::uint32_t number) {
  return number << 3 | kFixed32Type;
}

}  // namespace plain

#endif  // KESU_BENCH_PEERS_PLAIN_WIRE_H_
