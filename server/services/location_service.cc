#include "server/services/location_service.h"

#include <cmath>
#include <cstddef>

#include "server/services/lessons.h"
#include "server/services/location_messages.h"

namespace kesu_server {
namespace {

/// Whether the handset's own fix is to be preferred: it is a measurement, so it stands unless it
/// admits to be worse than the estimate.
bool IsBetter(const lbs::GLocation& fix, const Estimate& estimate) {
  return !fix.has_accuracy_m() || fix.accuracy_m() <= estimate.accuracy_m;
}

/// Of the cell that comes first.
std::optional<StationKey> AreaOfServingCell(const std::vector<Observation>& observations) {
  for (const Observation& observation : observations) {
    if (!observation.key.is_access_point()) return AreaKey(observation.key);
  }
  return std::nullopt;
}

/// A cell that is not known is somewhere in its area, and how well it is received says nothing.
Sighting AnywhereIn(const Station& area) {
  Sighting sighting{area};
  sighting.station.model.shadowing_db = 0;
  sighting.is_cell = true;
  return sighting;
}

void WriteEstimate(const Estimate& estimate, lbs::GLocation* location) {
  WritePosition(estimate.position, location->mutable_latlng());
  location->set_accuracy_m(static_cast<int>(std::ceil(estimate.accuracy_m)));
}

}  // namespace

ServiceReply LocationService::Answer(const ServiceRequest& request) {
  if (request.is_multipart) return {kBadRequestStatus, {}};
  const common_base::ByteView payload(
      common_base::kReferenceExistingBuffer,
      reinterpret_cast<const unsigned char*>(request.payload.data()),
      static_cast<int>(request.payload.size()));
  common_base::DataInputStream in(&payload);
  lbs::GLocRequest question;
  if (!question.Read(&in)) return {kBadRequestStatus, {}};

  lbs::GLocReply reply;
  if (!Answer(question, &reply)) return {kUnavailableStatus, {}};
  common_base::ByteVector bytes;
  common_base::DataOutputStream out(&bytes);
  reply.Write(&out);
  return {kOkStatus, {bytes.begin(), bytes.end()}};
}

bool LocationService::FindSightings(const lbs::GLocRequest& request,
                                    std::vector<std::vector<Sighting>>* sightings) {
  std::vector<std::vector<Observation>> observations;
  std::vector<StationKey> keys;
  for (int i = 0; i < request.requestelements_size(); ++i) {
    const lbs::GLocRequestElement& element = request.requestelements(i);
    observations.push_back(element.has_geocode() ? std::vector<Observation>()
                                                 : ReadObservations(element));
    for (const Observation& observation : observations.back()) keys.push_back(observation.key);
    if (const auto area = AreaOfServingCell(observations.back())) keys.push_back(*area);
  }
  if (teach_) teach_(ReadLessons(request, observations));
  std::vector<std::optional<Station>> stations;
  if (!keys.empty() && !storage_->FindStations(keys, &stations)) return false;
  std::size_t next = 0;
  for (const std::vector<Observation>& of_element : observations) {
    std::vector<Sighting>& found = sightings->emplace_back();
    for (const Observation& observation : of_element) {
      const std::optional<Station>& station = stations[next++];
      if (!station) continue;
      found.push_back({*station, observation.received_dbm, observation.age_s,
                       !observation.key.is_access_point()});
    }
    if (!AreaOfServingCell(of_element)) continue;
    const std::optional<Station>& area = stations[next++];
    if (area && found.empty()) found.push_back(AnywhereIn(*area));
  }
  return true;
}

bool LocationService::Answer(const lbs::GLocRequest& request, lbs::GLocReply* reply) {
  std::vector<std::vector<Sighting>> sightings;
  if (!FindSightings(request, &sightings)) return false;
  // The reply as a whole succeeds when any of its elements does, or none was asked for.
  std::optional<LocationStatus> overall;
  for (int i = 0; i < request.requestelements_size(); ++i) {
    lbs::GLocReplyElement* const answer = reply->add_replyelements();
    const std::optional<LocationStatus> status =
        AnswerElement(request.requestelements(i), sightings[static_cast<std::size_t>(i)], answer);
    if (!status) return false;
    answer->set_status(*status);
    if (!overall || *status == kFound) overall = status;
  }
  reply->set_status(overall.value_or(kFound));

  const common_base::GString& key = request.platformprofile().platform_key();
  reply->set_platform_key(key->IsEmpty() ? GStringOf(new_platform_key_()) : key);
  return true;
}

std::optional<LocationStatus> LocationService::AnswerElement(
    const lbs::GLocRequestElement& question, const std::vector<Sighting>& sightings,
    lbs::GLocReplyElement* answer) {
  if (!question.has_geocode()) return Locate(question, sightings, answer);
  const std::optional<LatLng> position = ReadPosition(question.location());
  if (!position) return kInvalidPosition;
  return ReverseGeocode(*position, question.geocode(), answer);
}

std::optional<LocationStatus> LocationService::ReverseGeocode(const LatLng& position,
                                                              const lbs::GGeocodeRequest& wish,
                                                              lbs::GLocReplyElement* answer) {
  std::vector<DescribedFeature> features;
  if (!geocoder_.Describe(position, &features)) return std::nullopt;
  if (features.empty()) return kNothingFound;
  lbs::GLocation* const location = answer->mutable_location();
  WritePosition(position, location->mutable_latlng());
  if (!wish.has_want_features() || wish.want_features()) WriteFeatures(features, location);
  return kFound;
}

std::optional<LocationStatus> LocationService::Locate(const lbs::GLocRequestElement& question,
                                                      const std::vector<Sighting>& sightings,
                                                      lbs::GLocReplyElement* answer) {
  const std::optional<Estimate> estimate = EstimateLocation(sightings);
  const lbs::GLocation& fix = question.location();
  const std::optional<LatLng> position = ReadPosition(fix);
  if (!position && !estimate) return question.has_location() ? kInvalidPosition : kNothingFound;

  lbs::GLocation* const location = answer->mutable_location();
  if (!position || (estimate && !IsBetter(fix, *estimate))) {
    WriteEstimate(*estimate, location);
    return kFound;
  }
  WritePosition(*position, location->mutable_latlng());
  if (fix.has_accuracy_m()) location->set_accuracy_m(fix.accuracy_m());
  std::vector<DescribedFeature> features;
  if (!geocoder_.Describe(*position, &features)) return std::nullopt;
  WriteFeatures(features, location);
  return kFound;
}

}  // namespace kesu_server
