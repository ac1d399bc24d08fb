#ifndef SERVER_STORAGE_SQLITE_STORAGE_H_
#define SERVER_STORAGE_SQLITE_STORAGE_H_

#include <cstdint>
#include <ctime>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "server/storage/sqlite_connection.h"
#include "server/storage/storage.h"

namespace kesu_server {

/// A SQLite 3 database with the tables of sqlite_schema.h. Any number of processes read it while
/// one changes it.
class SqliteStorage final : public Storage {
 public:
  using Mode = SqliteConnection::Mode;
  /// Yields seconds since 1970.
  using Clock = std::function<std::int64_t()>;

  /// Null, and why in `error`, when `path` cannot be opened or is no database of ours. ":memory:"
  /// and a file that is not there or empty get the tables with Mode::kCreate. LoadLearned(),
  /// StoreLearned() and Learn() that change something fail with Mode::kRead.
  static std::unique_ptr<SqliteStorage> Open(
      const std::string& path, Mode mode, std::string* error,
      Clock clock = [] { return std::int64_t{std::time(nullptr)}; });
  ~SqliteStorage() override;

  bool FindStations(std::span<const StationKey> keys,
                    std::vector<std::optional<Station>>* stations) override;
  bool NearestPlaces(const LatLng& point, int count, double radius_m,
                     std::vector<NearbyPlace>* places) override;
  bool NearestAddresses(const LatLng& point, int count, double radius_m,
                        std::vector<NearbyAddress>* addresses) override;
  bool LoadLearned(std::span<const StationKey> keys,
                   std::vector<std::optional<LearnedStation>>* stations) override;
  bool StoreLearned(std::span<const LearnedStation> stations) override;
  bool Learn(std::span<const StationKey> keys, const Update& update) override;
  std::optional<StorageCounts> Counts() override;
  const std::string& error() const override { return error_; }

  /// For whoever fills the tables.
  SqliteConnection* connection() { return &connection_; }

 private:
  struct Statements;

  explicit SqliteStorage(Clock clock);

  bool Prepare();
  bool LoadEach(std::span<const StationKey> keys,
                std::vector<std::optional<LearnedStation>>* stations);
  bool StoreEach(std::span<const LearnedStation> stations);
  /// Keeps what went wrong; always false.
  bool Fail();

  SqliteConnection connection_;
  Clock clock_;
  std::unique_ptr<Statements> statements_;
  std::string error_;
};

}  // namespace kesu_server

#endif  // SERVER_STORAGE_SQLITE_STORAGE_H_
