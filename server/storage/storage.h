#ifndef SERVER_STORAGE_STORAGE_H_
#define SERVER_STORAGE_STORAGE_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "server/geo/geodesy.h"
#include "server/storage/learned_station.h"
#include "server/storage/place.h"
#include "server/storage/station.h"
#include "server/storage/station_key.h"

namespace kesu_server {

/// How much there is of each.
struct StorageCounts {
  std::int64_t access_points = 0;
  std::int64_t cells = 0;
  std::int64_t learned_stations = 0;
  std::int64_t places = 0;
  std::int64_t addresses = 0;
  /// Grows with each import.
  std::int64_t data_version = 0;
  /// Some of it was made up.
  bool has_invented_data = false;
};

/// What the server knows about the world. An object belongs to one thread of one process and must
/// not be carried over a fork; any number of them can be open on the same data. Where something
/// fails the result is false or none and error() says why; the next call starts afresh.
class Storage {
 public:
  virtual ~Storage() = default;

  /// One entry for each key, in their order; none where nothing is known of it. What was imported
  /// and what was learned is combined.
  virtual bool FindStations(std::span<const StationKey> keys,
                            std::vector<std::optional<Station>>* stations) = 0;

  /// Those within the radius, the nearest first, at most `count`. `point` must be on earth.
  virtual bool NearestPlaces(const LatLng& point, int count, double radius_m,
                             std::vector<NearbyPlace>* places) = 0;
  virtual bool NearestAddresses(const LatLng& point, int count, double radius_m,
                                std::vector<NearbyAddress>* addresses) = 0;

  /// What has been learned of each key, in their order. A cell of an unknown radio type is here one
  /// of its own.
  virtual bool LoadLearned(std::span<const StationKey> keys,
                           std::vector<std::optional<LearnedStation>>* stations) = 0;
  /// Puts these in place of what was there, all or none.
  virtual bool StoreLearned(std::span<const LearnedStation> stations) = 0;

  using Update = std::function<void(std::vector<LearnedStation>* stations)>;
  /// In one transaction, in which nobody else learns: loads the keys, lets `update` change them,
  /// and stores them. It finds one for each key, in their order, with a weight of 0 and times of 0
  /// where nothing has been learned yet. `keys` has no key twice.
  virtual bool Learn(std::span<const StationKey> keys, const Update& update) = 0;

  virtual std::optional<StorageCounts> Counts() = 0;

  virtual const std::string& error() const = 0;
};

}  // namespace kesu_server

#endif  // SERVER_STORAGE_STORAGE_H_
