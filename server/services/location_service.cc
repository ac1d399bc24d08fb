#include "server/services/location_service.h"

#include <cmath>
#include <cstddef>
#include <optional>
#include <vector>

#include "kesu/common/net/proto/decode_budget.h"
#include "kesu/proto/lbs.h"

#include "server/estimate/location_estimator.h"
#include "server/services/lessons.h"
#include "server/services/location_messages.h"
#include "server/services/reverse_geocoder.h"
#include "server/services/sightings.h"

namespace kesu_server {
namespace {

/// Whether the handset's own fix is to be preferred: it is a measurement, so it stands unless it
/// admits to be worse than the estimate.
bool IsBetter(const lbs::GLocation& fix, const Estimate& estimate) {
  return !fix.has_accuracy_m() || fix.accuracy_m() <= estimate.accuracy_m;
}

void WriteEstimate(const Estimate& estimate, lbs::GLocation* location) {
  WritePosition(estimate.position, location->mutable_latlng());
  location->set_accuracy_m(static_cast<int>(std::ceil(estimate.accuracy_m)));
}

}  // namespace

/// One request. It asks for all stations and all positions that are to be described, and, where the
/// estimate had to be known first, for the rest of those.
class LocationService::Work final : public Inquirer<ServiceReply> {
 public:
  Work(const LocationService* service, const ServiceRequest& request)
      : service_(service), request_(request) {}

  std::optional<ServiceReply> GoOn(const Found& found, Inquiry* inquiry) override {
    if (found.has_failed) return ServiceReply{kUnavailableStatus, {}};
    switch (next_) {
      case Step::kAsk:
        if (!Read()) return ServiceReply{kBadRequestStatus, {}};
        next_ = Step::kAnswer;
        if (Ask(inquiry)) return std::nullopt;
        [[fallthrough]];
      case Step::kAnswer:
        next_ = Step::kDescribe;
        Answer(found, inquiry);
        if (!fixes_.empty()) return std::nullopt;
        [[fallthrough]];
      case Step::kDescribe:
        DescribeFixes(found);
    }
    return Write();
  }

 private:
  enum class Step { kAsk, kAnswer, kDescribe };

  /// An element whose own fix stands.
  struct Fix {
    int element = 0;
    LatLng position;
  };

  bool Read();
  /// Whether there is anything to ask.
  bool Ask(Inquiry* inquiry);
  void Answer(const Found& found, Inquiry* inquiry);
  LocationStatus Locate(int element, const std::vector<Sighting>& sightings, Inquiry* inquiry);
  LocationStatus ReverseGeocode(int element, const LatLng& position,
                                const Surroundings& surroundings);
  void DescribeFixes(const Found& found);
  ServiceReply Write();

