#include <algorithm>
#include <clocale>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <glib.h>
#include <unistd.h>

#include "server/import/check.h"
#include "server/import/data_options.h"
#include "server/import/export.h"
#include "server/import/file_import.h"
#include "server/import/formats.h"
#include "server/import/importer.h"
#include "server/import/line_reader.h"
#include "server/import/report_import.h"
#include "server/import/synthesize.h"
#include "server/storage/sqlite_storage.h"
#include "tools/support/standard_files.h"

namespace kesu_server {
namespace {

constexpr int kNothingFound = 1;
constexpr int kUsageError = 2;
constexpr int kFailure = 3;
/// Another import, or a server that learns, may be writing.
constexpr int kPatienceMs = 60'000;

int Fail(const std::string& error) {
  g_printerr("kesu-data: %s\n", error.c_str());
  return kFailure;
}

/// A bar on standard error, if that is a terminal.
class ProgressBar {
 public:
  void Show(std::int64_t position, std::int64_t size) {
    if (!is_terminal_ || size <= 0) return;
    const auto percent = static_cast<int>(std::min<std::int64_t>(position * 100 / size, 100));
    if (percent == shown_) return;
    shown_ = percent;
    constexpr int kWidth = 50;
    const auto done = static_cast<std::size_t>(percent * kWidth / 100);
    g_printerr("\r[%-50s] %3d %%", std::string(done, '=').c_str(), percent);
  }
  void End() {
    if (shown_ >= 0) g_printerr("\r%*s\r", 60, "");
    shown_ = -1;
  }

