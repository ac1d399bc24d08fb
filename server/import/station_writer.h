#ifndef SERVER_IMPORT_STATION_WRITER_H_
#define SERVER_IMPORT_STATION_WRITER_H_

#include <cstdint>
#include <string>
#include <vector>

#include "server/import/packed_station.h"
#include "server/storage/sqlite_connection.h"
#include "server/storage/station.h"

namespace kesu_server {

/// Puts stations into the tables, in the order of their keys, so that pages are filled one after
/// another. Sightings of an access point are combined with each other and with what is there; of
/// cells the newest counts. Areas of cells are computed anew where one of their cells changes. To
/// be used within a transaction.
class StationWriter {
 public:
  explicit StationWriter(SqliteConnection* connection);

  /// Not less than the one before by its key. False when the database fails.
  bool Put(const PackedStation& station);
  /// To be called at the end.
  bool Finish();

 private:
  bool Flush();
  bool Write(const ImportedStation& station, bool is_newer_enough);
  bool WriteArea();

  SqliteConnection* connection_;
  SqliteStatement insert_access_point_;
  SqliteStatement replace_access_point_;
  SqliteStatement find_access_point_;
  SqliteStatement insert_cell_;
  SqliteStatement replace_cell_;
  SqliteStatement find_cell_;
  SqliteStatement cells_of_area_;
  std::vector<PackedStation> group_;
  std::int64_t area_ = 0;
};

}  // namespace kesu_server

#endif  // SERVER_IMPORT_STATION_WRITER_H_
