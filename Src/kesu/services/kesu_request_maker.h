#ifndef KESU_SERVICES_KESU_REQUEST_MAKER_H_
#define KESU_SERVICES_KESU_REQUEST_MAKER_H_

#include "kesu/common/base/gstring.h"
#include "kesu/common/base/memory.h"
#include "kesu/common/base/vector.h"
#include "kesu/mux/plain_request.h"

namespace common_kesu {

/// Makes the request block for a call. Derive from it to set retry time-outs, say.
class KesuRequestMaker : public common_base::HeapObject {
 public:
  /// A new request, owned by the caller. `payload` is borrowed for the life of the request.
  virtual PlainRequest* NewKesuRequestFrom(
      const common_base::GString& service_uri,
      const common_base::GVectorRef<const unsigned char>* payload) {
    return new PlainRequest(service_uri, ServiceVersion::kVersion1, payload);
  }

  // Behind the one operation on purpose: the order of virtual operations is part of the interface.
  virtual ~KesuRequestMaker() = default;
};

}  // namespace common_kesu

#endif  // KESU_SERVICES_KESU_REQUEST_MAKER_H_
