#include "server/storage/sqlite_rows.h"

#include <algorithm>
#include <cmath>

#include "server/storage/sqlite_schema.h"

namespace kesu_server {
namespace {

constexpr double kPowerUnitsPerDbm = 100;
constexpr double kExponentUnits = 1000;
constexpr double kShadowingUnitsPerDb = 100;

/// The limits keep every distance of a model finite.
bool IsUsable(const RadioModel& model) {
  return std::abs(model.reference_power_dbm) <= 200 && model.path_loss_exponent >= 1 &&
         model.path_loss_exponent <= 10 && model.shadowing_db >= 0 && model.shadowing_db <= 30;
}

std::optional<RadioModel> ReadModel(const SqliteStatement& row, int column) {
  if (row.IsNull(column)) return std::nullopt;
  const RadioModel model = {row.Number(column) / kPowerUnitsPerDbm,
                            row.Number(column + 1) / kExponentUnits,
                            row.Number(column + 2) / kShadowingUnitsPerDb};
  if (!IsUsable(model)) return std::nullopt;
  return model;
}

bool IsDistance(double metres) {
  return metres >= 0 && metres <= kHalfCircumferenceM;
}

}  // namespace

std::optional<ImportedStation> ReadStation(const StationKey& key, const SqliteStatement& row,
                                           int column) {
  ImportedStation station;
  station.key = key;
  station.position = FromUnits(row.Integer(column), row.Integer(column + 1));
  station.radius_m = row.Number(column + 2);
  station.samples = std::max<std::int64_t>(row.Integer(column + 3), 1);
  station.updated = row.Integer(column + 4);
  station.model = ReadModel(row, column + 5);
  if (!IsOnEarth(station.position) || !IsDistance(station.radius_m)) return std::nullopt;
  return station;
}

void BindStation(const ImportedStation& station, int parameter, SqliteStatement* insert) {
  insert->Bind(parameter, ToUnits(station.position.latitude));
  insert->Bind(parameter + 1, ToUnits(station.position.longitude));
  insert->Bind(parameter + 2, std::int64_t{std::llround(std::ceil(station.radius_m))});
  insert->Bind(parameter + 3, station.samples);
  insert->Bind(parameter + 4, station.updated);
  for (int i = 5; i < kNumberOfStationColumns && !station.model; ++i) {
    insert->BindNull(parameter + i);
  }
  if (!station.model) return;
  const RadioModel& model = *station.model;
  insert->Bind(parameter + 5,
               std::int64_t{std::llround(model.reference_power_dbm * kPowerUnitsPerDbm)});
  insert->Bind(parameter + 6,
               std::int64_t{std::llround(model.path_loss_exponent * kExponentUnits)});
  insert->Bind(parameter + 7,
               std::int64_t{std::llround(model.shadowing_db * kShadowingUnitsPerDb)});
}

std::optional<LearnedStation> ReadLearned(const SqliteStatement& row) {
  LearnedStation station;
  station.key = {row.Integer(0), row.Integer(1)};
  station.weight_sum = row.Number(2);
  station.position = {row.Number(3), row.Number(4)};
  station.radius_m = row.Number(5);
  station.south = row.Number(6);
  station.north = row.Number(7);
  station.west = row.Number(8);
  station.east = row.Number(9);
  station.first_seen = row.Integer(10);
  station.last_seen = row.Integer(11);
  constexpr std::int64_t kMostBlocks = 1'000'000;
  station.times_blocked =
      static_cast<int>(std::clamp<std::int64_t>(row.Integer(12), 0, kMostBlocks));
  station.blocked_until = row.Integer(13);
  if (!IsOnEarth(station.position) || !IsDistance(station.radius_m) ||
      !IsOnEarth({station.south, station.west}) || !IsOnEarth({station.north, station.east}) ||
      !(station.weight_sum >= 0 && std::isfinite(station.weight_sum))) {
    return std::nullopt;
  }
  return station;
}

void BindLearned(const LearnedStation& station, SqliteStatement* insert) {
  insert->Bind(1, station.key.area);
  insert->Bind(2, station.key.id);
  insert->Bind(3, station.weight_sum);
  insert->Bind(4, station.position.latitude);
  insert->Bind(5, station.position.longitude);
  insert->Bind(6, station.radius_m);
  insert->Bind(7, station.south);
  insert->Bind(8, station.north);
  insert->Bind(9, station.west);
  insert->Bind(10, station.east);
  insert->Bind(11, station.first_seen);
  insert->Bind(12, station.last_seen);
  insert->Bind(13, std::int64_t{station.times_blocked});
  insert->Bind(14, station.blocked_until);
}

std::optional<Place> ReadPlace(const SqliteStatement& row) {
  const Place place = {FromUnits(row.Integer(0), row.Integer(1)), row.Text(2), row.Text(3),
                       row.Text(4)};
  if (!IsOnEarth(place.position)) return std::nullopt;
  return place;
}

void BindPlace(std::int64_t id, const Place& place, SqliteStatement* insert) {
  insert->Bind(1, id);
  insert->Bind(2, ToUnits(place.position.latitude));
  insert->Bind(3, ToUnits(place.position.longitude));
  insert->Bind(4, place.name);
  insert->Bind(5, place.region);
  insert->Bind(6, place.country);
}

std::optional<Address> ReadAddress(const SqliteStatement& row) {
  Address address;
  address.position = FromUnits(row.Integer(0), row.Integer(1));
  int column = 2;
  for (std::string* text :
       {&address.number, &address.street, &address.unit, &address.city, &address.district,
        &address.region, &address.postcode, &address.country}) {
    *text = row.Text(column++);
  }
  if (!IsOnEarth(address.position)) return std::nullopt;
  return address;
}

void BindAddress(std::int64_t id, const Address& address, SqliteStatement* insert) {
  insert->Bind(1, id);
  insert->Bind(2, ToUnits(address.position.latitude));
  insert->Bind(3, ToUnits(address.position.longitude));
  int parameter = 4;
  for (const std::string* text :
       {&address.number, &address.street, &address.unit, &address.city, &address.district,
        &address.region, &address.postcode, &address.country}) {
    insert->Bind(parameter++, *text);
  }
}

}  // namespace kesu_server
