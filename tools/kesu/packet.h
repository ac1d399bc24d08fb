#ifndef KESU_TOOL_PACKET_H_
#define KESU_TOOL_PACKET_H_

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kesu_tool {

/// One end of a connection.
struct Endpoint {
  /// The bytes of an IPv4 or an IPv6 address.
  std::string address;
  std::uint16_t port = 0;

  // NOLINTNEXTLINE(modernize-use-nullptr): clang-tidy 14 means the 0 that the compiler makes.
  auto operator<=>(const Endpoint&) const = default;
};

/// "127.0.0.1:8642", "[::1]:8642"
std::string ToText(const Endpoint& endpoint);

/// RFC 9293.
struct TcpSegment {
  Endpoint from;
  Endpoint to;
  std::uint32_t sequence_number = 0;
  bool is_syn = false;
  bool is_fin = false;
  bool is_reset = false;
  /// What was captured of it: the end may be missing. Points into the packet.
  std::string_view payload;
};

/// Whether ReadSegment() knows packets of this type, one of libpcap's DLT_ constants.
bool IsKnownLinkType(int link_type);

/// The segment in a packet; nothing where it holds none, is a fragment, or makes no sense.
std::optional<TcpSegment> ReadSegment(int link_type, std::string_view packet);

}  // namespace kesu_tool

#endif  // KESU_TOOL_PACKET_H_
