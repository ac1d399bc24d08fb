#include "kesu/services/location_service.h"

#include "kesu/common/base/logging.h"

namespace common_kesu {

using common_base::GString;
using common_base::GVector;
using common_base::LogWarn;
using common_base::RequestInterface;
using common_base::ScopedPtr;

LocationRequestAdapter::LocationRequestAdapter(LocationService* service, CurrentInvocation* current)
    : ServiceRequestAdapter(current, "LocationRequestAdapter"), service_(service) {}

int LocationRequestAdapter::Start(RequesterInterface* requester) {
  return ServiceRequestAdapter::Start(requester);
}

void LocationRequestAdapter::OnInnerRequestComplete(RequestInterface*) {
  service_->ClearInvocation();
  service_->FetchGLocReply();
  service_->SetPlatformKeyFromReply();
}

void LocationRequestAdapter::OnInnerRequestFailed(RequestInterface*) {
  service_->ClearInvocation();
}

LocationService::LocationService(const GString& service_name, lbs::GLocRequest* request)
    : service_(service_name, request),
      service_name_(service_name),
      request_(request),
      current_invocation_(&service_) {
  service_.vollen_request_as_owner();
}

LocationService::~LocationService() = default;

RequestInterface* LocationService::NewInvocation() {
  return new LocationRequestAdapter(this, &current_invocation_);
}

void LocationService::ClearInvocation() {
  current_invocation_.Clear();
}

void LocationService::GetGLocations(GVector<lbs::GLocation*>* out) const {
  for (const auto& location : locations_) out->Append(location.get());
}

void LocationService::GetPlatformKey(GString* out) const {
  if (platform_key_known_) *out = platform_key_;
}

void LocationService::AddGLocation(const lbs::GLocation& location) {
  locations_.Append(ScopedPtr<lbs::GLocation>(CopyMessage(location)));
}

lbs::GLocReply* LocationService::FetchGLocReply() {
  reply_.reset(service_.vollen_response_as_owner());
  if (!reply_) return nullptr;
  for (int i = 0; i < reply_->replyelements_size(); ++i) {
    const lbs::GLocReplyElement& element = reply_->replyelements(i);
    if (element.has_location()) AddGLocation(element.location());
  }
  return reply_.get();
}

void LocationService::SetPlatformKeyFromReply() {
  if (!reply_ || !reply_->has_platform_key()) {
    LogWarn("server did not return a platform key");
    return;
  }
  platform_key_ = reply_->platform_key();
  platform_key_known_ = true;
  if (platform_key_->IsEmpty()) LogWarn("received empty platfrom key from server");
}

}  // namespace common_kesu