  const LocationService* service_;
  const ServiceRequest& request_;
  Step next_ = Step::kAsk;
  lbs::GLocRequest question_;
  lbs::GLocReply reply_;
  /// Of each element; none of those that are to be described.
  std::vector<std::vector<Observation>> observations_;
  /// How many stations were asked for, for each element.
  std::vector<std::size_t> key_counts_;
  std::vector<Fix> fixes_;
};

bool LocationService::Work::Read() {
  if (request_.is_multipart) return false;
  const common_base::ByteView payload(
      common_base::kReferenceExistingBuffer,
      reinterpret_cast<const unsigned char*>(request_.payload.data()),
      static_cast<int>(request_.payload.size()));
  common_base::DataInputStream in(&payload);
  const common_net_proto::DecodeBudget budget;
  return question_.Read(&in);
}

bool LocationService::Work::Ask(Inquiry* inquiry) {
  const std::size_t size = inquiry->size();
  for (int i = 0; i < question_.requestelements_size(); ++i) {
    const lbs::GLocRequestElement& element = question_.requestelements(i);
    std::vector<Observation>& observations = observations_.emplace_back();
    key_counts_.push_back(0);
    if (element.has_geocode()) {
      const std::optional<LatLng> position = ReadPosition(element.location());
      if (position) inquiry->points.push_back(*position);
      continue;
    }
    observations = ReadObservations(element);
    const std::vector<StationKey> keys = KeysOf(observations);
    inquiry->keys.insert(inquiry->keys.end(), keys.begin(), keys.end());
    key_counts_.back() = keys.size();
  }
  if (service_->teach_) service_->teach_(ReadLessons(question_, observations_));
  return inquiry->size() > size;
}

void LocationService::Work::Answer(const Found& found, Inquiry* inquiry) {
  // The reply as a whole succeeds when any of its elements does, or none was asked for.
  std::optional<LocationStatus> overall;
  std::size_t station = 0;
  std::size_t point = 0;
  for (int i = 0; i < question_.requestelements_size(); ++i) {
    const lbs::GLocRequestElement& element = question_.requestelements(i);
    reply_.add_replyelements();
    LocationStatus status = kInvalidPosition;
    if (!element.has_geocode()) {
      const std::vector<Observation>& observations = observations_[static_cast<std::size_t>(i)];
      const std::size_t keys = key_counts_[static_cast<std::size_t>(i)];
      status = Locate(i, SightingsOf(observations, found.stations.subspan(station, keys)), inquiry);
      station += keys;
    } else if (const auto position = ReadPosition(element.location())) {
      status = ReverseGeocode(i, *position, found.surroundings[point++]);
    }
    reply_.mutable_replyelements(i)->set_status(status);
    if (!overall || status == kFound) overall = status;
  }
  reply_.set_status(overall.value_or(kFound));
}

LocationStatus LocationService::Work::ReverseGeocode(int element, const LatLng& position,
                                                     const Surroundings& surroundings) {
  const std::vector<DescribedFeature> features = Describe(position, surroundings);
  if (features.empty()) return kNothingFound;
  lbs::GLocation* const location = reply_.mutable_replyelements(element)->mutable_location();
  WritePosition(position, location->mutable_latlng());
  const lbs::GGeocodeRequest& wish = question_.requestelements(element).geocode();
  if (!wish.has_want_features() || wish.want_features()) WriteFeatures(features, location);
  return kFound;
}

LocationStatus LocationService::Work::Locate(int element, const std::vector<Sighting>& sightings,
                                             Inquiry* inquiry) {
  const lbs::GLocRequestElement& question = question_.requestelements(element);
  const std::optional<Estimate> estimate = EstimateLocation(sightings);
  const lbs::GLocation& fix = question.location();
  const std::optional<LatLng> position = ReadPosition(fix);
  if (!position && !estimate) return question.has_location() ? kInvalidPosition : kNothingFound;

  lbs::GLocation* const location = reply_.mutable_replyelements(element)->mutable_location();
  if (!position || (estimate && !IsBetter(fix, *estimate))) {
    WriteEstimate(*estimate, location);
    return kFound;
  }
  WritePosition(*position, location->mutable_latlng());
  if (fix.has_accuracy_m()) location->set_accuracy_m(fix.accuracy_m());
  fixes_.push_back({element, *position});
  inquiry->points.push_back(*position);
  return kFound;
}

void LocationService::Work::DescribeFixes(const Found& found) {
  for (std::size_t i = 0; i < fixes_.size(); ++i) {
    const Fix& fix = fixes_[i];
    WriteFeatures(Describe(fix.position, found.surroundings[i]),
                  reply_.mutable_replyelements(fix.element)->mutable_location());
  }
}

ServiceReply LocationService::Work::Write() {
  const common_base::GString& key = question_.platformprofile().platform_key();
  reply_.set_platform_key(key->IsEmpty() ? GStringOf(service_->new_platform_key_()) : key);
  common_base::ByteVector bytes;
  common_base::DataOutputStream out(&bytes);
  reply_.Write(&out);
  return {kOkStatus, {bytes.begin(), bytes.end()}};
}

std::unique_ptr<Inquirer<ServiceReply>> LocationService::Begin(
    const ServiceRequest& request) const {
  return std::make_unique<Work>(this, request);
}

}  // namespace kesu_server
