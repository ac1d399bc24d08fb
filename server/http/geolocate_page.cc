#include "server/http/geolocate_page.h"

#include <cmath>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <glib.h>
#include <nlohmann/json.hpp>

#include "server/estimate/location_estimator.h"
#include "server/http/json_reply.h"

namespace kesu_server {
namespace {

using Json = nlohmann::json;

/// A call needs three levels.
constexpr int kMaxDepth = 8;
constexpr double kWeakestDbm = -140;
/// Nobody sees more; those beyond are read over.
constexpr std::size_t kMaxStations = 1000;

/// Discarded when the text is no JSON, or nested too deeply.
Json Parse(std::string_view text) {
  bool is_too_deep = false;
  const auto watch = [&](int depth, Json::parse_event_t, Json&) {
    is_too_deep = is_too_deep || depth > kMaxDepth;
    return !is_too_deep;
  };
  Json json = Json::parse(text, watch, /*allow_exceptions=*/false);
  return is_too_deep ? Json(Json::value_t::discarded) : json;
}

/// A member of an object; null when there is none.
const Json& Member(const Json& object, const char* name) {
  static const Json kNone;
  if (!object.is_object()) return kNone;
  const auto found = object.find(name);
  return found == object.end() ? kNone : *found;
}

/// -1, which no station has, where it is missing or no whole number.
std::int64_t NumberOf(const Json& object, const char* name) {
  const Json& member = Member(object, name);
  return member.is_number_integer() ? member.get<std::int64_t>() : -1;
}

std::string TextOf(const Json& object, const char* name) {
  const Json& member = Member(object, name);
  return member.is_string() ? member.get<std::string>() : std::string();
}

RadioType RadioTypeOf(const std::string& name) {
  struct Row {
    const char* name;
    RadioType type;
  };
  constexpr Row kRows[] = {{"gsm", RadioType::kGsm},   {"wcdma", RadioType::kUmts},
                           {"umts", RadioType::kUmts}, {"lte", RadioType::kLte},
                           {"nr", RadioType::kNr},     {"cdma", RadioType::kCdma}};
  for (const Row& row : kRows) {
    if (g_ascii_strcasecmp(name.c_str(), row.name) == 0) return row.type;
  }
  return RadioType::kUnknown;
}

/// What a call names, each station once.
struct Call {
  std::vector<StationKey> keys;
  std::vector<std::optional<double>> signals_dbm;
  std::set<StationKey> seen;

  void Add(const std::optional<StationKey>& key, const Json& station) {
    if (!key || keys.size() == kMaxStations || !seen.insert(*key).second) return;
    const Json& signal = Member(station, "signalStrength");
    const double dbm = signal.is_number() ? signal.get<double>() : 0;
    keys.push_back(*key);
    signals_dbm.push_back(dbm < 0 && dbm >= kWeakestDbm ? std::optional(dbm) : std::nullopt);
  }
};

Call ReadCall(const Json& json) {
  Call call;
  // Where a tower does not say what it is, the call may.
  const std::string common_type = TextOf(json, "radioType");
  for (const Json& tower : Member(json, "cellTowers")) {
    CellIdentity cell;
    cell.mcc = NumberOf(tower, "mobileCountryCode");
    cell.mnc = NumberOf(tower, "mobileNetworkCode");
    cell.area_code = NumberOf(tower, "locationAreaCode");
    cell.cell_id = NumberOf(tower, "cellId");
    const std::string type = TextOf(tower, "radioType");
    cell.radio = RadioTypeOf(type.empty() ? common_type : type);
    call.Add(CellKey(cell), tower);
  }
  for (const Json& access_point : Member(json, "wifiAccessPoints")) {
    call.Add(AccessPointKey(TextOf(access_point, "macAddress")), access_point);
  }
  return call;
}

class GeolocateWork final : public Inquirer<Reply> {
 public:
  explicit GeolocateWork(std::string_view body) : body_(body) {}

  std::optional<Reply> GoOn(const Found& found, Inquiry* inquiry) override {
    if (found.has_failed) return JsonError(kStorageFailureStatus, "Service Unavailable");
    if (has_asked_) return Answer(found);
    has_asked_ = true;
    const Json json = Parse(body_);
    if (!json.is_object()) return JsonError(kBadJsonStatus, "Parse Error");
    call_ = ReadCall(json);
    if (call_.keys.empty()) return Answer({});
    inquiry->keys = call_.keys;
    return std::nullopt;
  }

 private:
  Reply Answer(const Found& found) const {
    std::vector<Sighting> sightings;
    for (std::size_t i = 0; i < found.stations.size(); ++i) {
      if (found.stations[i]) sightings.push_back({*found.stations[i], call_.signals_dbm[i]});
    }
    const std::optional<Estimate> estimate = EstimateLocation(sightings);
    if (!estimate) return JsonError(kNothingKnownStatus, "Not found");
    const LatLng& position = estimate->position;
    return JsonReply({{"location", {{"lat", position.latitude}, {"lng", position.longitude}}},
                      {"accuracy", std::ceil(estimate->accuracy_m)}});
  }

  std::string_view body_;
  bool has_asked_ = false;
  Call call_;
};

}  // namespace

std::unique_ptr<Inquirer<Reply>> Geolocate(const HttpRequest& request) {
  return std::make_unique<GeolocateWork>(request.body);
}

}  // namespace kesu_server
