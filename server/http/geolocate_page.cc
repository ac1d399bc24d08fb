#include "server/http/geolocate_page.h"

#include <cmath>
#include <optional>
#include <string_view>
#include <vector>

#include "server/estimate/location_estimator.h"
#include "server/http/json_reply.h"
#include "server/services/json_stations.h"
#include "server/services/sightings.h"

namespace kesu_server {
namespace {

/// Whether a first cell that is not known may be answered with its area.
bool AllowsArea(const Json& call) {
  return Member(Member(call, "fallbacks"), "lacf") != Json(false);
}

class GeolocateWork final : public Inquirer<Reply> {
 public:
  explicit GeolocateWork(std::string_view body) : body_(body) {}

  std::optional<Reply> GoOn(const Found& found, Inquiry* inquiry) override {
    if (found.has_failed) return JsonError(kStorageFailureStatus, "Service Unavailable");
    if (has_asked_) return Answer(found);
    has_asked_ = true;
    const Json json = ParseJson(body_);
    if (!json.is_object()) return JsonError(kBadJsonStatus, "Parse Error");
    observations_ = ReadJsonStations(json);
    if (observations_.empty()) return Answer({});
    inquiry->keys = KeysOf(observations_);
    if (!AllowsArea(json)) inquiry->keys.resize(observations_.size());
    return std::nullopt;
  }

 private:
  Reply Answer(const Found& found) const {
    const std::optional<Estimate> estimate =
        EstimateLocation(SightingsOf(observations_, found.stations));
    if (!estimate) return JsonError(kNothingKnownStatus, "Not found");
    const LatLng& position = estimate->position;
    return JsonReply({{"location", {{"lat", position.latitude}, {"lng", position.longitude}}},
                      {"accuracy", std::ceil(estimate->accuracy_m)}});
  }

  std::string_view body_;
  bool has_asked_ = false;
  std::vector<Observation> observations_;
};

}  // namespace

std::unique_ptr<Inquirer<Reply>> Geolocate(const HttpRequest& request) {
  return std::make_unique<GeolocateWork>(request.body);
}

}  // namespace kesu_server
