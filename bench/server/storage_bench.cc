// What the storage costs: importing a file beside the sqlite3 shell's own import of it, the size of
// a station on disk, and looking stations up beside bare prepared reads. Prints a line for each
// figure and its goal.
#include <algorithm>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include <sys/resource.h>
#include <unistd.h>

#include "server/storage/sqlite_storage.h"

namespace {

using kesu_server::SqliteConnection;
using kesu_server::SqliteStatement;
using kesu_server::SqliteStorage;
using kesu_server::SqliteTransaction;
using kesu_server::Station;
using kesu_server::StationKey;

constexpr int kRounds = 5;
constexpr int kStationsPerLookup = 20;

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

double ChildSeconds() {
  rusage usage = {};
  getrusage(RUSAGE_CHILDREN, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

double OwnSeconds() {
  timespec time = {};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

/// The processor time of a command, which must succeed.
double Run(const std::string& command) {
  const double before = ChildSeconds();
  if (std::system(command.c_str()) != 0) {
    std::fprintf(stderr, "failed: %s\n", command.c_str());
    std::exit(EXIT_FAILURE);
  }
  return ChildSeconds() - before;
}

/// Cells in no order, as an export of a database has them.
void WriteCells(const std::string& path, std::int64_t count) {
  std::mt19937_64 random(1);
  std::ofstream out(path);
  out << "radio,mcc,net,area,cell,unit,lon,lat,range,samples,changeable,created,updated,"
         "averageSignal\n";
  char line[160];
  for (std::int64_t i = 0; i < count; ++i) {
    const std::uint64_t cell = random();
    std::snprintf(line, sizeof line, "%s,%u,%u,%u,%u,%u,%.6f,%.6f,%u,%u,1,%u,%u,0\n",
                  i % 3 == 0 ? "GSM" : "LTE", 200 + unsigned(cell % 40), unsigned(cell >> 8 & 7),
                  unsigned(cell >> 16 & 0xFF), unsigned(cell >> 36), unsigned(cell & 0x1FF),
                  static_cast<double>(random() % 360'000'000) / 1e6 - 180,
                  static_cast<double>(random() % 160'000'000) / 1e6 - 80, unsigned(random() % 5000),
                  unsigned(random() % 100), 1'400'000'000 + unsigned(i),
                  1'500'000'000 + unsigned(i));
    out << line;
  }
}

void BenchImport(const std::string& folder, std::int64_t count) {
  const std::string file = folder + "/cells.csv";
  const std::string database = folder + "/cells.db";
  WriteCells(file, count);
  std::vector<double> ours, theirs;
  for (int round = 0; round < kRounds; ++round) {
    theirs.push_back(
        Run("sqlite3 " + folder + "/shell.db '.mode csv' '.import " + file + " cell'"));
    std::filesystem::remove(folder + "/shell.db");
    std::filesystem::remove(database);
    ours.push_back(Run(std::string(KESU_DATA_PATH) + " import cells " + file + " --database " +
                       database + " 2>/dev/null"));
  }
  std::printf("import, %" PRId64
              " cells: %.2f s of processor time, sqlite3 .import %.2f s: "
              "%.2f times (goal at most 2)\n",
              count, Median(ours), Median(theirs), Median(ours) / Median(theirs));
  std::printf(
      "a cell on disk: %.1f bytes (goal at most 80)\n",
      static_cast<double>(std::filesystem::file_size(database)) / static_cast<double>(count));
}

/// The keys of random access points that synthesize makes.
std::vector<StationKey> RandomKeys(std::int64_t access_points, std::mt19937_64* random) {
  std::vector<StationKey> keys;
  for (int i = 0; i < kStationsPerLookup; ++i) {
    const auto number = static_cast<std::int64_t>((*random)() % std::uint64_t(access_points));
    keys.push_back({0, 0x00005E800000 + number});
  }
  return keys;
}

double MicrosecondsPerLookup(std::int64_t access_points,
                             const std::function<void(const std::vector<StationKey>&)>& lookup) {
  constexpr int kLookups = 20'000;
  std::mt19937_64 random(7);
  const double before = OwnSeconds();
  for (int i = 0; i < kLookups; ++i) lookup(RandomKeys(access_points, &random));
  return (OwnSeconds() - before) / kLookups * 1e6;
}

void BenchLookup(const std::string& folder, std::int64_t count) {
  const std::string path = folder + "/invented.db";
  Run(std::string(KESU_DATA_PATH) + " synthesize --stations " + std::to_string(count) +
      " --database " + path + " >/dev/null");
  std::printf("an invented station on disk: %.1f bytes (goal at most 80)\n",
              static_cast<double>(std::filesystem::file_size(path)) / static_cast<double>(count));
  const std::int64_t access_points = std::min<std::int64_t>(count * 3 / 4, 1 << 23);

  std::string error;
  const auto storage = SqliteStorage::Open(path, SqliteStorage::Mode::kRead, &error);
  SqliteConnection bare;
  if (!storage || !bare.Open(path, SqliteConnection::Mode::kRead)) std::exit(EXIT_FAILURE);
  SqliteStatement read(bare,
                       "SELECT latitude, longitude, radius, samples FROM access_point"
                       " WHERE mac = ?1");
  std::int64_t sum = 0;
  const auto read_all = [&](const std::vector<StationKey>& keys) {
    for (const StationKey& key : keys) {
      read.Bind(1, key.id);
      while (read.Step())
        sum += read.Integer(0) + read.Integer(1) + read.Integer(2) + read.Integer(3);
      read.Reset();
    }
  };
  std::vector<std::optional<Station>> found;
  std::vector<double> nothing, ours, one_by_one, together;
  for (int round = 0; round < kRounds; ++round) {
    nothing.push_back(MicrosecondsPerLookup(access_points, [](const auto&) {}));
    ours.push_back(MicrosecondsPerLookup(access_points, [&](const auto& keys) {
      if (!storage->FindStations(keys, &found) || !found[0]) std::exit(EXIT_FAILURE);
    }));
    one_by_one.push_back(MicrosecondsPerLookup(access_points, read_all));
    together.push_back(MicrosecondsPerLookup(access_points, [&](const auto& keys) {
      SqliteTransaction transaction(&bare, SqliteTransaction::Kind::kRead);
      read_all(keys);
      transaction.Commit();
    }));
  }
  const double keys = Median(nothing);
  const double lookup = Median(ours) - keys;
  std::printf("a lookup of %d of %" PRId64
              " stations: %.1f us; the bare reads in one transaction "
              "%.1f us: %.2f times (goal at most 2); each on its own %.1f us: %.2f times\n",
              kStationsPerLookup, count, lookup, Median(together) - keys,
              lookup / (Median(together) - keys), Median(one_by_one) - keys,
              lookup / (Median(one_by_one) - keys));
  if (sum == 0) std::exit(EXIT_FAILURE);
}

}  // namespace

int main(int argc, char** argv) {
  const std::int64_t count = argc > 1 ? std::strtoll(argv[1], nullptr, 10) : 1'000'000;
  std::string folder = (std::filesystem::temp_directory_path() / "kesu-bench-XXXXXX").string();
  if (count < 1000 || mkdtemp(folder.data()) == nullptr) return EXIT_FAILURE;
  BenchImport(folder, count);
  BenchLookup(folder, count);
  std::filesystem::remove_all(folder);
  return EXIT_SUCCESS;
}
