#include "server/inspect/exchange_map.h"

#include <algorithm>
#include <map>
#include <memory>
#include <string_view>
#include <utility>

#include "kesu/common/net/proto/decode_budget.h"
#include "kesu/mux/non_multipart_response.h"

#include "server/estimate/location_estimator.h"
#include "server/protocol/post_reader.h"
#include "server/services/described_feature.h"
#include "server/services/location_service.h"
#include "server/services/sightings.h"

namespace kesu_server {
namespace {

using Json = nlohmann::ordered_json;
using common_base::ByteView;
using Replies = std::map<int, std::unique_ptr<lbs::GLocReply>>;

/// Nobody looks at more. Estimating takes its time, too.
constexpr std::size_t kMostMaps = 100;
constexpr std::size_t kMostStations = 2000;
constexpr int kMostFeatures = 50;

constexpr double kUnitsPerDegree = 1e7;
constexpr int kReplyBlock = 0x8100;

ByteView ViewOf(std::string_view bytes) {
  return {common_base::kReferenceExistingBuffer,
          reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size())};
}

template <typename Message>
std::unique_ptr<Message> ReadMessage(const ByteView& bytes) {
  auto message = std::make_unique<Message>();
  const common_net_proto::DecodeBudget budget;
  common_base::DataInputStream in(&bytes);
  if (!message->Read(&in)) message.reset();
  return message;
}

/// By their ids; those that are none are left out.
Replies ReadReplies(const std::string& body) {
  Replies replies;
  std::optional<ReadError> error;
  ByteCursor in(body, 0, &error);
  in.Int16("protocol version");
  while (!error && !in.at_end()) {
    const std::size_t start = in.offset();
    const std::int32_t length = in.Int32("length");
    const int type = in.Uint16("type");
    const std::string_view block = in.Run("block", start, length);
    if (error || type != kReplyBlock) continue;
    common_kesu::NonMultipartResponse response;
    const ByteView view = ViewOf(block);
    common_base::DataInputStream stream(&view);
    bool ok = false;
    response.Initialize(&stream, view.length(), &ok);
    if (!ok || response.status_code() != kOkStatus) continue;
    replies.try_emplace(response.id(), ReadMessage<lbs::GLocReply>(response.payload()));
  }
  return replies;
}

std::string NameOf(const StationKey& key) {
  if (key.is_access_point()) return MacAddressOf(key);
  const CellIdentity cell = CellOf(key);
  std::string name = std::to_string(cell.mcc) + "-" + std::to_string(cell.mnc) + "-" +
                     std::to_string(cell.area_code);
  return key.id == kWholeArea ? name + " (area)" : name + "-" + std::to_string(cell.cell_id);
}

Json PointOn(const LatLng& position) {
  return {{"latitude", position.latitude}, {"longitude", position.longitude}};
}

Json Labelled(const LatLng& position, const char* label) {
  Json point = PointOn(position);
  point["label"] = label;
  return point;
}

Json Circle(const LatLng& position, const std::optional<double>& accuracy_m, const char* label) {
  Json circle = Labelled(position, label);
  circle["accuracy_m"] = accuracy_m ? Json(*accuracy_m) : Json();
  return circle;
}

Json ListOf(Json only) {
  Json list = Json::array();
  list.push_back(std::move(only));
  return list;
}

Json LocationJson(const LatLng& position, const lbs::GLocation& location, const char* label) {
  const auto accuracy_m =
      location.has_accuracy_m() ? std::optional<double>(location.accuracy_m()) : std::nullopt;
  return Circle(position, accuracy_m, label);
}

Json StationJson(const StationKey& key, const Station& station,
                 const std::optional<double>& received_dbm) {
  Json json = {{"name", NameOf(key)}, {"kind", key.is_access_point() ? "wifi" : "cell"}};
  json.update(PointOn(station.position));
  json["radius_m"] = station.radius_m;
  json["received_dbm"] = received_dbm ? Json(*received_dbm) : Json();
  return json;
}

const char* KindOf(int feature_type) {
  switch (feature_type) {
    case kPlaceFeature:
      return "place";
    case kPlaceAndCountryFeature:
      return "place and country";
    case kNearestPlaceFeature:
      return "nearest place";
    case kAddressFeature:
      return "address";
    case kStreetFeature:
      return "street";
    case kRegionFeature:
      return "region";
    case kCountryFeature:
      return "country";
    default:
      return "feature";
  }
}

std::optional<LatLng> ReadCorner(const lbs::GLatLng& corner) {
  const LatLng position = {corner.latitude_e7() / kUnitsPerDegree,
                           corner.longitude_e7() / kUnitsPerDegree};
  if (!corner.has_latitude_e7() || !corner.has_longitude_e7() || !IsOnEarth(position)) {
    return std::nullopt;
  }
  return position;
}

Json FeaturesJson(const lbs::GLocation& location) {
  Json features = Json::array();
  for (int i = 0; i < std::min(location.feature_size(), kMostFeatures); ++i) {
    const lbs::GFeature& feature = location.feature(i);
    Json json = {{"kind", KindOf(feature.feature_type())}, {"name", TextOf(feature.name())}};
    if (const auto center = ReadCorner(feature.center())) json.update(PointOn(*center));
    const auto low = ReadCorner(feature.bounds().lowerleft());
    const auto high = ReadCorner(feature.bounds().upperright());
    if (low && high) {
      json["box"] = {low->latitude, low->longitude, high->latitude, high->longitude};
    }
    features.push_back(std::move(json));
  }
  return features;
}

bool AreTheSame(const LatLng& a, const LatLng& b) {
  return a.latitude == b.latitude && a.longitude == b.longitude;
}

}  // namespace

