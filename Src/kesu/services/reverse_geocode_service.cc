#include "kesu/services/reverse_geocode_service.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace common_kesu {
namespace {

using common_base::ClockInterface;
using common_base::GString;
using common_base::RequestInterface;

constexpr double kUnitsPerDegree = 10'000'000;
constexpr int kReplyStatusOk = 0;

/// Degrees as the wire has them. What does not fit is cut to the limits of the field.
int ToE7(float degrees) {
  const double units = static_cast<double>(degrees) * kUnitsPerDegree;
  if (std::isnan(units)) return 0;
  constexpr double kMin = std::numeric_limits<int>::min();
  constexpr double kMax = std::numeric_limits<int>::max();
  return static_cast<int>(std::clamp(units, kMin, kMax));
}

}  // namespace

ReverseGeoRequestAdapter::ReverseGeoRequestAdapter(ReverseGeocodeService* service,
                                                   CurrentInvocation* current)
    : ServiceRequestAdapter(current, "ReverseGeoRequestAdapter"), service_(service) {}

void ReverseGeoRequestAdapter::OnInnerRequestComplete(RequestInterface*) {
  service_->ClearInvocation();
  service_->TakeInReply();
}

void ReverseGeoRequestAdapter::OnInnerRequestFailed(RequestInterface*) {
  service_->ClearInvocation();
}

ReverseGeocodeService::ReverseGeocodeService(float lat, float lng, const ClockInterface* clock)
    : ReverseGeocodeService(lat, lng, kDefaultPrecision, GString(), kLBSDefaultPlatform,
                            kLBSDefaultDistributionChannel, kLBSDefaultLocale, GString(), clock) {}

ReverseGeocodeService::ReverseGeocodeService(float lat, float lng, int precision, GString version,
                                             GString platform, GString distribution_channel,
                                             GString locale, GString model,
                                             const ClockInterface* clock)
    : clock_(clock) {
  InitializeLbsService(lat, lng, precision, version, platform, distribution_channel, locale, model);
}

ReverseGeocodeService::~ReverseGeocodeService() = default;

void ReverseGeocodeService::InitializeLbsService(float lat, float lng, int precision,
                                                 GString version, GString platform,
                                                 GString distribution_channel, GString locale,
                                                 GString model) {
  auto* request = new lbs::GLocRequest;
  lbs::GPlatformProfile* profile = request->mutable_platformprofile();
  profile->set_version(version);
  profile->set_platform(platform);
  profile->set_distribution_channel(distribution_channel);
  profile->set_locale(locale);
  profile->set_model(model);

  lbs::GLocRequestElement* element = request->add_requestelements();
  lbs::GLocation* location = element->mutable_location();
  location->mutable_latlng()->set_latitude_e7(ToE7(lat));
  location->mutable_latlng()->set_longitude_e7(ToE7(lng));
  location->set_timestamp_ms(clock_ == nullptr ? 0 : clock_->GetUtcTime());
  lbs::GGeocodeRequest* geocode = element->mutable_geocode();
  geocode->set_precision(precision);
  geocode->set_want_features(true);

  current_invocation_.reset();
  service_.reset(new LbsService(kLBSServiceUri, request));
  current_invocation_.reset(new CurrentInvocation(service_.get()));
}

RequestInterface* ReverseGeocodeService::NewInvocation() {
  succeeded_ = false;
  return new ReverseGeoRequestAdapter(this, current_invocation_.get());
}

void ReverseGeocodeService::ClearInvocation() {
  current_invocation_->Clear();
}

void ReverseGeocodeService::TakeInReply() {
  const lbs::GLocReply* reply = service_->vollen_response();
  if (reply == nullptr) return;
  succeeded_ = reply->has_status() && reply->status() == kReplyStatusOk;
  SaveGLocReply(reply);
  if (reply->has_platform_key()) platform_key_ = reply->platform_key();
}

void ReverseGeocodeService::SaveGLocReply(const lbs::GLocReply* reply) {
  reply_.reset(CopyMessage(*reply));
}

GString ReverseGeocodeService::GetLongestReverseGeocode() const {
  GString longest;
  int longest_length = -1;
  if (!reply_) return longest;
  for (int i = 0; i < reply_->replyelements_size(); ++i) {
    const lbs::GLocation& location = reply_->replyelements(i).location();
    for (int j = 0; j < location.feature_size(); ++j) {
      const lbs::GFeature& feature = location.feature(j);
      if (!feature.has_name() || feature.name()->Length() <= longest_length) continue;
      longest = feature.name();
      longest_length = longest->Length();
    }
  }
  return longest;
}

}  // namespace common_kesu
