#ifndef KESU_SERVICES_KESU_SERVICE_REQUEST_H_
#define KESU_SERVICES_KESU_SERVICE_REQUEST_H_

#include "kesu/common/base/clock_interface.h"
#include "kesu/common/base/internal/life_watch.h"
#include "kesu/common/base/request_interface.h"
#include "kesu/mux/response.h"

namespace common_kesu {

class KesuServiceRequest;

/// The side that owns a service call.
class KesuServiceRequestPatron {
 public:
  /// A new invocation of the service, not yet started, owned by the caller; it deletes itself after
  /// its outcome and on Cancel().
  virtual KesuServiceRequest* NewInvocation() = 0;
  virtual ~KesuServiceRequestPatron() = default;
  /// Sends the request. False when it could not be sent.
  virtual bool MakeTheKesuRequest() = 0;
  virtual void CancelTheKesuRequest() = 0;

  /// Whether requests leave at once rather than wait for a batch. Off at first.
  bool send_immediately() const { return send_immediately_; }
  void set_send_immediately(bool send_immediately) { send_immediately_ = send_immediately; }

 private:
  bool send_immediately_ = false;
};

/// One invocation of a service. Deletes itself after its outcome and on Cancel(), which the
/// requester may call from inside its callback too.
class KesuServiceRequest : public common_base::RequestInterface {
 public:
  /// Both are borrowed; the clock may be null, the patron too (see DetachPatron()).
  KesuServiceRequest(KesuServiceRequestPatron* patron, const common_base::ClockInterface* clock)
      : patron_(patron), clock_(clock) {}
  KesuServiceRequest(const KesuServiceRequest&) = delete;
  KesuServiceRequest& operator=(const KesuServiceRequest&) = delete;

  /// Not 0 when there is no multiplexer to send with, or no patron.
  int Start(common_base::RequesterInterface* requester) override;
  void Cancel() override;

  bool is_started() const { return requester_ != nullptr; }
  /// The ticks since the start; 0 before it.
  long long ElapsedTicks() const;
  /// What the invocation was told of; null before its outcome. Valid inside the requester's
  /// callback.
  const Response* response() const { return response_; }

  /// For the patron: tells the requester the outcome, then deletes the invocation. Nothing of the
  /// patron may be touched afterwards.
  void InformRequester(bool success, const Response* response);
  /// For the patron: it is going, or serves another invocation. This one cannot be started any
  /// more, and its Cancel() only deletes it.
  void DetachPatron() { patron_ = nullptr; }

 private:
  common_base::RequesterInterface* requester_ = nullptr;
  KesuServiceRequestPatron* patron_;
  const common_base::ClockInterface* clock_;
  long long start_time_ = 0;
  const Response* response_ = nullptr;
  common_base::LifeWatch life_;
};

}  // namespace common_kesu

#endif  // KESU_SERVICES_KESU_SERVICE_REQUEST_H_
