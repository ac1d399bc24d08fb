#include "server/inspect/own_site.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include <arpa/inet.h>
#include <glib.h>
#include <netinet/in.h>

namespace kesu_server {
namespace {

/// None where there is no such header; an impossible value where there are several.
std::optional<std::string> HeaderOf(const HttpHeaders& headers, const char* name) {
  std::optional<std::string> found;
  for (const auto& [header, value] : headers) {
    if (g_ascii_strcasecmp(header.c_str(), name) == 0) found = found ? "," : value;
  }
  return found;
}

/// Without the port, and without the brackets of an IPv6 address.
std::string HostOf(std::string_view host_and_port) {
  if (host_and_port.starts_with('[')) {
    host_and_port.remove_prefix(1);
    return std::string(host_and_port.substr(0, host_and_port.find(']')));
  }
  return std::string(host_and_port.substr(0, host_and_port.find(':')));
}

bool IsAllowedHost(const std::string& host, Visitors visitors) {
  constexpr std::uint8_t kLoopbackNet = 127;
  if (g_ascii_strcasecmp(host.c_str(), "localhost") == 0) return true;
  in_addr v4 = {};
  if (inet_pton(AF_INET, host.c_str(), &v4) == 1) {
    return visitors == Visitors::kAny || ntohl(v4.s_addr) >> 24 == kLoopbackNet;
  }
  in6_addr v6 = {};
  if (inet_pton(AF_INET6, host.c_str(), &v6) != 1) return false;
  return visitors == Visitors::kAny || std::memcmp(&v6, &in6addr_loopback, sizeof v6) == 0;
}

bool IsOwnOrigin(std::string_view origin, std::string_view host) {
  const std::size_t end_of_scheme = origin.find("://");
  return end_of_scheme != std::string_view::npos && origin.substr(end_of_scheme + 3) == host;
}

}  // namespace

bool IsFromOwnSite(const HttpHeaders& headers, Visitors visitors) {
  const std::optional<std::string> host = HeaderOf(headers, "Host");
  if (!host || !IsAllowedHost(HostOf(*host), visitors)) return false;
  const std::optional<std::string> origin = HeaderOf(headers, "Origin");
  if (origin && !IsOwnOrigin(*origin, *host)) return false;
  const std::string site = HeaderOf(headers, "Sec-Fetch-Site").value_or("none");
  // A link may lead here.
  return site == "none" || site == "same-origin" ||
         HeaderOf(headers, "Sec-Fetch-Dest") == "document";
}

}  // namespace kesu_server
