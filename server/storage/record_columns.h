#ifndef SERVER_STORAGE_RECORD_COLUMNS_H_
#define SERVER_STORAGE_RECORD_COLUMNS_H_

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <string>

#include "server/geo/geodesy.h"
#include "server/geo/radio_model.h"
#include "server/storage/learned_station.h"
#include "server/storage/place.h"
#include "server/storage/position_units.h"
#include "server/storage/station.h"

/// The columns of the tables, whatever database they are in, and what they say. What is in a row
/// may be anything: positions that are not on earth, and numbers that make no sense, yield none. A
/// Row has IsNull(), Integer(), Number() and Text() of a column, which count from 0; an Insert has
/// BindNull() and Bind() of a parameter, which count from 1.
namespace kesu_server {

inline constexpr char kStationColumns[] =
    "latitude, longitude, radius, samples, updated, power, exponent, shadowing";
inline constexpr int kNumberOfStationColumns = 8;

inline constexpr char kLearnedColumns[] =
    "area, id, weight, latitude, longitude, radius, south, north, west, east, first_seen,"
    " last_seen, times_blocked, blocked_until";
inline constexpr int kNumberOfLearnedColumns = 14;

namespace record_columns {

inline constexpr double kPowerUnitsPerDbm = 100;
inline constexpr double kExponentUnits = 1000;
inline constexpr double kShadowingUnitsPerDb = 100;

/// The limits keep every distance of a model finite.
inline bool IsUsable(const RadioModel& model) {
  return std::abs(model.reference_power_dbm) <= 200 && model.path_loss_exponent >= 1 &&
         model.path_loss_exponent <= 10 && model.shadowing_db >= 0 && model.shadowing_db <= 30;
}

inline bool IsDistance(double metres) {
  return metres >= 0 && metres <= kHalfCircumferenceM;
}

template <typename Row>
std::optional<RadioModel> ReadModel(const Row& row, int column) {
  if (row.IsNull(column)) return std::nullopt;
  const RadioModel model = {row.Number(column) / kPowerUnitsPerDbm,
                            row.Number(column + 1) / kExponentUnits,
                            row.Number(column + 2) / kShadowingUnitsPerDb};
  if (!IsUsable(model)) return std::nullopt;
  return model;
}

}  // namespace record_columns

/// Reads kStationColumns, the first of which is `column`.
template <typename Row>
std::optional<ImportedStation> ReadStation(const StationKey& key, const Row& row, int column) {
  ImportedStation station;
  station.key = key;
  station.position = FromUnits(row.Integer(column), row.Integer(column + 1));
  station.radius_m = row.Number(column + 2);
  station.samples = std::max<std::int64_t>(row.Integer(column + 3), 1);
  station.updated = row.Integer(column + 4);
  station.model = record_columns::ReadModel(row, column + 5);
  if (!IsOnEarth(station.position) || !record_columns::IsDistance(station.radius_m))
    return std::nullopt;
  return station;
}

/// Binds them, from `parameter` on.
template <typename Insert>
void BindStation(const ImportedStation& station, int parameter, Insert* insert) {
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
  insert->Bind(parameter + 5, std::int64_t{std::llround(model.reference_power_dbm *
                                                        record_columns::kPowerUnitsPerDbm)});
  insert->Bind(parameter + 6, std::int64_t{std::llround(model.path_loss_exponent *
                                                        record_columns::kExponentUnits)});
  insert->Bind(parameter + 7, std::int64_t{std::llround(model.shadowing_db *
                                                        record_columns::kShadowingUnitsPerDb)});
}

/// Reads kLearnedColumns.
template <typename Row>
std::optional<LearnedStation> ReadLearned(const Row& row) {
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
  if (!IsOnEarth(station.position) || !record_columns::IsDistance(station.radius_m) ||
      !IsOnEarth({station.south, station.west}) || !IsOnEarth({station.north, station.east}) ||
      !(station.weight_sum >= 0 && std::isfinite(station.weight_sum))) {
    return std::nullopt;
  }
  return station;
}

template <typename Insert>
void BindLearned(const LearnedStation& station, Insert* insert) {
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

/// Reads the position's two coordinates, the name, the region and the country, from `column` on.
template <typename Row>
std::optional<Place> ReadPlace(const Row& row, int column) {
  const Place place = {FromUnits(row.Integer(column), row.Integer(column + 1)),
                       row.Text(column + 2), row.Text(column + 3), row.Text(column + 4)};
  if (!IsOnEarth(place.position)) return std::nullopt;
  return place;
}

/// Binds the id and then those.
template <typename Insert>
void BindPlace(std::int64_t id, const Place& place, Insert* insert) {
  insert->Bind(1, id);
  insert->Bind(2, ToUnits(place.position.latitude));
  insert->Bind(3, ToUnits(place.position.longitude));
  insert->Bind(4, place.name);
  insert->Bind(5, place.region);
  insert->Bind(6, place.country);
}

/// Reads the position's two coordinates, and the texts from the number to the country, from
/// `column` on.
template <typename Row>
std::optional<Address> ReadAddress(const Row& row, int column) {
  Address address;
  address.position = FromUnits(row.Integer(column), row.Integer(column + 1));
  column += 2;
  for (std::string* text :
       {&address.number, &address.street, &address.unit, &address.city, &address.district,
        &address.region, &address.postcode, &address.country}) {
    *text = row.Text(column++);
  }
  if (!IsOnEarth(address.position)) return std::nullopt;
  return address;
}

template <typename Insert>
void BindAddress(std::int64_t id, const Address& address, Insert* insert) {
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

#endif  // SERVER_STORAGE_RECORD_COLUMNS_H_
