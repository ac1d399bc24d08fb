#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <doctest/doctest.h>
#include <unistd.h>
#include <zlib.h>

#include "server/import/export.h"
#include "server/import/file_import.h"
#include "server/import/formats.h"
#include "server/import/importer.h"
#include "server/import/report_import.h"
#include "tests/server/import/recording_sink.h"

using namespace kesu_server;

namespace {

struct Folder {
  Folder() { REQUIRE(mkdtemp(path.data()) != nullptr); }
  ~Folder() { std::filesystem::remove_all(path); }

  std::string Write(const std::string& name, std::string_view content) const {
    std::ofstream(path + "/" + name, std::ios::binary) << content;
    return path + "/" + name;
  }

  std::string path = "/tmp/kesu-import-XXXXXX";
};

std::unique_ptr<LineFormat> NewFormat(std::string_view kind, const PlaceNames* names) {
  if (kind == "cells") return NewCellFormat();
  if (kind == "wifi") return NewWifiFormat();
  if (kind == "reports") return NewReportFormat();
  if (kind == "places") return NewPlaceFormat("P", names);
  return NewAddressFormat("Utopia");
}

const std::string kWifi =
    "WigleWifi-1.4,appRelease=1\nMAC,SSID,AuthMode,FirstSeen,Channel,RSSI,CurrentLatitude,"
    "CurrentLongitude,AltitudeMeters,AccuracyMeters,Type\n";

std::string PlaceLine(const std::string& id, const std::string& position, const std::string& kind) {
  return id + "\tVila\tVila\t\t" + position + "\t" + kind + "\tPT\t\t14" + std::string(8, '\t') +
         "\n";
}

/// Of one access point, from one of a row of places.
std::string Report(int latitude, const std::string& more) {
  return R"({"position":{"latitude":)" + std::to_string(latitude) +
         R"(,"longitude":2,"accuracy":9},"wifiAccessPoints":[{"macAddress":"001122334455"}])" +
         more + "}";
}

}  // namespace

