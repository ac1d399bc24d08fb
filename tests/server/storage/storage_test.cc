#include "server/storage/storage.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <doctest/doctest.h>
#include <unistd.h>

#include "server/storage/position_units.h"
#include "server/storage/postgres_storage.h"
#include "server/storage/sqlite_storage.h"

using namespace kesu_server;

namespace {

constexpr std::int64_t kNow = 1'700'000'000;

/// A folder that goes with this object.
struct Folder {
  Folder() { REQUIRE(mkdtemp(path.data()) != nullptr); }
  ~Folder() { std::filesystem::remove_all(path); }

  std::string path = "/tmp/kesu-storage-XXXXXX";
};

std::unique_ptr<SqliteStorage> Open(const std::string& path, SqliteStorage::Mode mode) {
  std::string error;
  auto storage = SqliteStorage::Open(path, mode, &error, [] { return kNow; });
  CHECK_MESSAGE(storage != nullptr, error);
  return storage;
}

/// A fresh database of either kind, of which several storages can be opened.
struct Database {
  virtual ~Database() = default;
  virtual std::unique_ptr<Storage> OpenStorage(bool may_learn) = 0;
  virtual bool Execute(const std::string& sql) = 0;
};

struct SqliteDatabase final : Database {
  std::unique_ptr<Storage> OpenStorage(bool may_learn) override {
    return Open(path, may_learn ? SqliteStorage::Mode::kCreate : SqliteStorage::Mode::kRead);
  }
  bool Execute(const std::string& sql) override {
    // Its R*Trees keep boxes.
    const bool is_place = sql.starts_with("INSERT INTO place");
    return Open(path, SqliteStorage::Mode::kWrite)
        ->connection()
        ->Execute(is_place
                      ? "CREATE TEMP TABLE point(id, a, o, n, r, c); INSERT INTO temp.point" +
                            sql.substr(std::string("INSERT INTO place").size()) +
                            "; INSERT INTO place SELECT id, a, a, o, o, n, r, c FROM temp.point"
                      : sql);
  }

  Folder folder;
  std::string path = folder.path + "/a.db";
};

struct PostgresDatabase final : Database {
  explicit PostgresDatabase(std::string where) : url(std::move(where)) {
    std::string error;
    const auto target = PostgresTarget::Parse(url, PostgresTarget::Purpose::kWrite, &error);
    PostgresConnection connection(target.value(), "");
    REQUIRE(connection.Open());
    REQUIRE(connection.Execute("DROP SCHEMA IF EXISTS kesu CASCADE"));
  }
  std::unique_ptr<Storage> OpenStorage(bool may_learn) override { return OpenPostgres(may_learn); }
  std::unique_ptr<PostgresStorage> OpenPostgres(bool may_learn) const {
    std::string error;
    auto storage = PostgresStorage::Open(
        url, may_learn ? PostgresStorage::Mode::kCreate : PostgresStorage::Mode::kRead, 10, &error,
        [] { return kNow; });
    CHECK_MESSAGE(storage != nullptr, error);
    return storage;
  }
  bool Execute(const std::string& sql) override {
    const auto storage = OpenPostgres(true);
    return storage->connection()->Execute("SET search_path = kesu; " + sql);
  }

  std::string url;
};

/// SQLite, and PostgreSQL where the environment says that there is one to be used.
std::vector<std::unique_ptr<Database>> FreshDatabases() {
  std::vector<std::unique_ptr<Database>> databases;
  databases.push_back(std::make_unique<SqliteDatabase>());
  const char* const url = std::getenv("KESU_TEST_DATABASE");
  if (url != nullptr) databases.push_back(std::make_unique<PostgresDatabase>(url));
  return databases;
}

StationKey Cell(RadioType radio, std::int64_t id = 7) {
  return CellKey({262, 1, 5, id, radio}).value();
}

std::vector<std::optional<Station>> Find(Storage* storage, const std::vector<StationKey>& keys) {
  std::vector<std::optional<Station>> found;
  CHECK(storage->FindStations(keys, &found));
  REQUIRE(found.size() == keys.size());
  return found;
}

}  // namespace

