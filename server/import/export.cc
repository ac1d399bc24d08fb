#include "server/import/export.h"

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>

#include "server/storage/radio_name.h"
#include "server/storage/sqlite_rows.h"

namespace kesu_server {
namespace {

std::string Degrees(double degrees) {
  char text[32];
  std::snprintf(text, sizeof text, "%.7f", degrees);
  return text;
}

/// "2024-02-29 23:59:58"; the beginning of 1970 for what is out of bounds.
std::string TimeText(std::int64_t seconds) {
  constexpr std::int64_t kSecondsPerDay = 86'400;
  constexpr std::int64_t kEnd = 253'402'300'800;
  if (seconds < 0 || seconds >= kEnd) seconds = 0;
  const std::chrono::year_month_day date{
      std::chrono::sys_days(std::chrono::days(seconds / kSecondsPerDay))};
  const auto rest = static_cast<int>(seconds % kSecondsPerDay);
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02u-%02u %02d:%02d:%02d", int{date.year()},
                unsigned{date.month()}, unsigned{date.day()}, rest / 3600, rest / 60 % 60,
                rest % 60);
  return text;
}

std::string Quoted(const std::string& field) {
  if (field.find_first_of(",\"\r\n") == std::string::npos) return field;
  std::string quoted = "\"";
  for (const char c : field) quoted.append(c == '"' ? 2 : 1, c);
  return quoted + '"';
}

/// Writes what `line` makes of each row; rows that make no sense are left out.
bool WriteRows(SqliteStorage* storage, const std::string& sql, const LineWriter& write,
               const std::function<std::string(const SqliteStatement& row)>& line) {
  SqliteStatement query(*storage->connection(), sql);
  while (query.Step()) {
    const std::string text = line(query);
    if (!text.empty() && !write(text)) return false;
  }
  return query.Reset();
}

}  // namespace

bool ExportCells(SqliteStorage* storage, const LineWriter& write) {
  if (!write("radio,mcc,net,area,cell,unit,lon,lat,range,samples,changeable,created,updated,"
             "averageSignal")) {
    return false;
  }
  return WriteRows(
      storage, std::string("SELECT area, id, ") + kStationColumns + " FROM cell WHERE id >= 0",
      write, [](const SqliteStatement& row) {
        const StationKey key = {row.Integer(0), row.Integer(1)};
        const std::optional<ImportedStation> station = ReadStation(key, row, 2);
        const std::string_view radio = NameOf(RadioTypeOf(key));
        if (!station || radio.empty()) return std::string();
        const CellIdentity cell = CellOf(key);
        return std::string(radio) + ',' + std::to_string(cell.mcc) + ',' +
               std::to_string(cell.mnc) + ',' + std::to_string(cell.area_code) + ',' +
               std::to_string(cell.cell_id) + ",0," + Degrees(station->position.longitude) + ',' +
               Degrees(station->position.latitude) + ',' +
               std::to_string(std::llround(station->radius_m)) + ',' +
               std::to_string(station->samples) + ",1,0," + std::to_string(station->updated) + ",0";
      });
}

bool ExportWifi(SqliteStorage* storage, const LineWriter& write) {
  if (!write("WigleWifi-1.4,appRelease=kesu-data") ||
      !write("MAC,SSID,AuthMode,FirstSeen,Channel,RSSI,CurrentLatitude,CurrentLongitude,"
             "AltitudeMeters,AccuracyMeters,Type")) {
    return false;
  }
  return WriteRows(storage, std::string("SELECT mac, ") + kStationColumns + " FROM access_point",
                   write, [](const SqliteStatement& row) {
                     const StationKey key = {0, row.Integer(0)};
                     const std::optional<ImportedStation> station = ReadStation(key, row, 1);
                     if (!station) return std::string();
                     return MacAddressOf(key) + ",,," + TimeText(station->updated) + ",,," +
                            Degrees(station->position.latitude) + ',' +
                            Degrees(station->position.longitude) + ",,,WIFI";
                   });
}

bool ExportPlaces(SqliteStorage* storage, const LineWriter& write) {
  return WriteRows(storage, std::string("SELECT ") + kPlaceColumns + ", id FROM place", write,
                   [](const SqliteStatement& row) {
                     const std::optional<Place> place = ReadPlace(row, 0);
                     if (!place) return std::string();
                     return std::to_string(row.Integer(5)) + '\t' + place->name + "\t\t\t" +
                            Degrees(place->position.latitude) + '\t' +
                            Degrees(place->position.longitude) + "\tP\tPPL\t" + place->country +
                            std::string(10, '\t');
                   });
}

bool ExportAddresses(SqliteStorage* storage, const LineWriter& write) {
  return write("LON,LAT,NUMBER,STREET,UNIT,CITY,DISTRICT,REGION,POSTCODE") &&
         WriteRows(storage, std::string("SELECT ") + kAddressColumns + " FROM address", write,
                   [](const SqliteStatement& row) {
                     const std::optional<Address> address = ReadAddress(row, 0);
                     if (!address) return std::string();
                     std::string line = Degrees(address->position.longitude) + ',' +
                                        Degrees(address->position.latitude);
                     for (const std::string* text :
                          {&address->number, &address->street, &address->unit, &address->city,
                           &address->district, &address->region, &address->postcode}) {
                       line += ',' + Quoted(*text);
                     }
                     return line;
                   });
}

}  // namespace kesu_server
