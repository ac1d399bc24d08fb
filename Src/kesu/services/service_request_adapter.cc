#include "kesu/services/service_request_adapter.h"

namespace common_kesu {

CurrentInvocation::~CurrentInvocation() {
  if (adapter_ != nullptr && service_->HasInvocationStarted()) adapter_->Cancel();
  Clear();
}

void CurrentInvocation::Clear() {
  if (adapter_ == nullptr) return;
  adapter_->current_ = nullptr;
  adapter_ = nullptr;
}

ServiceRequestAdapter::ServiceRequestAdapter(CurrentInvocation* current, const char* name) {
  const bool is_busy = current->service_->HasInvocationRunning();
  InitRequestAdapter(current->service_->NewInvocation(), name);
  if (is_busy) return;
  current->Clear();
  current->adapter_ = this;
  current_ = current;
}

int ServiceRequestAdapter::Start(common_base::RequesterInterface* requester) {
  // Each invocation sends the request as it then stands, whatever was answered before.
  if (current_ != nullptr) current_->service_->ResetForNewRequest();
  return RequestAdapter::Start(requester);
}

ServiceRequestAdapter::~ServiceRequestAdapter() {
  if (current_ != nullptr) current_->Clear();
}

}  // namespace common_kesu
