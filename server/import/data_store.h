#ifndef SERVER_IMPORT_DATA_STORE_H_
#define SERVER_IMPORT_DATA_STORE_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <variant>

#include "server/import/packed_station.h"
#include "server/storage/place.h"
#include "server/storage/postgres_storage.h"
#include "server/storage/sqlite_storage.h"
#include "server/storage/station.h"

namespace kesu_server {

/// A database that is filled or read as a whole; borrowed.
using DataStore = std::variant<SqliteStorage*, PostgresStorage*>;

Storage* StorageOf(const DataStore& store);
/// What is wrong with the last call that failed.
std::string ErrorOf(const DataStore& store);

/// Puts what is imported into a database. Whoever reads that sees all of it or none.
class Filling {
 public:
  virtual ~Filling() = default;

  /// Each is false when the database fails. A station is not less than the one before by its key:
  /// sightings of an access point are combined with each other and with what is there; of cells the
  /// newest counts. Areas of cells are computed anew where one of their cells changes.
  virtual bool Put(const PackedStation& station) = 0;
  virtual bool PutPlace(std::int64_t id, const Place& place) = 0;
  virtual bool PutAddress(std::int64_t id, const Address& address) = 0;
  virtual bool MarkInvented() = 0;
  /// To be called at the end; without it nothing has happened.
  virtual bool Commit() = 0;
};

/// Null when the database fails. There is one at a time, others wait.
std::unique_ptr<Filling> BeginFilling(const DataStore& store);
std::unique_ptr<Filling> BeginSqliteFilling(SqliteConnection* connection);
std::unique_ptr<Filling> BeginPostgresFilling(PostgresConnection* connection);

/// Each hands over all rows that make sense, as long as `take` is true. False when the database
/// fails, or `take` did.
bool ForEachAccessPoint(const DataStore& store,
                        const std::function<bool(const ImportedStation& station)>& take);
/// Areas are left out.
bool ForEachCell(const DataStore& store,
                 const std::function<bool(const ImportedStation& station)>& take);
bool ForEachPlace(const DataStore& store,
                  const std::function<bool(std::int64_t id, const Place& place)>& take);
bool ForEachAddress(const DataStore& store,
                    const std::function<bool(const Address& address)>& take);

}  // namespace kesu_server

#endif  // SERVER_IMPORT_DATA_STORE_H_
