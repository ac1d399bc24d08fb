#include "tools/kesu/packet.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <iterator>

#include <arpa/inet.h>
#include <pcap/dlt.h>

namespace kesu_tool {
namespace {

constexpr std::uint16_t kEtherIpv4 = 0x0800;
constexpr std::uint16_t kEtherIpv6 = 0x86DD;
constexpr std::uint16_t kEtherVlan = 0x8100;
constexpr std::uint16_t kEtherServiceVlan = 0x88A8;
constexpr int kMostVlanTags = 4;

constexpr unsigned kProtocolTcp = 6;
constexpr int kMostExtensions = 16;

/// Takes bytes from the front of a packet. Once there are too few, it stays empty and fails.
class PacketReader {
 public:
  explicit PacketReader(std::string_view rest) : rest_(rest) {}

  bool is_ok() const { return is_ok_; }
  std::string_view rest() const { return rest_; }

  std::string_view Take(std::size_t length) {
    is_ok_ = is_ok_ && length <= rest_.size();
    const std::string_view taken = is_ok_ ? rest_.substr(0, length) : std::string_view();
    rest_ = is_ok_ ? rest_.substr(length) : std::string_view();
    return taken;
  }
  /// Big-endian, of at most four bytes.
  std::uint32_t TakeNumber(std::size_t width) {
    std::uint32_t number = 0;
    for (const char byte : Take(width)) number = number << 8 | static_cast<unsigned char>(byte);
    return number;
  }
  /// Leaves only the first bytes, where there are more.
  void CutTo(std::size_t length) { rest_ = rest_.substr(0, length); }

 private:
  std::string_view rest_;
  bool is_ok_ = true;
};

std::uint16_t TakeEtherType(PacketReader* in) {
  std::uint32_t type = in->TakeNumber(2);
  for (int i = 0; i < kMostVlanTags && (type == kEtherVlan || type == kEtherServiceVlan); ++i) {
    in->Take(2);
    type = in->TakeNumber(2);
  }
  return static_cast<std::uint16_t>(type);
}

bool ReadTcp(PacketReader in, TcpSegment* segment) {
  segment->from.port = static_cast<std::uint16_t>(in.TakeNumber(2));
  segment->to.port = static_cast<std::uint16_t>(in.TakeNumber(2));
  segment->sequence_number = in.TakeNumber(4);
  in.Take(4);
  constexpr std::size_t kFixedWords = 5;
  const std::size_t words = in.TakeNumber(1) >> 4;
  const std::uint32_t flags = in.TakeNumber(1);
  in.Take(6);
  if (words < kFixedWords) return false;
  in.Take((words - kFixedWords) * 4);
  segment->is_fin = (flags & 1) != 0;
  segment->is_syn = (flags & 2) != 0;
  segment->is_reset = (flags & 4) != 0;
  segment->payload = in.rest();
  return in.is_ok();
}

bool ReadIpv4(PacketReader in, TcpSegment* segment) {
  constexpr std::size_t kFixedBytes = 20;
  const std::size_t header = (in.TakeNumber(1) & 0xF) * std::size_t{4};
  in.Take(1);
  const std::size_t length = in.TakeNumber(2);
  in.Take(2);
  // The flag that more fragments follow, and the place of this one.
  const bool is_fragment = (in.TakeNumber(2) & 0x3FFF) != 0;
  in.Take(1);
  const bool is_tcp = in.TakeNumber(1) == kProtocolTcp;
  in.Take(2);
  segment->from.address = in.Take(4);
  segment->to.address = in.Take(4);
  if (!is_tcp || is_fragment || header < kFixedBytes) return false;
  in.Take(header - kFixedBytes);
  // What is short may be padded on the wire. A packet that the network card is still to cut up has
  // length 0.
  if (length >= header) in.CutTo(length - header);
  return in.is_ok() && (length == 0 || length >= header) && ReadTcp(in, segment);
}

/// The protocol behind the extension headers; nothing where it is not to be had.
std::optional<unsigned> SkipExtensions(unsigned next, PacketReader* in) {
  constexpr unsigned kExtensions[] = {0, 43, 60};
  constexpr unsigned kFragment = 44;
  for (int i = 0; i < kMostExtensions; ++i) {
    const bool is_extension =
        std::find(std::begin(kExtensions), std::end(kExtensions), next) != std::end(kExtensions);
    if (!is_extension && next != kFragment) return next;
    const bool is_fragment = next == kFragment;
    next = in->TakeNumber(1);
    const std::size_t length = in->TakeNumber(1);
    if (is_fragment && (in->TakeNumber(2) & 0xFFF9) != 0) return std::nullopt;
    in->Take(is_fragment ? 4 : 6 + length * 8);
    if (!in->is_ok()) return std::nullopt;
  }
  return std::nullopt;
}

bool ReadIpv6(PacketReader in, TcpSegment* segment) {
  in.Take(4);
  const std::size_t length = in.TakeNumber(2);
  const unsigned next = in.TakeNumber(1);
  in.Take(1);
  segment->from.address = in.Take(16);
  segment->to.address = in.Take(16);
  if (length > 0) in.CutTo(length);
  return SkipExtensions(next, &in) == kProtocolTcp && ReadTcp(in, segment);
}

bool ReadIp(const PacketReader& in, TcpSegment* segment) {
  if (in.rest().empty()) return false;
  const int version = static_cast<unsigned char>(in.rest().front()) >> 4;
  if (version == 4) return ReadIpv4(in, segment);
  return version == 6 && ReadIpv6(in, segment);
}

/// Passes over what is in front of the IP packet. False where there is none.
bool SkipLinkHeader(int link_type, PacketReader* in) {
  std::uint16_t type = kEtherIpv4;
  switch (link_type) {
    case DLT_NULL:
    case DLT_LOOP:
      // A family, whose numbers differ from system to system.
      in->Take(4);
      break;
    case DLT_EN10MB:
      in->Take(12);
      type = TakeEtherType(in);
      break;
    case DLT_LINUX_SLL:
      in->Take(14);
      type = TakeEtherType(in);
      break;
    case DLT_LINUX_SLL2:
      type = static_cast<std::uint16_t>(in->TakeNumber(2));
      in->Take(18);
      break;
    default:
      break;
  }
  return in->is_ok() && (type == kEtherIpv4 || type == kEtherIpv6);
}

}  // namespace

std::string ToText(const Endpoint& endpoint) {
  char text[INET6_ADDRSTRLEN] = "";
  const bool is_ipv6 = endpoint.address.size() > 4;
  inet_ntop(is_ipv6 ? AF_INET6 : AF_INET, endpoint.address.data(), text, sizeof text);
  std::string address = text;
  if (is_ipv6) address.insert(0, 1, '[').push_back(']');
  return address + ":" + std::to_string(endpoint.port);
}

bool IsKnownLinkType(int link_type) {
  constexpr int kKnown[] = {DLT_NULL,       DLT_LOOP, DLT_EN10MB, DLT_LINUX_SLL,
                            DLT_LINUX_SLL2, DLT_RAW,  DLT_IPV4,   DLT_IPV6};
  return std::find(std::begin(kKnown), std::end(kKnown), link_type) != std::end(kKnown);
}

std::optional<TcpSegment> ReadSegment(int link_type, std::string_view packet) {
  PacketReader in(packet);
  TcpSegment segment;
  if (!SkipLinkHeader(link_type, &in) || !ReadIp(in, &segment)) return std::nullopt;
  return segment;
}

}  // namespace kesu_tool
