#ifndef KESU_SERVICES_SERVICE_REQUEST_ADAPTER_H_
#define KESU_SERVICES_SERVICE_REQUEST_ADAPTER_H_

#include "kesu/common/base/internal/request_adapter.h"
#include "kesu/common/base/memory.h"
#include "kesu/services/request_reply_service_base.h"

namespace common_kesu {

class ServiceRequestAdapter;

/// The one invocation of a service that may run: what the service has handed out last and has not
/// yet ended. The service goes before its adapters or after them; whichever is left is told.
class CurrentInvocation : public common_base::HeapObject {
 public:
  explicit CurrentInvocation(RequestReplyServiceBase* service) : service_(service) {}
  CurrentInvocation(const CurrentInvocation&) = delete;
  CurrentInvocation& operator=(const CurrentInvocation&) = delete;
  /// Cancels an adapter that runs, and with it what it waits for; its requester is not told. One
  /// that was not started stays with its owner, and cannot be started any more.
  ~CurrentInvocation();

  /// Forgets the adapter, which will not report to the service.
  void Clear();

 private:
  friend class ServiceRequestAdapter;

  RequestReplyServiceBase* service_;
  ServiceRequestAdapter* adapter_ = nullptr;
};

/// An invocation of a service as the application sees it. It becomes the service's current one,
/// unless one is running: then it cannot be started.
class ServiceRequestAdapter : public common_base::RequestAdapter {
 public:
  /// Not 0, and nobody is told, when there is no multiplexer or another invocation of the service
  /// is running.
  int Start(common_base::RequesterInterface* requester) override;
  ~ServiceRequestAdapter() override;

 protected:
  ServiceRequestAdapter(CurrentInvocation* current, const char* name);

 private:
  friend class CurrentInvocation;

  CurrentInvocation* current_ = nullptr;
};

}  // namespace common_kesu

#endif  // KESU_SERVICES_SERVICE_REQUEST_ADAPTER_H_
