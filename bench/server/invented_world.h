#ifndef SERVER_BENCH_INVENTED_WORLD_H_
#define SERVER_BENCH_INVENTED_WORLD_H_

#include <cstdint>
#include <string>
#include <vector>

namespace kesu_server_bench {

constexpr int kStationsPerLookup = 20;

struct HeardAccessPoint {
  std::int64_t mac = 0;
  int dbm = 0;
};
/// What one device hears at one spot.
using Lookup = std::vector<HeardAccessPoint>;

/// A database of invented stations, made by kesu-data, and devices among them.
class InventedWorld {
 public:
  /// The database is made in the build folder, and stays there for the next run.
  explicit InventedWorld(std::int64_t stations);

  const std::string& database() const { return database_; }
  std::int64_t stations() const { return stations_; }
  /// Devices all over the world, each of which hears the access points nearest to it.
  const std::vector<Lookup>& lookups() const { return lookups_; }

 private:
  std::string database_;
  std::int64_t stations_ = 0;
  std::vector<Lookup> lookups_;
};

}  // namespace kesu_server_bench

#endif  // SERVER_BENCH_INVENTED_WORLD_H_
