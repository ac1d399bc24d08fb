#ifndef KESU_SERVICES_LOCATION_SERVICE_H_
#define KESU_SERVICES_LOCATION_SERVICE_H_

#include <utility>

#include "kesu/common/base/gstring.h"
#include "kesu/common/base/memory.h"
#include "kesu/common/base/scoped_ptr.h"
#include "kesu/common/base/vector.h"
#include "kesu/proto/lbs.h"
#include "kesu/services/lbs_service.h"
#include "kesu/services/service_request_adapter.h"

namespace common_kesu {

class LocationService;

/// One lookup of a LocationService.
class LocationRequestAdapter : public ServiceRequestAdapter {
 public:
  LocationRequestAdapter(LocationService* service, CurrentInvocation* current);

  int Start(common_base::RequesterInterface* requester) override;

 protected:
  void OnInnerRequestComplete(common_base::RequestInterface* request) override;
  void OnInnerRequestFailed(common_base::RequestInterface* request) override;

 private:
  LocationService* service_;
};

/// The location lookup: radio observations in, estimated positions and a platform key out.
///
///     LocationService service(kLBSServiceUri, request);
///     service.NewInvocation()->Start(requester);
///
/// It can be invoked again and again, one invocation at a time. It may be deleted whenever the
/// application likes, from inside the outcome of an invocation too; an invocation that runs is
/// cancelled with it, and its requester hears nothing.
class LocationService : public common_base::HeapObject {
 public:
  /// Owns `request`, which the caller may change between invocations: each sends it as it then
  /// stands.
  LocationService(const common_base::GString& service_name, lbs::GLocRequest* request);
  LocationService(const LocationService&) = delete;
  LocationService& operator=(const LocationService&) = delete;

  virtual ~LocationService();
  /// The last reply, owned by the service and replaced by the next; null before the first.
  virtual lbs::GLocReply* GetGLocReply() const { return reply_.get(); }
  /// Appends the locations received so far, of all invocations, to `out`. The service owns them.
  /// They pile up: a lookup that finds nothing leaves those of earlier ones. Who asks again and
  /// again takes them, or clears them before each lookup.
  virtual void GetGLocations(common_base::GVector<lbs::GLocation*>* out) const;
  /// Sets `out` to the platform key, if the server has issued one.
  virtual void GetPlatformKey(common_base::GString* out) const;
  /// For the adapter: takes in the reply and its locations.
  virtual lbs::GLocReply* FetchGLocReply();
  virtual void SetPlatformKeyFromReply();
  /// A new lookup, not yet started, owned by the caller; it deletes itself after its outcome and on
  /// Cancel(). Its Start() yields 0, or not 0 when it could not be sent: there is no multiplexer,
  /// or another lookup of this service is running.
  virtual common_base::RequestInterface* NewInvocation();
  /// For the adapter: forgets the current invocation.
  virtual void ClearInvocation();
  /// Appends a copy.
  virtual void AddGLocation(const lbs::GLocation& location);

  /// Hands over the locations received so far; the service then holds none.
  common_base::GVector<common_base::ScopedPtr<lbs::GLocation>> TakeGLocations() {
    return std::exchange(locations_, {});
  }
  /// Deletes the locations received so far.
  void ClearGLocations() { locations_.Clear(); }

  lbs::GLocRequest* request() const { return request_.get(); }
  const common_base::GString& service_name() const { return service_name_; }
  /// Whether lookups leave at once rather than wait for a batch. Off at first.
  void set_send_immediately(bool value) { service_.set_send_immediately(value); }
  /// Tell the reasons of a failed lookup apart, see RequestReplyServiceBase.
  int last_status() const { return service_.last_status(); }
  int last_http_status() const { return service_.last_http_status(); }
  const TransportError& last_transport_error() const { return service_.last_transport_error(); }

 private:
  LbsService service_;
  common_base::GString service_name_;
  bool platform_key_known_ = false;
  common_base::GString platform_key_;
  common_base::GVector<common_base::ScopedPtr<lbs::GLocation>> locations_;
  /// The typed service sends this same object.
  common_base::ScopedPtr<lbs::GLocRequest> request_;
  common_base::ScopedPtr<lbs::GLocReply> reply_;
  /// Declared after the typed service, so that an invocation is cancelled before that goes.
  CurrentInvocation current_invocation_;
};

}  // namespace common_kesu

#endif  // KESU_SERVICES_LOCATION_SERVICE_H_
