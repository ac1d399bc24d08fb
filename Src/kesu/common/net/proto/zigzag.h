#ifndef KESU_COMMON_NET_PROTO_ZIGZAG_H_
#define KESU_COMMON_NET_PROTO_ZIGZAG_H_

namespace common_net_proto {

/// Maps 0, -1, 1, -2, ... to 0, 1, 2, 3, ..., so that small negative numbers make short varints.
constexpr unsigned long long ZigZagEncode(long long value) {
  return (static_cast<unsigned long long>(value) << 1) ^
         static_cast<unsigned long long>(value >> 63);
}

constexpr long long ZigZagDecode(unsigned long long value) {
  return static_cast<long long>((value >> 1) ^ (0 - (value & 1)));
}

}  // namespace common_net_proto

#endif  // KESU_COMMON_NET_PROTO_ZIGZAG_H_
