#include "server/services/sightings.h"

#include <cstddef>

namespace kesu_server {
namespace {

/// A cell that is not known is somewhere in its area, and how well it is received says nothing.
Sighting AnywhereIn(const Station& area) {
  Sighting sighting{area};
  sighting.station.model.shadowing_db = 0;
  sighting.is_cell = true;
  return sighting;
}

}  // namespace

std::optional<StationKey> AreaOfServingCell(const std::vector<Observation>& observations) {
  for (const Observation& observation : observations) {
    if (!observation.key.is_access_point()) return AreaKey(observation.key);
  }
  return std::nullopt;
}

std::vector<StationKey> KeysOf(const std::vector<Observation>& observations) {
  std::vector<StationKey> keys;
  keys.reserve(observations.size() + 1);
  for (const Observation& observation : observations) keys.push_back(observation.key);
  if (const auto area = AreaOfServingCell(observations)) keys.push_back(*area);
  return keys;
}

std::vector<Sighting> SightingsOf(const std::vector<Observation>& observations,
                                  std::span<const std::optional<Station>> stations) {
  std::vector<Sighting> sightings;
  for (std::size_t i = 0; i < observations.size(); ++i) {
    const Observation& seen = observations[i];
    if (!stations[i] || seen.key.id == kWholeArea) continue;
    sightings.push_back({*stations[i], seen.received_dbm, seen.age_s, !seen.key.is_access_point()});
  }
  const bool has_area = stations.size() > observations.size();
  if (sightings.empty() && has_area && stations.back()) {
    sightings.push_back(AnywhereIn(*stations.back()));
  }
  return sightings;
}

}  // namespace kesu_server
