#include "server/import/export.h"

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>

#include "server/storage/radio_name.h"

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

std::string CellLine(const ImportedStation& station) {
  const std::string_view radio = NameOf(RadioTypeOf(station.key));
  if (radio.empty()) return {};
  const CellIdentity cell = CellOf(station.key);
  return std::string(radio) + ',' + std::to_string(cell.mcc) + ',' + std::to_string(cell.mnc) +
         ',' + std::to_string(cell.area_code) + ',' + std::to_string(cell.cell_id) + ",0," +
         Degrees(station.position.longitude) + ',' + Degrees(station.position.latitude) + ',' +
         std::to_string(std::llround(station.radius_m)) + ',' + std::to_string(station.samples) +
         ",1,0," + std::to_string(station.updated) + ",0";
}

std::string AddressLine(const Address& address) {
  std::string line = Degrees(address.position.longitude) + ',' + Degrees(address.position.latitude);
  for (const std::string* text : {&address.number, &address.street, &address.unit, &address.city,
                                  &address.district, &address.region, &address.postcode}) {
    line += ',' + Quoted(*text);
  }
  return line;
}

}  // namespace

bool ExportCells(const DataStore& store, const LineWriter& write) {
  return write(
             "radio,mcc,net,area,cell,unit,lon,lat,range,samples,changeable,created,updated,"
             "averageSignal") &&
         ForEachCell(store, [&](const ImportedStation& station) {
           const std::string line = CellLine(station);
           return line.empty() || write(line);
         });
}

bool ExportWifi(const DataStore& store, const LineWriter& write) {
  return write("WigleWifi-1.4,appRelease=kesu-data") &&
         write(
             "MAC,SSID,AuthMode,FirstSeen,Channel,RSSI,CurrentLatitude,CurrentLongitude,"
             "AltitudeMeters,AccuracyMeters,Type") &&
         ForEachAccessPoint(store, [&](const ImportedStation& station) {
           return write(MacAddressOf(station.key) + ",,," + TimeText(station.updated) + ",,," +
                        Degrees(station.position.latitude) + ',' +
                        Degrees(station.position.longitude) + ",,,WIFI");
         });
}

bool ExportPlaces(const DataStore& store, const LineWriter& write) {
  return ForEachPlace(store, [&](std::int64_t id, const Place& place) {
    return write(std::to_string(id) + '\t' + place.name + "\t\t\t" +
                 Degrees(place.position.latitude) + '\t' + Degrees(place.position.longitude) +
                 "\tP\tPPL\t" + place.country + std::string(10, '\t'));
  });
}

bool ExportAddresses(const DataStore& store, const LineWriter& write) {
  return write("LON,LAT,NUMBER,STREET,UNIT,CITY,DISTRICT,REGION,POSTCODE") &&
         ForEachAddress(store, [&](const Address& address) { return write(AddressLine(address)); });
}

}  // namespace kesu_server
