#ifndef SERVER_STORAGE_STATION_H_
#define SERVER_STORAGE_STATION_H_

#include <cstdint>
#include <optional>

#include "server/geo/geodesy.h"
#include "server/geo/radio_model.h"
#include "server/storage/learned_station.h"
#include "server/storage/station_key.h"

namespace kesu_server {

/// A transmitter whose position is known, or an area of cells.
struct Station {
  LatLng position;
  RadioModel model;
  /// The weakest signal with which a handset still notices it.
  double sensitivity_dbm = 0;
  /// Where it can be received is within so many metres of `position`.
  double radius_m = 0;
  /// How far off `position` may be: a standard deviation along each axis.
  double position_error_m = 0;
};

/// What a database that was imported says of a station.
struct ImportedStation {
  StationKey key;
  LatLng position;
  /// 0 where it is not known.
  double radius_m = 0;
  /// From how many sightings its position comes; at least 1.
  std::int64_t samples = 1;
  /// When it was last seen, in seconds since 1970; 0 where that is not known.
  std::int64_t updated = 0;
  /// Where it has been measured.
  std::optional<RadioModel> model;
};

/// The weakest signal with which a handset still notices a station of that kind.
double SensitivityDbm(const StationKey& key);

/// The model of a station of which no more is known than where it can be received: its signal fades
/// as is usual for its kind, and is the weakest that can be noticed at the edge of its radius.
RadioModel ModelFromRadius(const StationKey& key, double radius_m);

/// The radius of such a station for its model, neither smaller nor greater than stations of its
/// kind reach; 0 stands for what is usual.
double PlausibleRadiusM(const StationKey& key, double radius_m);

/// How far off the mean of where a station was observed is from it, as a standard deviation along
/// each axis. `weight` is that of all observations.
double PositionErrorM(const StationKey& key, double weight);

/// One point that stands for two, and a radius around it that holds the circles around both.
struct MeanPosition {
  LatLng position;
  double radius_m = 0;
  double weight = 0;
};
MeanPosition Combine(const MeanPosition& a, const MeanPosition& b);

/// What is known of a station from either source, or both, at that time. Each sighting of the
/// imported one weighs 1. None while it is blocked, or when nothing is known.
std::optional<Station> Combine(const std::optional<ImportedStation>& imported,
                               const std::optional<LearnedStation>& learned, std::int64_t time);

}  // namespace kesu_server

#endif  // SERVER_STORAGE_STATION_H_
