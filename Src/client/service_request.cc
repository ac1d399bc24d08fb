#include "client/service_request.h"

#include <random>
#include <utility>

#include "client/text.h"
#include "kesu/common/base/clock_interface.h"
#include "kesu/mux/mobile_service_mux.h"

namespace kesu::detail {
namespace {

/// Half a second to a second: the clients of a service that has failed do not come back together.
long long RetryTimeout() {
  static std::minstd_rand random{std::random_device()()};
  return std::uniform_int_distribution<long long>(common_base::kTicksPerSecond / 2,
                                                  common_base::kTicksPerSecond)(random);
}

}  // namespace

ServiceRequest::ServiceRequest(std::string_view service, common_base::ByteVector payload,
                               LiveCounters* counters, OnResponse on_response)
    : PlainRequest(GStringOf(service), common_kesu::ServiceVersion::kVersion1),
      payload_(std::move(payload)),
      payload_view_(payload_),
      counters_(counters),
      on_response_(std::move(on_response)) {
  set_payload(&payload_view_);
  set_retry_timeout(RetryTimeout());
  ReplaceListener(this);
  ++counters_->requests;
  ++counters_->waiting;
}

ServiceRequest::~ServiceRequest() {
  if (stage_ != Stage::kHasEnded && is_submitted_) {
    common_kesu::MobileServiceMux::GetInstance()->Cancel(this);
  }
  MoveTo(Stage::kHasEnded);
}

void ServiceRequest::Submit() {
  if (std::exchange(is_submitted_, true)) return;
  common_kesu::MobileServiceMux::GetInstance()->Submit(this);
}

void ServiceRequest::WriteHeader(common_base::DataOutputStream* out) {
  PlainRequest::WriteHeader(out);
  MoveTo(Stage::kIsInFlight);
  if (std::exchange(was_sent_, true)) ++counters_->retries;
}

bool ServiceRequest::ShouldRetry() {
  const bool is_to_be_sent = PlainRequest::ShouldRetry();
  if (is_to_be_sent) MoveTo(Stage::kWaits);
  return is_to_be_sent;
}

bool ServiceRequest::RequestComplete(const common_kesu::Request*,
                                     const common_kesu::Response* response, bool*) {
  MoveTo(Stage::kHasEnded);
  // The function goes with this request.
  const OnResponse on_response = std::move(on_response_);
  on_response(*response);
  return true;
}

void ServiceRequest::MoveTo(Stage stage) {
  const auto count_of = [this](Stage of) {
    return of == Stage::kWaits ? &counters_->waiting : &counters_->in_flight;
  };
  if (stage_ != Stage::kHasEnded) --*count_of(stage_);
  if (stage != Stage::kHasEnded) ++*count_of(stage);
  stage_ = stage;
}

}  // namespace kesu::detail