TEST_CASE("what a line holds is taken, and what is wrong with it is told") {
  PlaceNames names;
  names.ReadRegion("PT.14\tLisboa\tLisboa\t2267056");
  names.ReadCountry("#ISO\tISO3\tISO-Numeric\tfips\tCountry");
  names.ReadCountry("PT\tPRT\t620\tPO\tPortugal\tLisbon");
  const std::string exotic = "\xef\xbb\xbfradio,lat,lon,mcc,net,area,cell\r\nlte,1,2,3,4,5,6\r\n";
  struct {
    const char* kind;
    std::string content;
    std::string taken;
    std::string told;
  } const rows[] = {
      {"cells", "GSM,262,2,801,86355,9,13.285512,52.5222,1000,7,1,1282569574,1300155341,-70\n",
       "GSM 262 2 801 86355 52.5222,13.285512 r1000 n7 t1300155341 w1\n", ""},
      {"cells", "CDMA,310,32767,1,65535,,-180,-90,,,,,,\n\nNR,1,1,16777215,68719476735,0,0,0",
       "CDMA 310 32767 1 65535 -90,-180 r0 n1 t0 w1\n"
       "NR 1 1 16777215 68719476735 0,0 r0 n1 t0 w1\n",
       ""},
      {"cells", exotic, "LTE 3 4 5 6 1,2 r0 n1 t0 w1\n", ""},
      {"cells", "UMTS,1,1,1,1,0,1,1,0,-7,1,1,1e300,0\nUMTS,1,1,1,1,0,1,1,0,9e99,1,1,-5,0",
       "UMTS 1 1 1 1 1,1 r0 n1 t0 w1\nUMTS 1 1 1 1 1,1 r0 n1000000 t0 w1\n", ""},
      {"cells", "radio,mcc,net,area,cell,lon\nGSM,1,1,1,1,1", "",
       "1 line: a number is missing or no number (f:2)|1 line: the header lacks a column (f:1)"},
      {"cells",
       "WIMAX,1,1,1,1,0,1,1\nGSM,1000,1,1,1,0,1,1\nGSM,1,1,1,-1,0,1,1\nGSM,1,1,1,1,0,1,90.1\n"
       "GSM,1,1,1,1,0,nan,1\nGSM,1,1,1,1,0,inf,1\nGSM,1,1,1,99999999999999999999,0,1,1\n"
       "GSM,1,1,1,1,0,1,1,-1\nGSM,1,1,1,1,0,1,1,1e9\nGSM,1\n\"GSM,1,1,1,1,0,1,1\n"
       "\"GSM\"x,1,1,1,1,0,1,1\n" +
           std::string("GSM,1\0,1,1,1,0,1,1\n", 19) + std::string(70'000, ','),
       "",
       "5 lines: a number is missing or no number (f:5, f:6, f:7, f:10, f:13)"
       "|2 lines: no cell can have these numbers (f:2, f:3)"
       "|1 line: the line is too long (f:14)|1 line: the position is not on earth (f:4)"
       "|2 lines: the range is absurd (f:8, f:9)|1 line: unknown radio type (f:1)"
       "|2 lines: wrong quotation marks (f:11, f:12)"},
      {"wifi",
       kWifi + "00:11:22:33:44:55,\"a, \"\"b\"\"\",[ESS],2024-02-29 23:59:58,6,-75,1.5,-2,3,20,"
               "WIFI\n001122334455,,,2023-02-29 0:0:0,,,1,1,,,WIFI\n",
       "00:11:22:33:44:55 1.5,-2 r0 n1 t1709251198 w0.25\n"
       "00:11:22:33:44:55 1,1 r0 n1 t0 w0.08\n",
       ""},
      {"wifi",
       kWifi + "00:11:22:33:44:55,x_NOMAP,,,,,1,1,,,WIFI\n01:11:22:33:44:55,x,,,,,1,1,,,WIFI\n"
               "02:11:22:33:44:55,x,,,,,1,1,,,WIFI\n00:00:00:00:00:00,x,,,,,1,1,,,WIFI\n"
               "1_2_3,x,,,,,1,1,,,GSM\n00:11:22:33:44,x,,,,,1,1,,,WIFI\n"
               "00:11:22:33:44:55,x,,,,,0,0,,,WIFI\n00:11:22:33:44:55,x,,,,,1,181,,,WIFI\n"
               "00:11:22:33:44:55,x,,,,,1,1,,1001,WIFI\n00:11:22:33:44:55,x,,,,,1,1,,-1,WIFI\n",
       "",
       "1 line: a number is missing or no number (f:12)|1 line: no MAC address (f:8)"
       "|1 line: the device had no position (f:9)|1 line: the position is not on earth (f:10)"
       "|1 line: the position is too inexact (f:11)"
       "|3 lines: a MAC address that belongs to no lasting station (f:4, f:5, f:6)"
       "|1 line: its owner opted out (_nomap) (f:3)|1 line: no access point (f:7)"},
      {"wifi", "WigleWifi-1.3\nMAC\n", "",
       "2 lines: the file does not begin with WigleWifi-1.4 (f:1, f:2)"},
      {"places",
       PlaceLine("7", "38.5\t-9.5", "P\tPPL") + PlaceLine("8", "1\t1", "S\tHTL") +
           PlaceLine("9", "1\t1", "P\tPPLH") + PlaceLine("0", "1\t1", "P\tPPL") +
           PlaceLine("1", "91\t1", "P\tPPL") + "1\t2\t3\n",
       "7 38.5,-9.5 Vila|Lisboa|Portugal\n",
       "1 line: a number is missing or no number (f:4)|1 line: not 19 columns (f:6)"
       "|1 line: the position is not on earth (f:5)|1 line: a place that is no more (f:3)"
       "|1 line: another feature class (f:2)"},
      {"addresses",
       "HASH,LAT,LON,STREET,NUMBER,UNIT,CITY,DISTRICT,REGION,POSTCODE\n"
       "x,1,2, \"Rua\" ,12,,Lisboa,,,1100\nx,1,2,\"R. \"\"X\"\"\"\n",
       "1,2 12|\"Rua\"||Lisboa|||1100|Utopia\n1,2 |R. \"X\"||||||Utopia\n", ""},
      {"addresses", "LON,LAT,STREET\n1,1,\x1b\n1,91,a\nx,1,a\n1,1,a\xff\x07z",
       "1,1 |a\xef\xbf\xbdz||||||Utopia\n",
       "1 line: a number is missing or no number (f:4)|1 line: no street (f:2)"
       "|1 line: the position is not on earth (f:3)"},
      {"addresses", "LON,STREET\n1,a\n", "", "2 lines: the header lacks a column (f:1, f:2)"},
      {"reports",
       R"({"timestamp":1700000000123,"position":{"latitude":1.5,"longitude":2,"accuracy":10,"age":3000,)"
       R"("speed":4},"cellTowers":[{"radioType":"Lte","mobileCountryCode":1,"mobileNetworkCode":2,)"
       R"("locationAreaCode":3,"cellId":4,"signalStrength":-90,"age":5000},{"cellId":1},)"
       R"({"mobileCountryCode":1,"mobileNetworkCode":2,"locationAreaCode":3}],)"
       R"("wifiAccessPoints":[{"macAddress":"00:11:22:33:44:55","signalStrength":0},)"
       R"({"macAddress":"00:11:22:33:44:56","ssid":"a_nomap"},{"macAddress":"00:00:00:00:00:00"},)"
       R"({"macAddress":"00:11:22:33:44:57","ssid":""},{"macAddress":"02:11:22:33:44:57"},)"
       R"({"macAddress":"00:11:22:33:44:58"},{"macAddress":"00-11-22-33-44-58","ssid":"a_NOMAP"},7]})",
       "LTE 1 2 3 4 1.5,2 a10 age2 v4 -90 t1700000000\n"
       "00:11:22:33:44:55 1.5,2 a10 age3 v4 0 t1700000000\n",
       ""},
      {"reports",
       "{\"items\": [\n" + Report(1, "") + ",\n7,[],{\"items\":1},\n" +
           Report(2, R"(,"timestamp":1e300,"radioType":"nr")") + "],\"more\":[" + Report(3, "") +
           "]}\n",
       "00:11:22:33:44:55 1,2 a9 age0 v0 0 t0\n00:11:22:33:44:55 2,2 a9 age0 v0 0 t1000000000000\n",
       "1 line: no position (f:4)|2 lines: no report (f:4, ...)"},
      {"reports",
       "{\"items\":[]}\n{\"items\":[ ],\"items\" : [" + Report(1, "") + "]}\n{\"items\":[" +
           Report(2, "") + ",]}\n{\"items\":[," + Report(2, "") + "]}\n{\"items\":[" +
           Report(2, "") + "}\n[\"items\",[" + Report(2, "") +
           "]]\n{\"a\\\"\":\"items\",\"it\\u0065ms\":[" + Report(4, "") + "]}\n{\"a\":\"" +
           std::string(1 << 20, 'a') + "\"}\n",
       "00:11:22:33:44:55 1,2 a9 age0 v0 0 t0\n00:11:22:33:44:55 4,2 a9 age0 v0 0 t0\n",
       "3 lines: no JSON (f:3, f:4, f:5)|1 line: no report (f:6)|1 line: the report is too long "
       "(f:8)"},
      {"reports", "{\"items\":[" + Report(1, "") + ",{}\n" + Report(2, ""), "",
       "1 line: no JSON (f:2)"},
      {"reports", Report(1, ",") + "\n" + Report(2, "") + "\n{\"items\":[" + Report(3, "") + "]}",
       "00:11:22:33:44:55 2,2 a9 age0 v0 0 t0\n00:11:22:33:44:55 3,2 a9 age0 v0 0 t0\n",
       "1 line: no JSON (f:1)"},
      {"reports",
       "[]\n7\n{\"position\":{\"latitude\":1}}\n{\"position\":{\"latitude\":91,\"longitude\":2}}\n"
       "{\"position\":{\"latitude\":1,\"longitude\":1e999}}\n{\"position\":{\"latitude\":1,"
       "\"longitude\":1,\"accuracy\":1}}\n{\"position\":{\"latitude\":0,\"longitude\":0}}\n"
       "{\"position\":{\"latitude\":1,\"longitude\":1,\"accuracy\":-1}}\n" +
           std::string(9, '[') + std::string(9, ']') + std::string("\n{\"a\":\0}", 8),
       "",
       "3 lines: no JSON (f:5, f:9, f:10)|1 line: no position (f:3)|2 lines: no report (f:1, f:2)"
       "|1 line: no station that may be learned (f:6)|1 line: the device had no position (f:7)"
       "|1 line: the position has no accuracy (f:8)|1 line: the position is not on earth (f:4)"},
  };
  const Folder folder;
  std::filesystem::current_path(folder.path);
  for (const auto& row : rows) {
    CAPTURE(row.content.substr(0, 200));
    folder.Write("f", row.content);
    kesu_test::RecordingSink sink;
    ImportResult result;
    std::string error;
    const auto format = NewFormat(row.kind, &names);
    REQUIRE(ReadFile(
        "f", format.get(), &sink, [](std::int64_t, std::int64_t) {},
        [](std::int64_t) { return true; }, &result, &error));
    CHECK(sink.text == row.taken);
    std::string described = result.rejected.Describe() + result.passed_over.Describe();
    for (std::size_t at = 0; (at = described.find("\n  ", at)) != std::string::npos;) {
      described.replace(at, 3, "|");
    }
    CHECK(described == (row.told.empty() ? "" : "  " + row.told + "\n"));
  }
}

TEST_CASE("compressed files are read whatever their parts, and damage is an error") {
  const std::string line = "GSM,1,1,1,1,0,1,1\n";
  const auto gzip = [](const std::string& text) {
    z_stream stream = {};
    REQUIRE(deflateInit2(&stream, 9, Z_DEFLATED, 31, 8, Z_DEFAULT_STRATEGY) == Z_OK);
    std::string packed(1000, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    REQUIRE(deflate(&stream, Z_FINISH) == Z_STREAM_END);
    packed.resize(stream.total_out);
    deflateEnd(&stream);
    return packed;
  };
  // A frame with one block of the 18 bytes as they are, and no checksum.
  const std::string zstd = std::string("\x28\xb5\x2f\xfd\x20\x12\x91\0\0", 9) + line;
  const std::string packed = gzip(line);
  struct {
    std::string content;
    int records;  // -1 for an error
  } const rows[] = {
      {"", 0},
      {line, 1},
      {packed, 1},
      {packed + packed, 2},
      {packed + std::string(512, '\0'), 1},
      {packed.substr(0, packed.size() - 1), -1},
      {packed + "x", -1},
      {"\x1f\x8b", -1},
      {zstd, 1},
      {zstd + zstd, 2},
      {zstd.substr(0, zstd.size() - 1), -1},
      {zstd + "x", -1},
  };
  const Folder folder;
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    CAPTURE(i);
    const std::string path = folder.Write("f", rows[i].content);
    kesu_test::RecordingSink sink;
    ImportResult result;
    std::string error;
    const auto format = NewCellFormat();
    const bool is_good = ReadFile(
        path, format.get(), &sink, [](std::int64_t, std::int64_t) {},
        [](std::int64_t) { return true; }, &result, &error);
    CHECK(is_good == (rows[i].records >= 0));
    CHECK(error.empty() == is_good);
    if (is_good) CHECK(std::count(sink.text.begin(), sink.text.end(), '\n') == rows[i].records);
  }
}

TEST_CASE("an import that is interrupted goes on, and ends as one that was not") {
  const Folder folder;
  const std::string a =
      folder.Write("a", kWifi +
                            "00:11:22:33:44:05,,,,,-50,1,1,,5,WIFI\n"
                            "00:11:22:33:44:01,,,,,-50,2,1,,5,WIFI\nbad,,,,,,1,1,,,WIFI\n"
                            "00:11:22:33:44:03,,,,,-50,3,1,,5,WIFI\n");
  const std::string b = folder.Write("b", kWifi +
                                              "00:11:22:33:44:05,,,,,-50,1.0002,1,,5,WIFI\n"
                                              "00:11:22:33:44:02,,,,,-50,4,1,,5,WIFI\n");
  const auto import = [&](const std::string& path, std::size_t in_memory, int interrupt_at) {
    std::string error;
    const auto storage = SqliteStorage::Open(path, SqliteStorage::Mode::kCreate, &error);
    REQUIRE_MESSAGE(storage, error);
    ImportResult result;
    const auto format = NewWifiFormat();
    int files = 0;
    const auto progress = [&](std::int64_t, std::int64_t) {
      if (++files == interrupt_at) throw std::runtime_error("interrupted");
    };
    const bool is_good = ImportStations({a, b}, format.get(), path, storage.get(), progress,
                                        &result, &error, in_memory);
    REQUIRE_MESSAGE(is_good, error);
    return result;
  };
  const std::string whole = folder.path + "/whole.db";
  CHECK(import(whole, 100, 0).rejected.Describe() == "  1 line: no MAC address (" + a + ":5)\n");
  for (const int interrupt_at : {1, 2}) {
    const std::string path = folder.path + "/" + std::to_string(interrupt_at) + ".db";
    CHECK_THROWS(import(path, 2, interrupt_at));
    const ImportResult result = import(path, 2, 0);
    CHECK(result.was_resumed);
    CHECK(result.lines == 10);
    CHECK(result.records == 5);
    CHECK(result.rejected.Describe() == "  1 line: no MAC address (" + a + ":5)\n");
    CHECK_FALSE(std::filesystem::exists(path + ".import"));

    std::string error;
    std::vector<std::string> exports;
    for (const std::string& each : {whole, path}) {
      const auto storage = SqliteStorage::Open(each, SqliteStorage::Mode::kRead, &error);
      REQUIRE(storage);
      std::string& text = exports.emplace_back();
      CHECK(ExportWifi(storage.get(), [&](std::string_view line) {
        text.append(line).append(1, '\n');
        return true;
      }));
    }
    CHECK(exports[0] == exports[1]);
    CHECK(exports[0].find("00:11:22:33:44:05,,,1970-01-01 00:00:00,,,1.0001000,1.0000000,") !=
          std::string::npos);
  }
}

TEST_CASE("of a cell the newest line counts, and areas are the middle of their cells") {
  const Folder folder;
  const std::string path = folder.path + "/a.db";
  std::string error;
  const auto storage = SqliteStorage::Open(path, SqliteStorage::Mode::kCreate, &error);
  REQUIRE(storage);
  const StationKey first = CellKey({1, 1, 1, 1, RadioType::kGsm}).value();
  const StationKey keys[] = {first, AreaKey(first).value()};
  struct {
    const char* lines;
    double cell, area;
  } const rows[] = {
      {"GSM,1,1,1,1,0,0,10,500,1,1,1,200\nGSM,1,1,1,2,0,0,12,500,1,1,1,200\n", 10, 11},
      {"GSM,1,1,1,1,0,0,20,500,1,1,1,199\n", 10, 11},
      {"GSM,1,1,1,1,0,0,14,500,1,1,1,300\nGSM,1,1,1,1,0,0,16,500,1,1,1,250\n", 14, 13},
  };
  for (const auto& row : rows) {
    ImportResult result;
    const auto format = NewCellFormat();
    REQUIRE(ImportStations(
        {folder.Write("f", row.lines)}, format.get(), path, storage.get(),
        [](std::int64_t, std::int64_t) {}, &result, &error));
    std::vector<std::optional<Station>> found;
    REQUIRE(storage->FindStations(keys, &found));
    CHECK(found[0].value().position.latitude == doctest::Approx(row.cell));
    CHECK(found[1].value().position.latitude == doctest::Approx(row.area));
  }
  CHECK(storage->Counts().value().cells == 2);
}

TEST_CASE("reports teach once, however often their import is interrupted") {
  const Folder folder;
  std::string lines;
  for (int i = 0; i < 50; ++i) lines += Report(1, "") + "\n{}\n";
  const std::string file = folder.Write("f", lines);
  const auto weight = [&](SqliteStorage* storage) {
    const StationKey keys[] = {AccessPointKey("001122334455").value()};
    std::vector<std::optional<LearnedStation>> learned;
    REQUIRE(storage->LoadLearned(keys, &learned));
    return learned[0] ? learned[0]->weight_sum : 0;
  };
  std::string error;
  const auto storage =
      SqliteStorage::Open(folder.path + "/a.db", SqliteStorage::Mode::kCreate, &error);
  REQUIRE(storage);
  constexpr std::size_t kLessons = 7;
  const auto import = [&](const std::vector<std::string>& files, ImportResult* result) {
    const auto format = NewReportFormat();
    int read = 0;
    // Between two files.
    const auto progress = [&](std::int64_t, std::int64_t) {
      if (++read == 2) throw std::runtime_error("interrupted");
    };
    return ImportReports(files, format.get(), storage.get(), progress, result, &error, kLessons);
  };
  ImportResult result;
  CHECK_THROWS(import({file, file}, &result));
  // In full transactions.
  CHECK(weight(storage.get()) == 98);
  const auto format = NewReportFormat();
  const auto ignore = [](std::int64_t, std::int64_t) {};
  result = {};
  REQUIRE(
      ImportReports({file, file}, format.get(), storage.get(), ignore, &result, &error, kLessons));
  CHECK(weight(storage.get()) == 100);
  CHECK(result.was_resumed);
  CHECK(result.records == 100);
  CHECK(result.rejected.count() == 100);
  CHECK(storage->Counts().value().data_version == 1);
  // It is done, so the same files are read anew.
  result = {};
  REQUIRE(import({file}, &result));
  CHECK_FALSE(result.was_resumed);
  CHECK(weight(storage.get()) == 150);
}
