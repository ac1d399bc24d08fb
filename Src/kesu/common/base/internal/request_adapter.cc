#include "kesu/common/base/internal/request_adapter.h"

#include <cstdint>
#include <utility>

#include "kesu/common/base/logging.h"

namespace common_base {

void RequestAdapter::InitRequestAdapter(RequestInterface* inner, const char* name) {
  name_ = name;
  inner_request_ = inner;
  requester_ = nullptr;
}

int RequestAdapter::LogId() const {
  return static_cast<int>(reinterpret_cast<std::uintptr_t>(this));
}

int RequestAdapter::Start(RequesterInterface* requester) {
  LogDebug("RequestAdapter %s %d: start", name_, LogId());
  requester_ = requester;
  return inner_request_->Start(this);
}

void RequestAdapter::Cancel() {
  LogDebug("RequestAdapter %s %d: cancel", name_, LogId());
  const LifeWatch::Scope scope(&life_);
  if (RequestInterface* inner = std::exchange(inner_request_, nullptr)) inner->Cancel();
  if (!scope.IsOver()) delete this;
}

RequestAdapter::~RequestAdapter() {
  if (RequestInterface* inner = std::exchange(inner_request_, nullptr)) inner->Cancel();
}

void RequestAdapter::ResetInnerRequest(RequestInterface* next) {
  inner_request_ = next;
  if (next->Start(this) == 0) return;
  // It will never report; the adapter does, as failed.
  inner_request_ = nullptr;
  succeeded_ = false;
  next->Cancel();
}

void RequestAdapter::InformRequester() {
  if (succeeded_) {
    requester_->OnRequestComplete(this);
  } else {
    requester_->OnRequestFailed(this);
  }
}

void RequestAdapter::OnRequestComplete(RequestInterface* request) {
  OnInnerRequestEnded(request, true);
}

void RequestAdapter::OnRequestFailed(RequestInterface* request) {
  OnInnerRequestEnded(request, false);
}

void RequestAdapter::OnInnerRequestEnded(RequestInterface* request, bool succeeded) {
  if (request != inner_request_) return;
  inner_request_ = nullptr;
  LogDebug("RequestAdapter %s %d: inner request %s", name_, LogId(),
           succeeded ? "complete" : "failed");
  succeeded_ = succeeded;
  const LifeWatch::Scope scope(&life_);
  if (succeeded) {
    OnInnerRequestComplete(request);
  } else {
    OnInnerRequestFailed(request);
  }
  if (scope.IsOver() || inner_request_ != nullptr) return;
  LogDebug("RequestAdapter %s %d: %s", name_, LogId(), succeeded ? "complete" : "failed");
  // Also when the requester throws.
  const struct Deletion {
    ~Deletion() {
      if (!scope.IsOver()) delete adapter;
    }
    RequestAdapter* adapter;
    const LifeWatch::Scope& scope;
  } deletion{this, scope};
  InformRequester();
}

void RequestAdapter::OnRequestMadeProgress(RequestInterface*) {
  requester_->OnRequestMadeProgress(this);
}

}  // namespace common_base
