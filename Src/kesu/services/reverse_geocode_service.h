#ifndef KESU_SERVICES_REVERSE_GEOCODE_SERVICE_H_
#define KESU_SERVICES_REVERSE_GEOCODE_SERVICE_H_

#include "kesu/common/base/clock_interface.h"
#include "kesu/common/base/gstring.h"
#include "kesu/common/base/memory.h"
#include "kesu/common/base/scoped_ptr.h"
#include "kesu/proto/lbs.h"
#include "kesu/services/lbs_service.h"
#include "kesu/services/service_request_adapter.h"

namespace common_kesu {

class ReverseGeocodeService;

/// One call of a ReverseGeocodeService.
class ReverseGeoRequestAdapter : public ServiceRequestAdapter {
 public:
  ReverseGeoRequestAdapter(ReverseGeocodeService* service, CurrentInvocation* current);

 protected:
  void OnInnerRequestComplete(common_base::RequestInterface* request) override;
  void OnInnerRequestFailed(common_base::RequestInterface* request) override;

 private:
  ReverseGeocodeService* service_;
};

/// The reverse geocoder: a position in, addresses and named features out. Like a LocationService it
/// can be invoked again and again, one invocation at a time, and be deleted at any time, an
/// invocation that runs with it.
class ReverseGeocodeService : public common_base::HeapObject {
 public:
  /// Of the address, where the caller has no preference.
  static constexpr int kDefaultPrecision = 0;

  /// Asks about the point with the default platform strings. `lat` and `lng` are degrees, WGS 84.
  /// `clock` is borrowed; it tells the time of the observation, which is 0 where it is null.
  ReverseGeocodeService(float lat, float lng, const common_base::ClockInterface* clock);
  /// The strings fill the platform profile in its order; `precision` is passed on to the server.
  ReverseGeocodeService(float lat, float lng, int precision, common_base::GString version,
                        common_base::GString platform, common_base::GString distribution_channel,
                        common_base::GString locale, common_base::GString model,
                        const common_base::ClockInterface* clock);
  ReverseGeocodeService(const ReverseGeocodeService&) = delete;
  ReverseGeocodeService& operator=(const ReverseGeocodeService&) = delete;
  ~ReverseGeocodeService();

  /// Builds the request anew, for another point say. Not while an invocation runs.
  void InitializeLbsService(float lat, float lng, int precision, common_base::GString version,
                            common_base::GString platform,
                            common_base::GString distribution_channel, common_base::GString locale,
                            common_base::GString model);

  /// A new call, not yet started, owned by the caller; it deletes itself after its outcome and on
  /// Cancel(). Its Start() yields 0, or not 0 when it could not be sent: there is no multiplexer,
  /// or another call of this service is running.
  common_base::RequestInterface* NewInvocation();

  /// The longest name among the features of the last reply, the first of equals; empty where there
  /// is none.
  common_base::GString GetLongestReverseGeocode() const;

  /// Keeps a copy.
  void SaveGLocReply(const lbs::GLocReply* reply);
  /// The last reply, owned by the service and replaced by the next; null before the first.
  const lbs::GLocReply* GetGLocReply() const { return reply_.get(); }

  bool revgeocode_request_in_progress() const { return service_->HasInvocationRunning(); }
  /// Whether the last reply says that the server knows the place.
  bool revgeocode_request_succeeded() const { return succeeded_; }
  const common_base::GString& platform_key() const { return platform_key_; }
  void set_platform_key(const common_base::GString& key) { platform_key_ = key; }
  /// Whether calls leave at once rather than wait for a batch. Off at first.
  void set_send_immediately(bool value) { service_->set_send_immediately(value); }
  /// Tell the reasons of a failed call apart, see RequestReplyServiceBase.
  int last_status() const { return service_->last_status(); }
  int last_http_status() const { return service_->last_http_status(); }
  const TransportError& last_transport_error() const { return service_->last_transport_error(); }

 private:
  friend class ReverseGeoRequestAdapter;

  void ClearInvocation();
  void TakeInReply();

  bool succeeded_ = false;
  common_base::GString platform_key_;
  common_base::ScopedPtr<LbsService> service_;
  common_base::ScopedPtr<lbs::GLocReply> reply_;
  /// Goes before the typed service, so that an invocation is cancelled first.
  common_base::ScopedPtr<CurrentInvocation> current_invocation_;
  const common_base::ClockInterface* clock_;
};

}  // namespace common_kesu

#endif  // KESU_SERVICES_REVERSE_GEOCODE_SERVICE_H_
