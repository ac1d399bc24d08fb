#include "server/storage/storage.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <doctest/doctest.h>
#include <unistd.h>

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

std::unique_ptr<SqliteStorage> OpenInMemory() {
  return Open(":memory:", SqliteStorage::Mode::kCreate);
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
  const auto storage = OpenInMemory();
  REQUIRE(storage->connection()->Execute(
      "INSERT INTO cell(area, id, latitude, longitude) VALUES"
      // Of cell 7 as GSM and LTE, of 8 as UMTS, of 9 of an unknown type; and of their area.
      "(0x830001000005, 57, 100000000, 0), (0x830001000005, 59, 200000000, 0),"
      "(0x830001000005, 66, 300000000, 0), (0x830001000005, 72, 400000000, 0),"
      "(0x830001000005, -1, 500000000, 0)"));
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

TEST_CASE(
    "what was imported and what was learned is combined, and blocked stations are not there") {
  const auto storage = OpenInMemory();
  REQUIRE(storage->connection()->Execute(
      "INSERT INTO access_point(mac, latitude, longitude, radius, samples) VALUES"
      "(1, 0, 1799999000, 10, 3), (2, 0, 0, 0, 1), (3, 0, 0, 0, 1), (5, 910000000, 0, 0, 1)"));
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

TEST_CASE("what is learned goes in as a whole, is there for other connections, and lasts") {
  const Folder folder;
  const std::string path = folder.path + "/a.db";
  const auto writer = Open(path, SqliteStorage::Mode::kCreate);
  const auto reader = Open(path, SqliteStorage::Mode::kRead);
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
