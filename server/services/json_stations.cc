#include "server/services/json_stations.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>

#include "server/learn/lesson.h"
#include "server/storage/radio_name.h"

namespace kesu_server {
namespace {

/// Nobody sees more.
constexpr std::size_t kMaxStations = 1000;
/// What no cell has.
constexpr std::int64_t kNoNumber = -1;

/// The first of two members that is a whole number.
std::int64_t NumberOfEither(const Json& object, const char* name, const Json& other,
                            const char* other_name) {
  if (const auto number = IntegerOf(object, name)) return *number;
  return IntegerOf(other, other_name).value_or(kNoNumber);
}

std::optional<StationKey> KeyOfCell(const Json& tower, const Json& object) {
  CellIdentity cell;
  cell.mcc = NumberOfEither(tower, "mobileCountryCode", object, "homeMobileCountryCode");
  cell.mnc = NumberOfEither(tower, "mobileNetworkCode", object, "homeMobileNetworkCode");
  cell.area_code = IntegerOf(tower, "locationAreaCode").value_or(kNoNumber);
  const std::string common_type = TextOf(object, "radioType").value_or("");
  cell.radio = RadioTypeNamed(TextOf(tower, "radioType").value_or(common_type))
                   .value_or(RadioType::kUnknown);
  if (!Member(tower, "cellId").is_null() || !Member(tower, "newRadioCellId").is_null()) {
    cell.cell_id = NumberOfEither(tower, "cellId", tower, "newRadioCellId");
    return CellKey(cell);
  }
  const std::optional<StationKey> any_of_area = CellKey(cell);
  return any_of_area ? AreaKey(*any_of_area) : std::nullopt;
}

Observation ObservationOf(const StationKey& key, const Json& station) {
  constexpr double kMsPerS = 1000;
  Observation observation{key, PlausibleSignal(NumberOf(station, "signalStrength").value_or(0))};
  if (const auto age_ms = NumberOf(station, "age")) {
    observation.age_s = std::max(*age_ms / kMsPerS, 0.0);
  }
  observation.may_be_learned = key.id != kWholeArea && MayBeLearned(key, TextOf(station, "ssid"));
  return observation;
}

}  // namespace

std::vector<Observation> ReadJsonStations(const Json& object) {
  ObservationCollector collector;
  const auto add = [&](const char* name, const auto& key_of) {
    const Json& stations = Member(object, name);
    if (!stations.is_array()) return;
    for (const Json& station : stations) {
      if (collector.size() == kMaxStations) return;
      const std::optional<StationKey> key = key_of(station);
      if (key) collector.Add(ObservationOf(*key, station));
    }
  };
  add("cellTowers", [&](const Json& tower) { return KeyOfCell(tower, object); });
  add("wifiAccessPoints", [](const Json& access_point) {
    return AccessPointKey(TextOf(access_point, "macAddress").value_or(""));
  });
  return collector.Take();
}

}  // namespace kesu_server
