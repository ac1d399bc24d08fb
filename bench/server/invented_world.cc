#include "invented_world.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <numbers>
#include <optional>
#include <random>

#include "processes.h"
#include "report.h"
#include "server/storage/sqlite_connection.h"

namespace kesu_server_bench {
namespace {

using kesu_server::SqliteConnection;
using kesu_server::SqliteStatement;

struct AccessPoint {
  std::int64_t mac = 0;
  double north_m = 0;
  double east_m = 0;
  double radius_m = 0;
};

constexpr std::size_t kTownLength = 20'000;
constexpr int kTowns = 300;
constexpr int kLookupsPerTown = 20;

/// The access points of a town have consecutive addresses.
std::vector<AccessPoint> ReadTown(std::int64_t first_mac, SqliteStatement* query) {
  constexpr double kMetresPerUnit = 111'195 / 1e7;
  std::vector<AccessPoint> town;
  query->Bind(1, first_mac);
  double cosine = 0;
  while (town.size() < kTownLength && query->Step()) {
    const double latitude = query->Number(1);
    if (town.empty()) cosine = std::cos(latitude / 1e7 * std::numbers::pi / 180);
    town.push_back({query->Integer(0), latitude * kMetresPerUnit,
                    query->Number(2) * kMetresPerUnit * cosine, query->Number(3)});
  }
  query->Reset();
  return town;
}

/// What is heard beside one of them.
std::optional<Lookup> Hear(const AccessPoint& here, std::vector<AccessPoint>* town,
                           std::mt19937_64* random) {
  const auto distance_m = [&here](const AccessPoint& it) {
    return std::hypot(it.north_m - here.north_m, it.east_m - here.east_m);
  };
  std::nth_element(
      town->begin(), town->begin() + kStationsPerLookup, town->end(),
      [&](const AccessPoint& a, const AccessPoint& b) { return distance_m(a) < distance_m(b); });
  Lookup lookup;
  for (int i = 0; i < kStationsPerLookup; ++i) {
    const AccessPoint& it = (*town)[static_cast<std::size_t>(i)];
    constexpr double kFurthestM = 400;
    if (distance_m(it) > kFurthestM) return std::nullopt;
    const double fading_db = static_cast<double>((*random)() % 11) - 5;
    const double dbm =
        -90 + 30 * std::log10(it.radius_m / std::max(distance_m(it), 3.0)) + fading_db;
    lookup.push_back({it.mac, std::clamp(static_cast<int>(dbm), -100, -30)});
  }
  std::shuffle(lookup.begin(), lookup.end(), *random);
  return lookup;
}

}  // namespace

InventedWorld::InventedWorld(std::int64_t stations)
    : database_(std::string(KESU_BENCH_FOLDER) + "/invented-" + std::to_string(stations) + ".db"),
      stations_(stations) {
  std::filesystem::create_directories(KESU_BENCH_FOLDER);
  if (!std::filesystem::exists(database_)) {
    const std::string half_done = database_ + ".new";
    for (const char* const rest : {"", "-wal", "-shm"}) std::filesystem::remove(half_done + rest);
    RunCommand(std::string(KESU_DATA_PATH) + " synthesize --stations " + std::to_string(stations) +
               " --database " + half_done + " >/dev/null");
    std::filesystem::rename(half_done, database_);
  }
  SqliteConnection connection;
  if (!connection.Open(database_, SqliteConnection::Mode::kRead)) Fail(connection.error());
  const std::int64_t first = connection.Integer("SELECT min(mac) FROM access_point").value_or(0);
  const std::int64_t last = connection.Integer("SELECT max(mac) FROM access_point").value_or(0);
  SqliteStatement query(
      connection, "SELECT mac, latitude, longitude, radius FROM access_point WHERE mac >= ?1");
  std::mt19937_64 random(1);
  for (int i = 0; i < kTowns; ++i) {
    std::vector<AccessPoint> town = ReadTown(first + (last - first) * i / kTowns, &query);
    for (int j = 0; j < kLookupsPerTown && town.size() > 1000; ++j) {
      const AccessPoint here = town[random() % town.size()];
      if (const auto lookup = Hear(here, &town, &random)) lookups_.push_back(*lookup);
    }
  }
  if (lookups_.size() < 1000) Fail("too few lookups in " + database_);
  std::shuffle(lookups_.begin(), lookups_.end(), random);
}

}  // namespace kesu_server_bench
