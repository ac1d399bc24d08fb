#include "client/location_messages.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

#include "client/earth.h"
#include "client/text.h"

namespace kesu::detail {
namespace {

/// Of answers, and of the responses that hold them.
constexpr int kStatusOk = 0;
constexpr int kResponseOk = 200;

int ToE7(double degrees) {
  return static_cast<int>(std::lround(degrees * kUnitsPerDegree));
}

/// What does not fit is cut to the limits of the field.
int ToInt(double number) {
  constexpr double kMax = std::numeric_limits<int>::max();
  return static_cast<int>(std::clamp(std::ceil(number), 0.0, kMax));
}

int ToInt(std::chrono::milliseconds age) {
  return ToInt(static_cast<double>(age.count()));
}

void WritePoint(double latitude, double longitude, lbs::GLatLng* latlng) {
  latlng->set_latitude_e7(ToE7(latitude));
  latlng->set_longitude_e7(ToE7(longitude));
}

void WriteCell(const Cell& cell, lbs::GCell* message) {
  message->set_mcc(cell.mcc);
  message->set_mnc(cell.mnc);
  message->set_area_code(cell.area);
  message->set_cell_id(cell.cell);
  if (cell.signal_dbm) message->set_signal_strength_dbm(*cell.signal_dbm);
  if (cell.timing_advance) message->set_timing_advance(*cell.timing_advance);
  if (cell.age) message->set_age_ms(ToInt(*cell.age));
  if (cell.scrambling_code) message->set_scrambling_code(*cell.scrambling_code);
}

void WriteAccessPoint(const AccessPoint& access_point, lbs::GWifiDevice* message) {
  message->set_mac_address(GStringOf(access_point.mac_address));
  if (access_point.signal_dbm) message->set_signal_strength_dbm(*access_point.signal_dbm);
  if (access_point.channel) message->set_channel(*access_point.channel);
  if (access_point.age) message->set_age_ms(ToInt(*access_point.age));
}

Point ReadPoint(const lbs::GLatLng& latlng) {
  return {latlng.latitude_e7() / kUnitsPerDegree, latlng.longitude_e7() / kUnitsPerDegree};
}

bool IsPoint(const lbs::GLatLng& latlng) {
  return latlng.has_latitude_e7() && latlng.has_longitude_e7();
}

Address ReadAddress(const lbs::GAddress& message) {
  Address address;
  for (int i = 0; i < message.formattedaddressline_size(); ++i) {
    address.lines.push_back(TextOf(message.formattedaddressline(i)));
  }
  for (int i = 0; i < message.component_size(); ++i) {
    const lbs::GAddressComponent& component = message.component(i);
    address.components.push_back({TextOf(component.name()), {}, TextOf(component.language())});
    if (component.has_component_type()) {
      address.components.back().kind = component.component_type();
    }
  }
  return address;
}

Feature ReadFeature(const lbs::GFeature& message) {
  Feature feature{TextOf(message.name()), {}, {}, {}, ReadAddress(message.address())};
  if (message.has_feature_type()) feature.kind = message.feature_type();
  if (IsPoint(message.center())) feature.centre = ReadPoint(message.center());
  const lbs::GLatLng& south_west = message.bounds().lowerleft();
  const lbs::GLatLng& north_east = message.bounds().upperright();
  if (IsPoint(south_west) && IsPoint(north_east)) {
    feature.bounding_box = {ReadPoint(south_west), ReadPoint(north_east)};
  }
  return feature;
}

std::vector<Feature> ReadFeatures(const lbs::GLocation& message) {
  std::vector<Feature> features;
  for (int i = 0; i < message.feature_size(); ++i) {
    features.push_back(ReadFeature(message.feature(i)));
  }
  return features;
}

std::string LongestName(const std::vector<Feature>& features) {
  const auto longest =
      std::max_element(features.begin(), features.end(), [](const Feature& a, const Feature& b) {
        return CharacterCount(a.name) < CharacterCount(b.name);
      });
  return longest == features.end() ? std::string() : longest->name;
}

Error Malformed(std::string reason, int http_status) {
  Error error{ErrorKind::kMalformed, "the reply is malformed: " + reason, http_status};
  error.reason = std::move(reason);
  error.response_status = kResponseOk;
  return error;
}

/// The status of one answer; that of the reply as a whole where it has none of its own.
int StatusOf(const lbs::GLocReply& reply, const lbs::GLocReplyElement& element) {
  return element.has_status() ? element.status() : reply.status();
}

}  // namespace

void WriteAsker(const Options& options, std::string_view platform_key, lbs::GLocRequest* request) {
  lbs::GPlatformProfile* profile = request->mutable_platformprofile();
  profile->set_version(GStringOf(options.version));
  profile->set_platform(GStringOf(options.platform));
  profile->set_locale(GStringOf(options.locale));
  if (!platform_key.empty()) profile->set_platform_key(GStringOf(platform_key));
}

void WriteQuestion(const Observation& observation, std::chrono::milliseconds utc,
                   lbs::GLocRequestElement* element) {
  for (const Cell& cell : observation.cells) {
    lbs::GCellularProfile* profile = element->mutable_cellularprofile();
    WriteCell(cell, profile->has_primarycell() ? profile->add_neighbors()
                                               : profile->mutable_primarycell());
  }
  for (const AccessPoint& access_point : observation.access_points) {
    WriteAccessPoint(access_point, element->mutable_wifiprofile()->add_wifidevices());
  }
  if (!observation.fix) return;
  const Fix& fix = *observation.fix;
  lbs::GLocation* location = element->mutable_location();
  WritePoint(fix.latitude, fix.longitude, location->mutable_latlng());
  if (fix.accuracy_m) location->set_accuracy_m(ToInt(*fix.accuracy_m));
  if (fix.age) location->set_timestamp_ms((utc - *fix.age).count());
}

void WriteQuestion(const Point& point, lbs::GLocRequestElement* element) {
  WritePoint(point.latitude, point.longitude, element->mutable_location()->mutable_latlng());
  element->mutable_geocode()->set_want_features(true);
}

Result<Location> ReadLocation(const lbs::GLocReply& reply, int http_status) {
  int status = reply.status();
  for (int i = 0; i < reply.replyelements_size(); ++i) {
    const lbs::GLocReplyElement& element = reply.replyelements(i);
    status = StatusOf(reply, element);
    const lbs::GLocation& message = element.location();
    if (status != kStatusOk || !IsPoint(message.latlng())) continue;
    std::string impossible = DescribeImpossible(message);
    if (!impossible.empty()) return Malformed(std::move(impossible), http_status);
    const Point point = ReadPoint(message.latlng());
    Location location{point.latitude, point.longitude, {}, ReadFeatures(message)};
    if (message.has_accuracy_m()) location.accuracy_m = message.accuracy_m();
    return location;
  }
  return Error{ErrorKind::kNotFound, "the service knows no position for what was observed",
               http_status, status};
}

Result<Place> ReadPlace(const lbs::GLocReply& reply, int index, int http_status) {
  if (index >= reply.replyelements_size() && reply.status() == kStatusOk) {
    return Malformed("there is no answer to this point", http_status);
  }
  const lbs::GLocReplyElement none;
  const bool is_there = index < reply.replyelements_size();
  const lbs::GLocReplyElement& element = is_there ? reply.replyelements(index) : none;
  std::string impossible = DescribeImpossible(element.location());
  if (!impossible.empty()) return Malformed(std::move(impossible), http_status);
  Place place{{}, ReadFeatures(element.location())};
  place.name = LongestName(place.features);
  const int status = StatusOf(reply, element);
  if (status != kStatusOk || place.name.empty()) {
    return Error{ErrorKind::kNotFound, "the service knows no place there", http_status, status};
  }
  return place;
}

}  // namespace kesu::detail
