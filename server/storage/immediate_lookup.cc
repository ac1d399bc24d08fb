#include "server/storage/immediate_lookup.h"

#include <vector>

namespace kesu_server {
namespace {

template <typename Nearby>
std::optional<Nearby> First(std::vector<Nearby> found) {
  if (found.empty()) return std::nullopt;
  return std::move(found.front());
}

}  // namespace

std::optional<Findings> ImmediateLookup::Find(const Inquiry& inquiry) {
  Findings findings;
  if (!inquiry.keys.empty() && !storage_->FindStations(inquiry.keys, &findings.stations)) {
    return std::nullopt;
  }
  findings.surroundings.reserve(inquiry.points.size());
  for (const LatLng& point : inquiry.points) {
    std::vector<NearbyAddress> addresses;
    std::vector<NearbyPlace> places;
    if (!storage_->NearestAddresses(point, 1, kAddressRadiusM, &addresses) ||
        !storage_->NearestPlaces(point, 1, kPlaceRadiusM, &places)) {
      return std::nullopt;
    }
    findings.surroundings.push_back({First(std::move(addresses)), First(std::move(places))});
  }
  return findings;
}

}  // namespace kesu_server
