#include "server/http/admission.h"

#include <functional>

#include <netinet/in.h>

namespace kesu_server {
namespace {

constexpr auto kRelaxed = std::memory_order_relaxed;
constexpr std::size_t kNetworkBytes = 8;

/// The bytes that tell one client from another: an IPv4 address, mapped or not, or the network of
/// an IPv6 address.
std::string NetworkOf(const sockaddr_storage& address) {
  if (address.ss_family == AF_INET) {
    const auto* const ipv4 = reinterpret_cast<const sockaddr_in*>(&address);
    return {reinterpret_cast<const char*>(&ipv4->sin_addr), sizeof ipv4->sin_addr};
  }
  if (address.ss_family != AF_INET6) return {};
  const in6_addr& ipv6 = reinterpret_cast<const sockaddr_in6*>(&address)->sin6_addr;
  const auto* const bytes = reinterpret_cast<const char*>(&ipv6);
  if (IN6_IS_ADDR_V4MAPPED(&ipv6)) return {bytes + sizeof ipv6 - sizeof(in_addr), sizeof(in_addr)};
  return {bytes, kNetworkBytes};
}

}  // namespace

bool Admission::HasRoom() const {
  if (limits_.all == 0) return true;
  std::uint64_t connections = 0;
  for (const WorkerRecord& record : records_) connections += record.connections.load(kRelaxed);
  return connections < limits_.all;
}

std::optional<std::size_t> Admission::Enter(const sockaddr_storage& address) {
  const std::size_t bucket = BucketOf(address);
  std::uint64_t connections = 0;
  for (const WorkerRecord& record : records_) {
    connections += record.connections_by_address[bucket].load(kRelaxed);
  }
  if (limits_.per_address > 0 && connections >= limits_.per_address) {
    own_->refused_connections.fetch_add(1, kRelaxed);
    return std::nullopt;
  }
  own_->connections_by_address[bucket].fetch_add(1, kRelaxed);
  own_->connections.fetch_add(1, kRelaxed);
  own_->accepted_connections.fetch_add(1, kRelaxed);
  return bucket;
}

void Admission::Leave(std::size_t bucket) {
  own_->connections_by_address[bucket].fetch_sub(1, kRelaxed);
  own_->connections.fetch_sub(1, kRelaxed);
}

std::size_t Admission::BucketOf(const sockaddr_storage& address) const {
  return std::hash<std::string>()(secret_ + NetworkOf(address)) % WorkerRecord::kAddressBuckets;
}

}  // namespace kesu_server
