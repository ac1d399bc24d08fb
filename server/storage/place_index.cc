#include "server/storage/place_index.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>
#include <vector>

#include "server/storage/table_reader.h"

namespace kesu_server {
namespace {

enum PlaceColumn { kLatitude, kLongitude, kCountryCodes, kCountry, kName, kZone, kPlaceColumns };

constexpr char kSchema[] =
    "CREATE TABLE place(id INTEGER PRIMARY KEY, latitude REAL, longitude REAL, name TEXT,"
    "                   country TEXT);"
    "CREATE VIRTUAL TABLE place_box USING rtree(id, south, north, west, east);";
constexpr char kInsertPlace[] = "INSERT INTO place VALUES(NULL, ?1, ?2, ?3, ?4)";
constexpr char kInsertBox[] = "INSERT INTO place_box VALUES(last_insert_rowid(), ?1, ?1, ?2, ?2)";
constexpr char kSearch[] =
    "SELECT latitude, longitude, name, country FROM place_box JOIN place USING(id)"
    " WHERE north >= ?1 AND south <= ?2 AND east >= ?3 AND west <= ?4";

struct Box {
  double south, north, west, east;
};

/// Boxes that hold everything within `radius_m` of `center`: two where it reaches across the
/// antimeridian, and a cap of all longitudes where it reaches over a pole.
std::vector<Box> BoxesAround(const LatLng& center, double radius_m) {
  constexpr double kDegreesPerRadian = 180 / std::numbers::pi;
  // A little more than the radius, so that rounding excludes nothing on its rim.
  const double angle = radius_m * 1.0001 / kEarthRadiusM;
  const double south = center.latitude - angle * kDegreesPerRadian;
  const double north = center.latitude + angle * kDegreesPerRadian;
  if (south <= -90 || north >= 90) return {{south, north, -180, 180}};

  // No pole is within, so the sine of the angle is below the cosine of the latitude.
  const double cosine = std::cos(center.latitude / kDegreesPerRadian);
  const double reach = std::asin(std::min(1.0, std::sin(angle) / cosine)) * kDegreesPerRadian;
  const double west = center.longitude - reach;
  const double east = center.longitude + reach;
  if (west <= -180) return {{south, north, west + 360, 180}, {south, north, -180, east}};
  if (east >= 180) return {{south, north, west, 180}, {south, north, -180, east - 360}};
  return {{south, north, west, east}};
}

}  // namespace

bool PlaceIndex::Load(const DataFile& places, std::string* error) {
  if (!database_.Execute(kSchema)) {
    *error = database_.error();
    return false;
  }
  SqliteStatement insert_place(database_, kInsertPlace);
  SqliteStatement insert_box(database_, kInsertBox);
  const auto add = [&](TableRow& row) {
    const LatLng position = row.Position(kLatitude);
    for (SqliteStatement* insert : {&insert_place, &insert_box}) {
      insert->Bind(1, position.latitude);
      insert->Bind(2, position.longitude);
    }
    insert_place.Bind(3, row.Text(kName));
    insert_place.Bind(4, row.Text(kCountry));
    if (!insert_place.Run() || !insert_box.Run()) row.Fail(database_.error());
  };
  if (!ReadTable(places, kPlaceColumns, add, error)) return false;
  search_.emplace(database_, kSearch);
  return true;
}

std::optional<NearbyPlace> PlaceIndex::Nearest(const LatLng& position, double radius_m) {
  std::optional<NearbyPlace> nearest;
  for (const Box& box : BoxesAround(position, radius_m)) {
    search_->Bind(1, box.south);
    search_->Bind(2, box.north);
    search_->Bind(3, box.west);
    search_->Bind(4, box.east);
    while (search_->Step()) {
      const LatLng found = {search_->Number(0), search_->Number(1)};
      const double distance_m = DistanceM(position, found);
      if (distance_m > (nearest ? nearest->distance_m : radius_m)) continue;
      nearest = {{found, search_->Text(2), search_->Text(3)}, distance_m};
    }
    search_->Reset();
  }
  return nearest;
}

}  // namespace kesu_server
