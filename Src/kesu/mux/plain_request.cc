#include "kesu/mux/plain_request.h"

#include <algorithm>
#include <limits>

namespace common_kesu {

using common_base::DataOutputStream;
using common_base::GString;
using common_base::GVectorRef;

PlainRequest::PlainRequest(GString service_uri, ServiceVersion service_version,
                           const GVectorRef<const unsigned char>* payload)
    : Request(kRequestBlock, 0),
      payload_(payload),
      service_version_(service_version),
      service_uri_(service_uri) {}

bool PlainRequest::ShouldRetry() {
  if (retries_left_ > 0) --retries_left_;
  return retries_left_ > 0;
}

long long PlainRequest::GetRetryTimeout() {
  const long long timeout = retry_timeout_;
  using Limits = std::numeric_limits<long long>;
  retry_timeout_ = 2 * std::clamp(timeout, Limits::min() / 2, Limits::max() / 2);
  return timeout;
}

void PlainRequest::set_payload(const GVectorRef<const unsigned char>* payload) {
  payload_ = payload;
}

void PlainRequest::WriteBody(DataOutputStream* out) {
  WriteBodyHeaders(out);
  WritePayload(out);
}

void PlainRequest::WriteBodyHeaders(DataOutputStream* out) const {
  out->WriteInt16(id());
  out->WriteUtf8String(service_uri_);
  out->WriteInt16(static_cast<short>(service_version_));
}

void PlainRequest::WritePayload(DataOutputStream* out) {
  out->WriteInt32(payload_ == nullptr ? 0 : payload_->length());
  if (payload_ != nullptr) out->WriteRawBytes(*payload_);
}

}  // namespace common_kesu
