#ifndef KESU_TOOL_SESSION_H_
#define KESU_TOOL_SESSION_H_

#include "dovi/deferred_request_source.h"
#include "dovi/dovi_http_request_factory.h"
#include "kesu/common/base/clock_interface.h"
#include "kesu/common/base/internal/async.h"
#include "kesu/common/base/scoped_ptr.h"

namespace kesu_tool {

/// The transport, the caller's. It writes to standard error when it is made, which is kept back
/// unless `wants_trace`.
DoviHttpRequestFactory* NewTransport(bool wants_trace);

/// The library in working order: transport, clock, queue and multiplexer, started up in this order
/// and shut down in the opposite one. One at a time, with the deployment settings made before.
class Session {
 public:
  /// `wants_trace` is for NewTransport().
  explicit Session(bool wants_trace);
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session();

  const common_base::ClockInterface* clock() const { return clock_.get(); }

 private:
  const common_base::ScopedPtr<DoviHttpRequestFactory> factory_;
  const common_base::ScopedPtr<common_base::ClockInterface> clock_;
  common_base::SimpleRequestQueue queue_;
  const DeferredRequestSource timer_;
};

}  // namespace kesu_tool

#endif  // KESU_TOOL_SESSION_H_
