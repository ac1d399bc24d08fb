#ifndef KESU_SERVICES_KESU_REQUEST_MAKER_H_
#define KESU_SERVICES_KESU_REQUEST_MAKER_H_

#include <random>

#include "kesu/common/base/gstring.h"
#include "kesu/common/base/memory.h"
#include "kesu/common/base/vector.h"
#include "kesu/mux/plain_request.h"

namespace common_kesu {

/// Makes the request block for a call. Derive from it to set other retry time-outs, say.
class KesuRequestMaker : public common_base::HeapObject {
 public:
  /// The first retry time-out of a request is drawn from these, both included, so that the clients
  /// of a server that turns them all away do not come back all at once.
  static constexpr long long kMinRetryTimeoutTicks = PlainRequest::kDefaultRetryTimeoutTicks;
  static constexpr long long kMaxRetryTimeoutTicks = 2 * kMinRetryTimeoutTicks;

  /// Each maker draws time-outs of its own.
  KesuRequestMaker();
  /// Draws the same time-outs each time.
  explicit KesuRequestMaker(unsigned seed) : random_(seed) {}

  /// A new request, owned by the caller. `payload` is borrowed for the life of the request.
  virtual PlainRequest* NewKesuRequestFrom(
      const common_base::GString& service_uri,
      const common_base::GVectorRef<const unsigned char>* payload);

  // Behind the one operation on purpose: the order of virtual operations is part of the interface.
  virtual ~KesuRequestMaker() = default;

 private:
  std::minstd_rand random_;
};

}  // namespace common_kesu

#endif  // KESU_SERVICES_KESU_REQUEST_MAKER_H_
