#ifndef KESU_COMMON_NET_PROTO_WIRE_TYPE_H_
#define KESU_COMMON_NET_PROTO_WIRE_TYPE_H_

namespace common_net_proto {

/// The low three bits of a key: how the value that follows is delimited.
inline constexpr unsigned char kWireVarint = 0;
inline constexpr unsigned char kWireFixed64 = 1;
inline constexpr unsigned char kWireLengthDelimited = 2;
inline constexpr unsigned char kWireStartGroup = 3;
inline constexpr unsigned char kWireEndGroup = 4;
inline constexpr unsigned char kWireFixed32 = 5;

inline constexpr int kWireTypeBits = 3;
inline constexpr unsigned kWireTypeMask = (1U << kWireTypeBits) - 1;

}  // namespace common_net_proto

#endif  // KESU_COMMON_NET_PROTO_WIRE_TYPE_H_
