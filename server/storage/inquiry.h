#ifndef SERVER_STORAGE_INQUIRY_H_
#define SERVER_STORAGE_INQUIRY_H_

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

#include "server/geo/geodesy.h"
#include "server/storage/place.h"
#include "server/storage/station.h"
#include "server/storage/station_key.h"

namespace kesu_server {

/// Addresses further away than this say nothing of a position, and places are not near.
inline constexpr double kAddressRadiusM = 200;
inline constexpr double kPlaceRadiusM = 300'000;

/// What the storage is asked at once: stations, and what is near points, which must be on earth.
struct Inquiry {
  std::vector<StationKey> keys;
  std::vector<LatLng> points;

  std::size_t size() const { return keys.size() + points.size(); }
};

/// The nearest of each kind within its radius.
struct Surroundings {
  std::optional<NearbyAddress> address;
  std::optional<NearbyPlace> place;
};

/// One entry for each key and each point, in their order.
struct Findings {
  std::vector<std::optional<Station>> stations;
  std::vector<Surroundings> surroundings;
};

/// The part of the findings that one asker is after.
struct Found {
  /// The storage failed, and there is nothing.
  bool has_failed = false;
  std::span<const std::optional<Station>> stations = {};
  std::span<const Surroundings> surroundings = {};
};

}  // namespace kesu_server

#endif  // SERVER_STORAGE_INQUIRY_H_
