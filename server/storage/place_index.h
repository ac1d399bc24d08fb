#ifndef SERVER_STORAGE_PLACE_INDEX_H_
#define SERVER_STORAGE_PLACE_INDEX_H_

#include <optional>
#include <string>

#include "server/geo/geodesy.h"
#include "server/storage/data_set.h"
#include "server/storage/sqlite_database.h"

namespace kesu_server {

struct Place {
  LatLng position;
  std::string name;
  std::string country;
};

struct NearbyPlace {
  Place place;
  double distance_m = 0;
};

/// The listed places, to be searched by position.
class PlaceIndex {
 public:
  /// Takes in a table of places; false, and why in `error`, when there is a fault in it. To be
  /// called once.
  bool Load(const DataFile& places, std::string* error);

  /// The place nearest to `position`, which must be on earth, if one is within `radius_m`.
  std::optional<NearbyPlace> Nearest(const LatLng& position, double radius_m);

 private:
  SqliteDatabase database_;
  std::optional<SqliteStatement> search_;
};

}  // namespace kesu_server

#endif  // SERVER_STORAGE_PLACE_INDEX_H_
