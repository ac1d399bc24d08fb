#include "server/http/reverse_page.h"

#include <cstdio>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <glib.h>

#include "server/geo/geodesy.h"
#include "server/http/json_reply.h"

namespace kesu_server {
namespace {

using Json = nlohmann::ordered_json;

/// Half the side of the box around an answer.
constexpr double kBoxDegrees = 0.01;

/// None when the argument is missing or no number.
std::optional<double> Argument(const HttpRequest& request, const char* name) {
  for (const auto& [key, value] : request.arguments) {
    if (key != name) continue;
    char* end = nullptr;
    const double number = g_ascii_strtod(value.c_str(), &end);
    if (end == value.c_str() || *end != '\0') return std::nullopt;
    return number;
  }
  return std::nullopt;
}

std::string Degrees(double degrees) {
  char text[32];
  g_ascii_formatd(text, sizeof text, "%.7f", degrees);
  return text;
}

/// What is known of an answer, from the smallest part to the largest.
using Parts = std::vector<std::pair<const char*, std::string>>;

Parts PartsOf(const Address& address) {
  return {{"house_number", address.number}, {"road", address.street},
          {"suburb", address.district},     {"city", address.city},
          {"state", address.region},        {"postcode", address.postcode},
          {"country", address.country}};
}

Parts PartsOf(const Place& place) {
  return {{"city", place.name}, {"state", place.region}, {"country", place.country}};
}

Reply Answer(const LatLng& position, const char* type, const Parts& parts) {
  std::string display_name;
  Json address = Json::object();
  for (const auto& [key, value] : parts) {
    if (value.empty()) continue;
    address[key] = value;
    display_name.append(display_name.empty() ? "" : ", ").append(value);
  }
  // The same place has the same number.
  const std::string id_text =
      Degrees(position.latitude) + Degrees(position.longitude) + display_name;
  return JsonReply(
      {{"place_id", std::to_string(g_str_hash(id_text.c_str()))},
       {"type", type},
       {"lat", Degrees(position.latitude)},
       {"lon", Degrees(position.longitude)},
       {"display_name", display_name},
       {"address", address},
       {"boundingbox",
        {Degrees(position.latitude - kBoxDegrees), Degrees(position.latitude + kBoxDegrees),
         Degrees(position.longitude - kBoxDegrees), Degrees(position.longitude + kBoxDegrees)}}});
}

class ReverseWork final : public Inquirer<Reply> {
 public:
  explicit ReverseWork(const HttpRequest& request) : request_(request) {}

  std::optional<Reply> GoOn(const Found& found, Inquiry* inquiry) override {
    if (found.has_failed) return JsonError(kStorageFailureStatus, "Service Unavailable");
    if (!found.surroundings.empty()) return AnswerWith(found.surroundings.front());
    const std::optional<double> latitude = Argument(request_, "lat");
    const std::optional<double> longitude = Argument(request_, "lon");
    if (!latitude || !longitude) return JsonError(kBadJsonStatus, "lat and lon must be numbers");
    const LatLng position = {*latitude, *longitude};
    if (!IsOnEarth(position)) return JsonError(kBadJsonStatus, "lat and lon are not on earth");
    inquiry->points.push_back(position);
    return std::nullopt;
  }

 private:
  static Reply AnswerWith(const Surroundings& surroundings) {
    if (surroundings.address) {
      const Address& address = surroundings.address->address;
      return Answer(address.position, "house", PartsOf(address));
    }
    if (surroundings.place) {
      const Place& place = surroundings.place->place;
      return Answer(place.position, "city", PartsOf(place));
    }
    return JsonReply({{"error", "Unable to geocode"}});
  }

  const HttpRequest& request_;
};

}  // namespace

std::unique_ptr<Inquirer<Reply>> ReverseGeocode(const HttpRequest& request) {
  return std::make_unique<ReverseWork>(request);
}

}  // namespace kesu_server
