#ifndef SERVER_IMPORT_PACKED_STATION_H_
#define SERVER_IMPORT_PACKED_STATION_H_

#include <cstdint>
#include <span>
#include <type_traits>

#include "server/import/record.h"
#include "server/storage/station.h"

namespace kesu_server {

/// A StationRecord in the form in which many of them are sorted and kept in files meanwhile.
struct PackedStation {
  StationKey key;
  std::int32_t latitude = 0;
  std::int32_t longitude = 0;
  float radius_m = 0;
  float weight = 0;
  std::int64_t updated = 0;
  std::int64_t samples = 0;

  LatLng position() const;
};
static_assert(std::is_trivially_copyable_v<PackedStation> && sizeof(PackedStation) == 48);

PackedStation Pack(const StationRecord& record);

/// By key, then by time.
bool operator<(const PackedStation& a, const PackedStation& b);

/// One station for several sightings of the same: their weighted mean, and the radius that holds
/// all of them. There is at least one.
ImportedStation MeanOf(std::span<const PackedStation> sightings);

/// What two imports say of one station, the later one second: sightings of an access point add up,
/// of a cell the newest counts.
ImportedStation Update(const ImportedStation& present, const ImportedStation& station);

}  // namespace kesu_server

#endif  // SERVER_IMPORT_PACKED_STATION_H_
