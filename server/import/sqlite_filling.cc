#include "server/import/data_store.h"
#include "server/import/station_writer.h"
#include "server/storage/sqlite_rows.h"
#include "server/storage/sqlite_schema.h"

namespace kesu_server {
namespace {

class SqliteFilling final : public Filling {
 public:
  explicit SqliteFilling(SqliteConnection* connection)
      : connection_(connection),
        transaction_(connection, SqliteTransaction::Kind::kWrite),
        stations_(connection),
        insert_place_(*connection, kInsertPlace),
        insert_address_(*connection, kInsertAddress) {}

  bool has_begun() const { return transaction_.has_begun(); }

  bool Put(const PackedStation& station) override { return stations_.Put(station); }
  bool PutPlace(std::int64_t id, const Place& place) override {
    BindPlace(id, place, &insert_place_);
    return insert_place_.Run();
  }
  bool PutAddress(std::int64_t id, const Address& address) override {
    BindAddress(id, address, &insert_address_);
    return insert_address_.Run();
  }
  bool MarkInvented() override {
    return connection_->Execute("UPDATE meta SET value = 1 WHERE name = 'invented'");
  }
  bool Commit() override {
    if (!stations_.Finish() || !CountRows(connection_) || !transaction_.Commit()) return false;
    // Not done while somebody still reads the older state; then a later one does it.
    connection_->Execute("PRAGMA wal_checkpoint(TRUNCATE)");
    return true;
  }

 private:
  SqliteConnection* connection_;
  SqliteTransaction transaction_;
  StationWriter stations_;
  SqliteStatement insert_place_;
  SqliteStatement insert_address_;
};

}  // namespace

std::unique_ptr<Filling> BeginSqliteFilling(SqliteConnection* connection) {
  auto filling = std::make_unique<SqliteFilling>(connection);
  if (!filling->has_begun()) return nullptr;
  return filling;
}

}  // namespace kesu_server