ExchangeMaps::ExchangeMaps(const Exchange& exchange) {
  Post post;
  // What is sound of a POST that is not is shown.
  static_cast<void>(ReadPost(exchange.request.bytes, &post));
  const Replies replies = ReadReplies(exchange.reply.bytes);
  for (const ServiceRequest& request : post.requests) {
    if (request.service != LocationService::kName || request.is_multipart) continue;
    const auto question = ReadMessage<lbs::GLocRequest>(ViewOf(request.payload));
    const auto reply = replies.find(request.id);
    if (question)
      Add(request.id, *question, reply == replies.end() ? nullptr : reply->second.get());
  }
}

void ExchangeMaps::Add(int request_id, const lbs::GLocRequest& request,
                       const lbs::GLocReply* reply) {
  for (int i = 0; i < request.requestelements_size(); ++i) {
    if (maps_.size() == kMostMaps || keys_.size() >= kMostStations) return;
    const bool is_answered = reply != nullptr && i < reply->replyelements_size();
    Map map = NewMap(request.requestelements(i), is_answered ? &reply->replyelements(i) : nullptr);
    map.drawing["title"] =
        std::string(request.requestelements(i).has_geocode() ? "Reverse geocode" : "Lookup") +
        ", request " + std::to_string(request_id) +
        (request.requestelements_size() > 1 ? ", element " + std::to_string(i + 1) : "");
    for (const Observation& observation : map.observations) keys_.push_back(observation.key);
    if (map.area) keys_.push_back(*map.area);
    maps_.push_back(std::move(map));
  }
}

ExchangeMaps::Map ExchangeMaps::NewMap(const lbs::GLocRequestElement& question,
                                       const lbs::GLocReplyElement* answer) {
  Map map;
  map.drawing = {{"title", ""}};
  const std::optional<LatLng> asked = ReadPosition(question.location());
  if (question.has_geocode()) {
    if (asked) {
      map.drawing["points"] = ListOf(Labelled(*asked, "asked about"));
    }
  } else {
    map.observations = ReadObservations(question);
    if (map.observations.size() > kMostStations) map.observations.resize(kMostStations);
    map.area = AreaOfServingCell(map.observations);
    map.fix = asked;
    if (asked) map.drawing["fixes"] = ListOf(LocationJson(*asked, question.location(), "own fix"));
  }
  if (answer == nullptr || !answer->has_location()) return map;
  map.drawing["features"] = FeaturesJson(answer->location());
  const std::optional<LatLng> answered = ReadPosition(answer->location());
  // Of a reverse geocode it is the point that was asked about, and the fix is drawn already.
  const bool is_estimate =
      answered && !question.has_geocode() && !(map.fix && AreTheSame(*map.fix, *answered));
  if (is_estimate) {
    map.drawing["estimates"] = ListOf(LocationJson(*answered, answer->location(), "answer"));
  }
  return map;
}

Json ExchangeMaps::DrawOne(const Map& map, std::span<const std::optional<Station>> stations) {
  Json drawing = map.drawing;
  std::vector<Sighting> sightings;
  for (std::size_t i = 0; i < map.observations.size(); ++i) {
    if (!stations[i]) continue;
    const Observation& seen = map.observations[i];
    drawing["stations"].push_back(StationJson(seen.key, *stations[i], seen.received_dbm));
    sightings.push_back({*stations[i], seen.received_dbm, seen.age_s, !seen.key.is_access_point()});
  }
  if (map.area && sightings.empty() && stations.back()) {
    drawing["stations"].push_back(StationJson(*map.area, *stations.back(), std::nullopt));
  }
  // Where the answer was the fix, here is what the stations say.
  if (map.fix && !drawing.contains("estimates")) {
    if (const std::optional<Estimate> estimate = EstimateLocation(sightings)) {
      drawing["estimates"] =
          ListOf(Circle(estimate->position, estimate->accuracy_m, "estimate from the stations"));
    }
  }
  if (map.fix && drawing.contains("estimates")) {
    const Json& estimate = drawing["estimates"][0];
    drawing["distance_m"] = DistanceM(
        {estimate["latitude"].get<double>(), estimate["longitude"].get<double>()}, *map.fix);
  }
  return drawing;
}

std::string ExchangeMaps::Draw(std::span<const std::optional<Station>> stations) const {
  static const std::vector<std::optional<Station>> kNone(kMostStations + kMostMaps);
  Json list = Json::array();
  for (const Map& map : maps_) {
    const std::size_t count = map.observations.size() + (map.area ? 1 : 0);
    Json drawing;
    if (stations.empty()) {
      drawing = DrawOne(map, std::span(kNone).first(count));
    } else {
      drawing = DrawOne(map, stations.first(count));
      stations = stations.subspan(count);
    }
    if (drawing.size() > 1) list.push_back(std::move(drawing));
  }
  return list.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace kesu_server