 private:
  bool is_terminal_ = isatty(STDERR_FILENO) != 0;
  int shown_ = -1;
};

/// Reads a table of names, which is the option's file or else, if it is there, the one of that name
/// beside the first file.
bool ReadNames(const std::string& option, const std::string& first_file, const char* usual_name,
               const std::function<void(std::string_view)>& read, std::string* error) {
  std::string path = option;
  if (path.empty()) {
    const std::size_t slash = first_file.rfind('/');
    path = (slash == std::string::npos ? "" : first_file.substr(0, slash + 1)) + usual_name;
    if (access(path.c_str(), R_OK) != 0) return true;
  }
  InputFile file;
  if (!file.Open(path)) {
    *error = file.error();
    return false;
  }
  constexpr std::size_t kLongestLine = 1 << 16;
  LineReader lines(&file, kLongestLine);
  while (lines.Next()) read(lines.line());
  *error = file.error();
  return !lines.failed();
}

int Report(const ImportResult& result) {
  g_printerr(
      "%s%" G_GINT64_FORMAT " lines read, %" G_GINT64_FORMAT " records taken, %" G_GINT64_FORMAT
      " lines rejected, %" G_GINT64_FORMAT " passed over\n",
      result.was_resumed ? "went on where it was interrupted: " : "", gint64{result.lines},
      gint64{result.records}, gint64{result.rejected.count()}, gint64{result.passed_over.count()});
  if (result.rejected.count() > 0) {
    g_printerr("rejected:\n%s", result.rejected.Describe().c_str());
  }
  if (result.passed_over.count() > 0) {
    g_printerr("passed over:\n%s", result.passed_over.Describe().c_str());
  }
  return result.records > 0 ? 0 : kNothingFound;
}

/// Where a long import keeps what it has read: beside a file, or in the user's cache for a database
/// that is elsewhere.
std::string SpoolPath(const std::string& database, const DataStore& store) {
  const auto* const postgres = std::get_if<PostgresStorage*>(&store);
  if (postgres == nullptr) return database;
  PGconn* const connection = (*postgres)->connection()->handle();
  const std::string identity =
      std::string(PQhost(connection)) + '\n' + PQport(connection) + '\n' + PQdb(connection);
  char* const digest = g_compute_checksum_for_string(G_CHECKSUM_SHA256, identity.c_str(), -1);
  char* const folder = g_build_filename(g_get_user_cache_dir(), "kesu-data", nullptr);
  constexpr int kOnlyForTheUser = 0700;
  g_mkdir_with_parents(folder, kOnlyForTheUser);
  std::string path = std::string(folder) + '/' + digest;
  g_free(folder);
  g_free(digest);
  return path;
}

int Import(const DataOptions& options, const DataStore& store) {
  std::string error;
  PlaceNames names;
  const std::string& first = options.files.front();
  if (options.kind == "places" &&
      (!ReadNames(
           options.regions, first, "admin1CodesASCII.txt",
           [&](std::string_view line) { names.ReadRegion(line); }, &error) ||
       !ReadNames(
           options.countries, first, "countryInfo.txt",
           [&](std::string_view line) { names.ReadCountry(line); }, &error))) {
    return Fail(error);
  }
  const bool is_of_stations = options.kind == "cells" || options.kind == "wifi";
  const std::unique_ptr<LineFormat> format = options.kind == "cells"     ? NewCellFormat()
                                             : options.kind == "wifi"    ? NewWifiFormat()
                                             : options.kind == "reports" ? NewReportFormat()
                                             : options.kind == "places"
                                                 ? NewPlaceFormat(options.classes, &names)
                                                 : NewAddressFormat(options.country);
  ProgressBar bar;
  const auto progress = [&](std::int64_t position, std::int64_t size) { bar.Show(position, size); };
  ImportResult result;
  const bool is_good =
      is_of_stations
          ? ImportStations(options.files, format.get(), SpoolPath(options.database, store), store,
                           progress, &result, &error)
      : options.kind == "reports"
          ? ImportReports(options.files, format.get(), store, progress, &result, &error)
          : ImportPlaces(options.files, format.get(), store, progress, &result, &error);
  bar.End();
  return is_good ? Report(result) : Fail(error);
}

int Export(const DataOptions& options, const DataStore& store) {
  const auto write = [](std::string_view line) {
    return std::fwrite(line.data(), 1, line.size(), stdout) == line.size() &&
           std::fputc('\n', stdout) != EOF;
  };
  const bool is_good = options.kind == "cells"    ? ExportCells(store, write)
                       : options.kind == "wifi"   ? ExportWifi(store, write)
                       : options.kind == "places" ? ExportPlaces(store, write)
                                                  : ExportAddresses(store, write);
  if (std::fflush(stdout) != 0) return Fail("standard output cannot be written");
  return is_good ? 0 : Fail(ErrorOf(store));
}

int PrintStats(Storage* storage) {
  const std::optional<StorageCounts> counts = storage->Counts();
  if (!counts) return Fail(storage->error());
  const std::pair<const char*, std::int64_t> rows[] = {
      {"access points", counts->access_points},
      {"cells", counts->cells},
      {"learned stations", counts->learned_stations},
      {"places", counts->places},
      {"addresses", counts->addresses},
      {"data version", counts->data_version},
  };
  for (const auto& [name, value] : rows) g_print("%s: %" G_GINT64_FORMAT "\n", name, gint64{value});
  if (counts->has_invented_data) g_print("some of the stations are invented\n");
  return 0;
}

int Check(const DataStore& store) {
  const std::vector<std::string> faults = FindFaults(store);
  for (const std::string& fault : faults) g_print("%s\n", fault.c_str());
  if (!faults.empty()) return kFailure;
  g_print("no faults\n");
  return 0;
}

int Run(const DataOptions& options, const DataStore& store) {
  if (options.command == "import") return Import(options, store);
  if (options.command == "export") return Export(options, store);
  if (options.command == "stats") return PrintStats(StorageOf(store));
  if (options.command == "check") return Check(store);
  std::string error;
  const bool is_good = Synthesize(options.stations, options.seed, store, &error);
  return is_good ? PrintStats(StorageOf(store)) : Fail(error);
}

int Main(int argc, char** argv) {
  std::setlocale(LC_CTYPE, "");
  DataOptions options;
  if (!ParseDataOptions(argc, argv, &options)) return kUsageError;
  const bool makes_tables = options.command == "import" || options.command == "synthesize";
  std::string error;
  if (IsPostgresUrl(options.database)) {
    const std::unique_ptr<PostgresStorage> storage = PostgresStorage::Open(
        options.database,
        makes_tables ? PostgresStorage::Mode::kCreate : PostgresStorage::Mode::kRead,
        /*time_limit_s=*/0, &error);
    return storage ? Run(options, storage.get()) : Fail(error);
  }
  const std::unique_ptr<SqliteStorage> storage = SqliteStorage::Open(
      options.database, makes_tables ? SqliteStorage::Mode::kCreate : SqliteStorage::Mode::kRead,
      &error);
  if (!storage) return Fail(error);
  storage->connection()->set_patience_ms(kPatienceMs);
  return Run(options, storage.get());
}

}  // namespace
}  // namespace kesu_server

int main(int argc, char** argv) {
  OpenStandardFiles();
  return kesu_server::Main(argc, argv);
}
