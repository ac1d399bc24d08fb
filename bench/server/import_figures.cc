#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "groups.h"
#include "processes.h"

namespace kesu_server_bench {
namespace {

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

double BytesPerStation(const std::string& database, std::int64_t stations) {
  return static_cast<double>(std::filesystem::file_size(database)) / static_cast<double>(stations);
}

}  // namespace

void MeasureImport(std::int64_t cells, Report* report) {
  const std::string folder = std::string(KESU_BENCH_FOLDER) + "/import";
  std::filesystem::remove_all(folder);
  std::filesystem::create_directories(folder);
  const std::string file = folder + "/cells.csv";
  const std::string database = folder + "/cells.db";
  const std::string of_shell = folder + "/shell.db";
  WriteCells(file, cells);
  // With many, one round takes minutes, and small matters make no difference any more.
  constexpr std::int64_t kManyCells = 1'000'000;
  const int rounds = cells > kManyCells ? 1 : 5;
  double ours = 1e9;
  double theirs = 1e9;
  for (int round = 0; round < rounds; ++round) {
    std::filesystem::remove(of_shell);
    std::filesystem::remove(database);
    theirs = std::min(
        theirs, RunCommand("sqlite3 " + of_shell + " '.mode csv' '.import " + file + " cell'"));
    ours = std::min(ours, RunCommand(std::string(KESU_DATA_PATH) + " import cells " + file +
                                     " --database " + database + " 2>/dev/null"));
  }
  const std::string what = std::to_string(cells) + " cells";
  report->Add("import of " + what, ours, "s");
  report->Add("sqlite3 .import of the same file", theirs, "s");
  report->Add("import beside sqlite3 .import, by processor time", ours / theirs, "x", AtMost(2));
  report->Add("a cell on disk", BytesPerStation(database, cells), "bytes", AtMost(80));
  std::filesystem::remove_all(folder);
}

void MeasureDisk(const InventedWorld& world, Report* report) {
  report->Add("an invented station on disk, one of " + std::to_string(world.stations()),
              BytesPerStation(world.database(), world.stations()), "bytes", AtMost(80));
}

}  // namespace kesu_server_bench
