#include "server/storage/open_storage.h"

#include "kesu/common/base/assertions.h"

#include "server/storage/data_set.h"
#include "server/storage/demonstration.h"
#include "server/storage/immediate_lookup.h"
#include "server/storage/postgres_lookup.h"
#include "server/storage/postgres_storage.h"
#include "server/storage/postgres_target.h"
#include "server/storage/sqlite_storage.h"

namespace kesu_server {
namespace {

/// Several learn at a time, each in a thread that nobody waits for.
constexpr int kLearnersPatienceMs = 5'000;

bool IsPostgres(const DataSource& source) {
  return source.database && IsPostgresUrl(*source.database);
}

}  // namespace

DataSource ToLearnIn(const DataSource& source) {
  DataSource writable = source;
  writable.may_learn = true;
  return writable;
}

std::unique_ptr<Storage> OpenStorage(const DataSource& source, std::string* error) {
  if (IsPostgres(source)) {
    return PostgresStorage::Open(
        *source.database,
        source.may_learn ? PostgresStorage::Mode::kCreate : PostgresStorage::Mode::kRead,
        source.timeout_s, error);
  }
  if (source.database) {
    auto storage = SqliteStorage::Open(
        *source.database,
        source.may_learn ? SqliteStorage::Mode::kCreate : SqliteStorage::Mode::kRead, error);
    if (storage && source.may_learn) storage->connection()->set_patience_ms(kLearnersPatienceMs);
    return storage;
  }
  const std::optional<DataSet> data =
      source.directory ? ReadDataDirectory(*source.directory, error) : BuiltInData();
  if (!data) return nullptr;
  auto storage = SqliteStorage::Open(":memory:", SqliteStorage::Mode::kCreate, error);
  if (!storage || !LoadDataSet(*data, storage.get(), error)) return nullptr;
  return storage;
}

std::unique_ptr<Lookup> NewLookup(const DataSource& source, std::unique_ptr<Storage> storage,
                                  std::function<void(const std::string& line)> report) {
  if (IsPostgres(source)) {
    std::string error;
    auto target = PostgresTarget::Parse(*source.database, PostgresTarget::Purpose::kRead, &error);
    // The storage has been opened with it.
    GWASSERT(target);
    return std::make_unique<PostgresLookup>(
        *std::move(target),
        PostgresLookup::Limits{source.timeout_s, static_cast<std::size_t>(source.connections)},
        std::move(report));
  }
  return std::make_unique<ImmediateLookup>(std::move(storage));
}

std::string CautionAbout(const DataSource& source, Storage* storage) {
  if (source.database) {
    const std::optional<StorageCounts> counts = storage->Counts();
    return counts && counts->has_invented_data ? "the database has invented stations in it\n" : "";
  }
  if (source.directory) return {};
  return "built-in data: a public-domain list of places, synthetic cells and access points\n";
}

}  // namespace kesu_server
