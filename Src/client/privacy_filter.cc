#include "client/privacy_filter.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "client/earth.h"

namespace kesu::detail {
namespace {

constexpr int kMaxNetworkCode = 999;
constexpr unsigned kGroupBit = 1;
constexpr unsigned kLocalBit = 2;
constexpr std::size_t kMacAddressBytes = 6;
constexpr char kNullMacAddress[] = "00-00-00-00-00-00";

/// 16 where it is none.
unsigned HexDigit(char c) {
  if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a' + 10);
  if (c >= 'A' && c <= 'F') return static_cast<unsigned>(c - 'A' + 10);
  return 16;
}

bool EndsInNoMap(std::string_view name) {
  constexpr std::string_view kSuffix = "_nomap";
  return name.size() >= kSuffix.size() &&
         std::equal(kSuffix.begin(), kSuffix.end(), name.end() - kSuffix.size(),
                    [](char wanted, char c) {
                      return c == wanted || (c >= 'A' && c <= 'Z' && c - 'A' + 'a' == wanted);
                    });
}

/// Some drivers fill the place of a hidden name with zeros.
bool IsHidden(std::string_view name) {
  return name.find_first_not_of('\0') == std::string_view::npos;
}

Error Misuse(std::string message) {
  return {ErrorKind::kMisuse, std::move(message)};
}

bool IsCell(const Cell& cell) {
  const auto is_code = [](int code) { return code >= 0 && code <= kMaxNetworkCode; };
  return is_code(cell.mcc) && is_code(cell.mnc) && cell.area >= 0 && cell.cell >= 0;
}

/// Why an observation makes no sense; of kind kNone where it does.
Error FaultOf(const Observation& observation) {
  if (observation.cells.empty() && observation.access_points.empty() && !observation.fix) {
    return Misuse("the observation is empty");
  }
  if (!std::all_of(observation.cells.begin(), observation.cells.end(), IsCell)) {
    return Misuse("a cell has a code out of range");
  }
  if (observation.fix) {
    const Fix& fix = *observation.fix;
    if (!IsOnEarth(fix.latitude, fix.longitude)) return Misuse("the fix is not on earth");
    if (fix.accuracy_m && !(*fix.accuracy_m >= 0)) return Misuse("the fix has a negative accuracy");
  }
  return {};
}

/// `address` is its own in normal form.
Disclosure DisclosureAt(const std::string& address, const AccessPoint& access_point) {
  if (address.empty()) return Disclosure::kNoMacAddress;
  if (access_point.name && IsHidden(*access_point.name)) return Disclosure::kHiddenName;
  if (access_point.name && EndsInNoMap(*access_point.name)) return Disclosure::kOptedOut;
  const unsigned low_digit = HexDigit(address[1]);
  if ((low_digit & kGroupBit) != 0 || address == kNullMacAddress) return Disclosure::kMulticast;
  if ((low_digit & kLocalBit) != 0) return Disclosure::kLocallyAdministered;
  return Disclosure::kAllowed;
}

bool IsSingle(const std::vector<AccessPoint>& access_points) {
  return std::all_of(access_points.begin(), access_points.end(), [&](const AccessPoint& other) {
    return other.mac_address == access_points.front().mac_address;
  });
}

}  // namespace

std::string NormalMacAddress(std::string_view mac_address) {
  const bool has_separators = mac_address.size() == kMacAddressBytes * 3 - 1;
  if (!has_separators && mac_address.size() != kMacAddressBytes * 2) return {};
  const char separator = has_separators ? mac_address[2] : '-';
  if (separator != '-' && separator != ':') return {};
  const std::size_t step = has_separators ? 3 : 2;
  std::string normal = kNullMacAddress;
  for (std::size_t i = 0; i < kMacAddressBytes; ++i) {
    const std::size_t place = i * step;
    if (has_separators && i > 0 && mac_address[place - 1] != separator) return {};
    const unsigned high = HexDigit(mac_address[place]);
    const unsigned low = HexDigit(mac_address[place + 1]);
    if (high > 15 || low > 15) return {};
    normal[i * 3] = "0123456789ABCDEF"[high];
    normal[i * 3 + 1] = "0123456789ABCDEF"[low];
  }
  return normal;
}

Disclosure DisclosureOf(const AccessPoint& access_point) {
  return DisclosureAt(NormalMacAddress(access_point.mac_address), access_point);
}

Result<Observation> WhatMayBeTold(const Observation& observation, bool allow_single_access_point) {
  Error fault = FaultOf(observation);
  if (fault.kind != ErrorKind::kNone) return fault;
  Observation told{observation.cells, {}, observation.fix};
  told.access_points.reserve(observation.access_points.size());
  for (const AccessPoint& it : observation.access_points) {
    std::string address = NormalMacAddress(it.mac_address);
    if (address.empty()) return Misuse("\"" + it.mac_address + "\" is no MAC address");
    if (DisclosureAt(address, it) != Disclosure::kAllowed) continue;
    // Without the name, which is not told.
    told.access_points.push_back({std::move(address), it.signal_dbm, {}, it.age, it.channel});
  }
  if (!told.cells.empty()) return told;
  const bool is_single = !told.access_points.empty() && IsSingle(told.access_points);
  if (is_single && !allow_single_access_point) told.access_points.clear();
  if (!told.access_points.empty() || told.fix) return told;
  return Error{ErrorKind::kWithheld,
               is_single ? "a single access point, without a cell, is not told to the service"
                         : "no access point may be told to the service: all are hidden, opted out, "
                           "or have no lasting address of their own"};
}

}  // namespace kesu::detail