TEST_CASE("keys of cells are packed as their layout says, to the last bit") {
  struct {
    CellIdentity cell;
    std::int64_t area, id;
  } const rows[] = {
      {{1, 0, 0, 0}, std::int64_t{1} << 39, 0},
      {{999, 32767, 0xFFFFFF, 0xFFFFFFFFF, RadioType::kCdma}, 0x1F3FFFFFFFFFF, 0x7FFFFFFFFD},
      {{262, 1, 2, 3, RadioType::kLte}, 0x830001000002, 27},
  };
  for (const auto& [cell, area, id] : rows) {
    const std::optional<StationKey> key = CellKey(cell);
    REQUIRE(key);
    CHECK(key->area == area);
    CHECK(key->id == id);
    const CellIdentity again = CellOf(*key);
    CHECK(again.mcc == cell.mcc);
    CHECK(again.mnc == cell.mnc);
    CHECK(again.area_code == cell.area_code);
    CHECK(again.cell_id == cell.cell_id);
    CHECK(again.radio == cell.radio);
  }
  constexpr std::int64_t kHuge = std::numeric_limits<std::int64_t>::max();
  for (const CellIdentity& cell : {CellIdentity{0, 1, 1, 1},
                                   {1000, 1, 1, 1},
                                   {-1, 1, 1, 1},
                                   {1, -1, 1, 1},
                                   {1, 32768, 1, 1},
                                   {1, 1, -1, 1},
                                   {1, 1, 0x1000000, 1},
                                   {1, 1, 1, -1},
                                   {1, 1, 1, 0x1000000000},
                                   {kHuge, 1, 1, 1},
                                   {1, kHuge, 1, 1},
                                   {1, 1, kHuge, 1},
                                   {1, 1, 1, kHuge}}) {
    CHECK_FALSE(CellKey(cell));
  }
}

TEST_CASE("a cell is found by its radio type, or without one where that is not known") {
  for (const std::unique_ptr<Database>& database : FreshDatabases()) {
    const auto storage = database->OpenStorage(true);
    REQUIRE(database->Execute(
        "INSERT INTO cell(area, id, latitude, longitude, radius, samples, updated) VALUES"
        // Of cell 7 as GSM and LTE, of 8 as UMTS, of 9 of an unknown type; and of their area.
        "(144036040015877, 57, 100000000, 0, 0, 1, 0), (144036040015877, 59, 200000000, 0, 0, 1, "
        "0),"
        "(144036040015877, 66, 300000000, 0, 0, 1, 0), (144036040015877, 72, 400000000, 0, 0, 1, "
        "0),"
        "(144036040015877, -1, 500000000, 0, 0, 1, 0)"));
    struct {
      StationKey key;
      double latitude;  // 0 where nothing is to be found
    } const rows[] = {
        {Cell(RadioType::kGsm), 10},        {Cell(RadioType::kLte), 20},
        {Cell(RadioType::kNr), 0},          {Cell(RadioType::kUnknown), 10},
        {Cell(RadioType::kUnknown, 8), 30}, {Cell(RadioType::kCdma, 9), 40},
        {Cell(RadioType::kUnknown, 10), 0}, {*AreaKey(Cell(RadioType::kGsm)), 50},
    };
    std::vector<StationKey> keys;
    for (const auto& row : rows) keys.push_back(row.key);
    const auto found = Find(storage.get(), keys);
    for (std::size_t i = 0; i < found.size(); ++i) {
      CHECK((found[i] ? found[i]->position.latitude : 0) == doctest::Approx(rows[i].latitude));
    }
  }
}

TEST_CASE(
    "what was imported and what was learned is combined, and blocked stations are not there") {
  for (const std::unique_ptr<Database>& database : FreshDatabases()) {
    const auto storage = database->OpenStorage(true);
    REQUIRE(database->Execute(
        "INSERT INTO access_point(mac, latitude, longitude, radius, samples, updated) VALUES"
        "(1, 0, 1799999000, 10, 3, 0), (2, 0, 0, 0, 1, 0), (3, 0, 0, 0, 1, 0),"
        "(5, 910000000, 0, 0, 1, 0)"));
    const auto learned = [](std::int64_t mac, double weight, std::int64_t blocked_until) {
      LearnedStation station;
      station.key = {0, mac};
      station.weight_sum = weight;
      station.position = {0, -179.9999};
      station.radius_m = 20;
      station.blocked_until = blocked_until;
      return station;
    };
    const std::vector<LearnedStation> stations = {learned(1, 1, kNow), learned(2, 0, 0),
                                                  learned(3, 1, kNow + 1), learned(4, 5, 0)};
    REQUIRE(storage->StoreLearned(stations));
    const auto found = Find(storage.get(), {{0, 1}, {0, 2}, {0, 3}, {0, 4}, {0, 5}});
    // A quarter of the way across the antimeridian; 0.0001 degrees are 11.12 m.
    REQUIRE(found[0]);
    CHECK(found[0]->position.longitude == doctest::Approx(179.99995).epsilon(1e-9));
    CHECK(found[0]->radius_m == doctest::Approx(50));
    REQUIRE(found[1]);
    CHECK(found[1]->position.longitude == 0);
    CHECK_FALSE(found[2]);
    REQUIRE(found[3]);
    CHECK(found[3]->position.longitude == -179.9999);
    // Its position is not on earth.
    CHECK_FALSE(found[4]);
  }
}

