#ifndef KESU_MUX_PLAIN_REQUEST_H_
#define KESU_MUX_PLAIN_REQUEST_H_

#include "kesu/common/base/clock_interface.h"
#include "kesu/common/base/gstring.h"
#include "kesu/mux/request.h"

namespace common_kesu {

/// The version of a remote service, a 16-bit number on the wire.
enum class ServiceVersion : short { kVersion0 = 0, kVersion1 = 1 };

/// A call of a remote service. It is sent twice at most: again after half a second, unless
/// set_retry_timeout() says otherwise.
class PlainRequest : public Request {
 public:
  static constexpr long long kDefaultRetryTimeoutTicks = common_base::kTicksPerSecond / 2;

  /// `payload` is borrowed, the view itself and its bytes, for the life of the request; null is no
  /// payload.
  PlainRequest(common_base::GString service_uri, ServiceVersion service_version,
               const common_base::GVectorRef<const unsigned char>* payload = nullptr);

  bool ShouldRetry() override;
  long long GetRetryTimeout() override;
  void WriteBody(common_base::DataOutputStream* out) override;
  /// Not once the length of the request has been asked for, by its submission at the latest, unless
  /// set_body_length(kBodyLengthUnknown) follows: the length is not computed again. What is sent
  /// with a wrong one is reported as a broken contract.
  virtual void set_payload(const common_base::GVectorRef<const unsigned char>* payload);
  /// A 32-bit length and the payload.
  virtual void WritePayload(common_base::DataOutputStream* out);

  const common_base::GVectorRef<const unsigned char>* payload() const { return payload_; }
  const common_base::GString& service_uri() const { return service_uri_; }
  ServiceVersion service_version() const { return service_version_; }
  void set_retry_timeout(long long ticks) { retry_timeout_ = ticks; }

 protected:
  /// Id, service and version.
  void WriteBodyHeaders(common_base::DataOutputStream* out) const;

 private:
  int retries_left_ = 2;
  const common_base::GVectorRef<const unsigned char>* payload_;
  long long retry_timeout_ = kDefaultRetryTimeoutTicks;
  ServiceVersion service_version_;
  common_base::GString service_uri_;
};

}  // namespace common_kesu

#endif  // KESU_MUX_PLAIN_REQUEST_H_
