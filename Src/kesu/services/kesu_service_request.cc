#include "kesu/services/kesu_service_request.h"

namespace common_kesu {

using common_base::LifeWatch;
using common_base::RequesterInterface;

int KesuServiceRequest::Start(RequesterInterface* requester) {
  if (patron_ == nullptr) return 1;
  requester_ = requester;
  if (clock_ != nullptr) start_time_ = clock_->TickCount();
  if (patron_->MakeTheKesuRequest()) return 0;
  requester_ = nullptr;
  return 1;
}

void KesuServiceRequest::Cancel() {
  if (patron_ != nullptr) patron_->CancelTheKesuRequest();
  delete this;
}

long long KesuServiceRequest::ElapsedTicks() const {
  return start_time_ == 0 ? 0 : clock_->TickCount() - start_time_;
}

void KesuServiceRequest::InformRequester(bool success, const Response* response) {
  /// Deletes the invocation, whatever comes out of the requester, unless that has done it.
  struct Farewell {
    ~Farewell() {
      if (!scope.IsOver()) delete invocation;
    }
    KesuServiceRequest* invocation;
    LifeWatch::Scope scope;
  };
  const Farewell farewell{this, LifeWatch::Scope(&life_)};
  patron_ = nullptr;
  response_ = response;
  if (success) {
    requester_->OnRequestComplete(this);
  } else {
    requester_->OnRequestFailed(this);
  }
}

}  // namespace common_kesu
