#include "kesu/services/request_reply_service_base.h"

#include <utility>

#include "kesu/common/base/logging.h"
#include "kesu/mux/mobile_service_mux.h"

namespace common_kesu {
namespace {

using common_base::ByteView;
using common_base::DataInputStream;
using common_base::DataOutputStream;
using common_base::LogDebug;
using common_base::LogWarn;
using common_base::ScopedPtr;

constexpr int kStatusOk = 200;
/// Spares most payloads the steps of growing from nothing.
constexpr int kTypicalPayloadBytes = 256;

}  // namespace

RequestReplyServiceBase::~RequestReplyServiceBase() {
  RequestReplyServiceBase::CancelTheKesuRequest();
  ReplaceRequest(nullptr);
}

KesuServiceRequest* RequestReplyServiceBase::NewInvocation() {
  const MobileServiceMux* mux = MobileServiceMux::GetInstance();
  const common_base::ClockInterface* clock = mux == nullptr ? nullptr : mux->clock();
  if (HasInvocationRunning()) return new KesuServiceRequest(nullptr, clock);
  if (invocation_ != nullptr) invocation_->DetachPatron();
  invocation_ = new KesuServiceRequest(this, clock);
  return invocation_;
}

bool RequestReplyServiceBase::MakeTheKesuRequest() {
  MobileServiceMux* mux = MobileServiceMux::GetInstance();
  if (mux == nullptr) {
    ForgetOutcome({TransportErrorKind::kNotStarted, "there is no multiplexer"});
    return false;
  }
  if (response_received_) {
    InformRequester(true, nullptr);
    return true;
  }
  ForgetOutcome({});
  payload_.Clear();
  payload_.SetReserve(kTypicalPayloadBytes);
  DataOutputStream stream(&payload_);
  WriteThePayloadTo(&stream);
  payload_view_ = ByteView(payload_);
  ReplaceRequest(maker_->NewKesuRequestFrom(service_uri_, &payload_view_));
  request_->ReplaceListener(this);
  request_made_ = true;
  mux->Submit(request_.get(), send_immediately());
  return true;
}

/// Deletes the previous request, once nobody borrows it any more.
void RequestReplyServiceBase::ReplaceRequest(Request* request) {
  if (request_ && request_.get() != request) {
    request_->ReplaceListener(nullptr);
    MobileServiceMux* mux = MobileServiceMux::GetInstance();
    if (request_made_ && mux != nullptr) mux->Cancel(request_.get());
  }
  request_made_ = false;
  request_.reset(request);
}

bool RequestReplyServiceBase::RequestComplete(const Request*, const Response* response, bool* ok) {
  request_made_ = false;
  response_received_ = false;
  if (invocation_ == nullptr) return true;
  RememberOutcome(*response);
  LogDebug("... handling the response");
  if (response->is_error()) {
    LogWarn("The server sent back an error");
    InformRequester(false, response);
    return true;
  }
  *ok = response->status_code() == kStatusOk;
  if (*ok) {
    const ScopedPtr<DataInputStream> stream(response->GetInputStream());
    *ok = stream && ExtractTheResponseFrom(stream.get());
    response_received_ = *ok;
  }
  if (!*ok) LogWarn("An error occurred while attempting to extract the response");
  InformRequester(response_received_, response);
  return true;
}

void RequestReplyServiceBase::ForgetOutcome(const TransportError& error) {
  last_status_ = 0;
  last_http_status_ = 0;
  last_transport_error_ = error;
}

void RequestReplyServiceBase::RememberOutcome(const Response& response) {
  const HttpRequestInterface* http_request = response.http_request();
  if (http_request == nullptr) {
    ForgetOutcome({TransportErrorKind::kNotStarted, "the transport made no request"});
  } else {
    last_http_status_ = http_request->HttpResponseStatusCode();
    last_transport_error_ = http_request->last_transport_error();
  }
  last_status_ = response.status_code();
}

/// The requester may delete this service: nothing of it may be touched afterwards.
void RequestReplyServiceBase::InformRequester(bool success, const Response* response) {
  if (!HasInvocationRunning()) return;
  std::exchange(invocation_, nullptr)->InformRequester(success, response);
}

void RequestReplyServiceBase::CancelTheKesuRequest() {
  if (request_) request_->ReplaceListener(nullptr);
  if (invocation_ == nullptr) return;
  ReplaceRequest(nullptr);
  std::exchange(invocation_, nullptr)->DetachPatron();
}

void RequestReplyServiceBase::ResetForNewRequest() {
  payload_.Clear();
  payload_view_ = ByteView();
  response_received_ = false;
}

}  // namespace common_kesu
