#ifndef SERVER_STORAGE_STATION_INDEX_H_
#define SERVER_STORAGE_STATION_INDEX_H_

#include <optional>
#include <string>
#include <string_view>

#include "server/geo/geodesy.h"
#include "server/geo/radio_model.h"
#include "server/storage/data_set.h"
#include "server/storage/sqlite_database.h"

namespace kesu_server {

/// A transmitter whose position is known.
struct Station {
  LatLng position;
  RadioModel model;
  /// The weakest signal with which a handset still notices it.
  double sensitivity_dbm = 0;
};

/// The name of a cell among all stations.
std::string CellKey(int mcc, int mnc, int area_code, int cell_id);
/// The name of an access point among all stations; empty when this is no MAC address. Any common
/// way of writing one will do: twelve hexadecimal digits, in either case, with or without "-", ":"
/// or "." between them.
std::string AccessPointKey(std::string_view mac_address);

/// The known cells and access points.
class StationIndex {
 public:
  /// Takes in both tables; false, and why in `error`, when there is a fault in one. To be called
  /// once.
  bool Load(const DataFile& cells, const DataFile& access_points, std::string* error);

  std::optional<Station> Find(const std::string& key);

 private:
  SqliteDatabase database_;
  std::optional<SqliteStatement> find_;
};

}  // namespace kesu_server

#endif  // SERVER_STORAGE_STATION_INDEX_H_
