#ifndef SERVER_STORAGE_POSTGRES_STORAGE_H_
#define SERVER_STORAGE_POSTGRES_STORAGE_H_

#include <cstdint>
#include <ctime>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "server/storage/postgres_connection.h"
#include "server/storage/storage.h"

namespace kesu_server {

/// A database of PostgreSQL's, for those who can wait for it. Any number of processes on any number
/// of machines read and learn at the same time.
class PostgresStorage final : public Storage {
 public:
  /// kRead: any host will do. kWrite, kCreate: the one that takes changes; kCreate also makes the
  /// tables where they are not there.
  enum class Mode { kRead, kWrite, kCreate };
  using Clock = std::function<std::int64_t()>;

  /// `url` is what libpq takes. Null, and why in `error`, when no host answers or the tables are
  /// not those of this version. `time_limit_s` is for each statement, 0 for any.
  static std::unique_ptr<PostgresStorage> Open(
      const std::string& url, Mode mode, int time_limit_s, std::string* error,
      Clock clock = [] { return std::int64_t{std::time(nullptr)}; });

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
  const std::string& error() const override { return connection_.error(); }

  /// For whoever fills the tables.
  PostgresConnection* connection() { return &connection_; }

 private:
  PostgresStorage(PostgresTarget target, std::string settings, Clock clock)
      : connection_(std::move(target), std::move(settings)), clock_(std::move(clock)) {}

  bool CreateSchema();
  bool CheckSchema(std::string* error);
  bool Store(std::span<const LearnedStation> stations);

  PostgresConnection connection_;
  Clock clock_;
};

}  // namespace kesu_server

#endif  // SERVER_STORAGE_POSTGRES_STORAGE_H_