TEST_CASE("the nearest places are found on every part of the earth") {
  for (const std::unique_ptr<Database>& database : FreshDatabases()) {
    const auto storage = database->OpenStorage(true);
    REQUIRE(database->Execute(
        "INSERT INTO place VALUES (1, 0, 1799000000, 'West', '', 'X'), (2, 0, -1798000000, 'East',"
        " '', 'X'), (3, 899000000, 900000000, 'Pole', '', 'X'), (4, 600000000, 0, 'North', '',"
        " 'X'), (5, 595000000, 9000000, 'South', '', 'X'), (6, -899900000, 0, 'Ice', '', 'X')"));
    struct {
      LatLng point;
      int count;
      double radius_m;
      std::vector<std::string> names;
    } const rows[] = {
        // Across the antimeridian; 0.1 degrees are 11.12 km.
        {{0, 179.99}, 2, 300'000, {"West", "East"}},
        {{0, -179.9}, 2, 300'000, {"East", "West"}},
        {{0, -179.9}, 2, 12'000, {"East"}},
        // Beyond the pole, and at a pole itself, where every longitude is near.
        {{89.95, -90}, 1, 20'000, {"Pole"}},
        {{90, 0}, 1, 11'200, {"Pole"}},
        {{90, 0}, 1, 11'100, {}},
        {{-90, 180}, 1, 2'000, {"Ice"}},
        // A degree of longitude is half as long here: by degrees the northern one would be nearer.
        {{59.6, 0.48}, 1, 300'000, {"South"}},
        {{30, 30}, 3, 300'000, {}},
        {{30, 30}, 1, kHalfCircumferenceM, {"South"}},
    };
    for (const auto& row : rows) {
      std::vector<NearbyPlace> places;
      REQUIRE(storage->NearestPlaces(row.point, row.count, row.radius_m, &places));
      std::vector<std::string> names;
      for (const NearbyPlace& nearby : places) names.push_back(nearby.place.name);
      CHECK(names == row.names);
    }
  }
}

TEST_CASE("what is learned goes in as a whole, is there for other connections, and lasts") {
  for (const std::unique_ptr<Database>& database : FreshDatabases()) {
    const auto writer = database->OpenStorage(true);
    const auto reader = database->OpenStorage(false);
    const std::vector<StationKey> keys = {{0, 1}, Cell(RadioType::kLte)};
    for (int round = 1; round <= 2; ++round) {
      CHECK(writer->Learn(keys, [&](std::vector<LearnedStation>* stations) {
        REQUIRE(stations->size() == 2);
        for (std::size_t i = 0; i < keys.size(); ++i) {
          CHECK((*stations)[i].key == keys[i]);
          CHECK((*stations)[i].weight_sum == round - 1);
          (*stations)[i].weight_sum += 1;
          (*stations)[i].blocked_until = kBlockedForGood;
        }
      }));
    }
    std::vector<std::optional<LearnedStation>> learned;
    REQUIRE(reader->LoadLearned(keys, &learned));
    for (const auto& station : learned) {
      REQUIRE(station);
      CHECK(station->weight_sum == 2);
      CHECK(station->IsBlockedAt(kNow));
    }
    CHECK(reader->Counts().value().learned_stations == 2);
  }
}

TEST_CASE("no place is nearer than the nearest, wherever one is") {
  std::mt19937 generator(7);
  const auto number = [&](double low, double high) {
    return low + (high - low) * static_cast<double>(generator()) / 4294967296.0;
  };
  const auto anywhere = [&] {
    const double most = number(0, 1) < 0.3 ? 90 : 5;
    return LatLng{
        number(0, 1) < 0.2 ? number(85, 90) : number(-most, most),
        number(0, 1) < 0.5 ? number(-180, 180) : std::copysign(180 - number(0, 2), number(-1, 1))};
  };
  std::vector<LatLng> positions;
  std::string rows;
  for (int i = 0; i < 500; ++i) {
    const LatLng at = anywhere();
    positions.push_back(FromUnits(ToUnits(at.latitude), ToUnits(at.longitude)));
    rows += (i == 0 ? " (" : ", (") + std::to_string(i) + ", " +
            std::to_string(ToUnits(at.latitude)) + ", " + std::to_string(ToUnits(at.longitude)) +
            ", '', '', '')";
  }
  std::vector<LatLng> points;
  while (points.size() < 200) points.push_back(anywhere());
  for (const std::unique_ptr<Database>& database : FreshDatabases()) {
    const auto storage = database->OpenStorage(true);
    REQUIRE(database->Execute("INSERT INTO place VALUES" + rows));
    for (const LatLng& point : points) {
      std::vector<double> distances_m;
      for (const LatLng& position : positions) distances_m.push_back(DistanceM(point, position));
      std::sort(distances_m.begin(), distances_m.end());
      std::vector<NearbyPlace> places;
      REQUIRE(storage->NearestPlaces(point, 3, 2'000'000, &places));
      for (std::size_t i = 0; i < 3 && distances_m[i] < 1'999'999; ++i) {
        REQUIRE(places.size() > i);
        CHECK(places[i].distance_m == doctest::Approx(distances_m[i]));
      }
    }
  }
}

TEST_CASE("several learn the same at a time, in any order, and nothing is lost") {
  for (const std::unique_ptr<Database>& database : FreshDatabases()) {
    database->OpenStorage(true);
    constexpr int kLearners = 3;
    constexpr int kRounds = 20;
    std::vector<StationKey> keys;
    for (std::int64_t i = 1; i <= 10; ++i) keys.push_back({0, i});
    std::vector<std::thread> learners;
    for (int i = 0; i < kLearners; ++i) {
      std::shared_ptr<Storage> storage = database->OpenStorage(true);
      std::rotate(keys.begin(), keys.begin() + 3, keys.end());
      learners.emplace_back([storage, keys] {
        const auto add = [](std::vector<LearnedStation>* stations) {
          for (LearnedStation& station : *stations) station.weight_sum += 1;
        };
        for (int round = 0; round < kRounds;) round += static_cast<int>(storage->Learn(keys, add));
      });
    }
    for (std::thread& learner : learners) learner.join();
    std::vector<std::optional<LearnedStation>> learned;
    REQUIRE(database->OpenStorage(false)->LoadLearned(keys, &learned));
    for (const auto& station : learned) CHECK(station.value().weight_sum == kLearners * kRounds);
  }
}

TEST_CASE("who only reads cannot change anything") {
  SqliteDatabase database;
  database.OpenStorage(true);
  const auto reader = database.OpenStorage(false);
  CHECK_FALSE(reader->StoreLearned(std::vector<LearnedStation>(1)));
  CHECK_FALSE(reader->error().empty());
}

TEST_CASE("files that are no database of this version are refused with a reason") {
  const Folder folder;
  const std::string path = folder.path + "/a.db";
  Open(path, SqliteStorage::Mode::kCreate);
  struct {
    const char* change;
    const char* reason;
  } const rows[] = {
      {"PRAGMA user_version = 2", "has version 2 of the tables, and only 1 is known here"},
      {"PRAGMA application_id = 1", "a database of another program"},
      {"CREATE VIEW extra AS SELECT 1", "has other tables than it should"},
      {"CREATE TRIGGER t AFTER INSERT ON cell BEGIN SELECT 1; END", "has other tables"},
      {"DROP TABLE learned", "has other tables than it should"},
      {nullptr, "file is not a database"},
  };
  for (const auto& [change, reason] : rows) {
    const std::string changed = folder.path + "/b.db";
    std::filesystem::copy_file(path, changed, std::filesystem::copy_options::overwrite_existing);
    if (change == nullptr) {
      std::ofstream(changed)
          << "no database, but a text that is long enough to be looked at as one "
             "by whoever opens it to see what it is";
    } else {
      SqliteConnection connection;
      REQUIRE(connection.Open(changed, SqliteConnection::Mode::kWrite));
      REQUIRE(connection.Execute(change));
    }
    std::string error;
    CHECK(SqliteStorage::Open(changed, SqliteStorage::Mode::kRead, &error) == nullptr);
    CHECK_MESSAGE(error.find(reason) != std::string::npos, error);
    CHECK(error.starts_with(changed));
  }
}
