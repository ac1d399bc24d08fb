#include "server/import/packed_station.h"

#include <algorithm>
#include <tuple>

#include "server/storage/position_units.h"

namespace kesu_server {

LatLng PackedStation::position() const {
  return FromUnits(latitude, longitude);
}

PackedStation Pack(const StationRecord& record) {
  PackedStation packed;
  packed.key = record.key;
  packed.latitude = static_cast<std::int32_t>(ToUnits(record.position.latitude));
  packed.longitude = static_cast<std::int32_t>(ToUnits(record.position.longitude));
  packed.radius_m = static_cast<float>(record.radius_m);
  packed.weight = static_cast<float>(record.weight);
  packed.updated = record.updated;
  packed.samples = record.samples;
  return packed;
}

bool operator<(const PackedStation& a, const PackedStation& b) {
  return std::tie(a.key, a.updated) < std::tie(b.key, b.updated);
}

ImportedStation MeanOf(std::span<const PackedStation> sightings) {
  ImportedStation station;
  station.key = sightings.front().key;
  station.samples = 0;
  MeanPosition mean = {sightings.front().position(), 0, 0};
  for (const PackedStation& sighting : sightings) {
    mean = Combine(mean, {sighting.position(), 0, sighting.weight});
    station.samples += sighting.samples;
    station.updated = std::max(station.updated, sighting.updated);
  }
  station.position = mean.position;
  for (const PackedStation& sighting : sightings) {
    station.radius_m = std::max(
        station.radius_m, DistanceM(station.position, sighting.position()) + sighting.radius_m);
  }
  station.radius_m = std::min(station.radius_m, kHalfCircumferenceM);
  return station;
}

ImportedStation Update(const ImportedStation& present, const ImportedStation& station) {
  if (!station.key.is_access_point()) {
    return station.updated < present.updated ? present : station;
  }
  constexpr std::int64_t kMostSamples = 1'000'000'000;
  const auto mean_of = [](const ImportedStation& one) {
    return MeanPosition{one.position, one.radius_m, static_cast<double>(one.samples)};
  };
  const MeanPosition mean = Combine(mean_of(present), mean_of(station));
  ImportedStation merged = present;
  merged.position = mean.position;
  merged.radius_m = std::min(mean.radius_m, kHalfCircumferenceM);
  merged.samples = std::min(present.samples + station.samples, kMostSamples);
  merged.updated = std::max(present.updated, station.updated);
  return merged;
}

}  // namespace kesu_server
