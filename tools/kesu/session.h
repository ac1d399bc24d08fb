#ifndef KESU_TOOL_SESSION_H_
#define KESU_TOOL_SESSION_H_

#include "dovi/deferred_request_source.h"
#include "dovi/dovi_http_request_factory.h"
#include "kesu/common/base/clock_interface.h"
#include "kesu/common/base/internal/async.h"
#include "kesu/common/base/scoped_ptr.h"

namespace kesu_tool {

/// The library in working order: transport, clock, queue and multiplexer, started up in this order
/// and shut down in the opposite one. One at a time, with the deployment settings made before.
class Session {
 public:
  Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session();

  const common_base::ClockInterface* clock() const { return clock_.get(); }

 private:
  DoviHttpRequestFactory factory_;
  const common_base::ScopedPtr<common_base::ClockInterface> clock_;
  common_base::SimpleRequestQueue queue_;
  const DeferredRequestSource timer_;
};

}  // namespace kesu_tool

#endif  // KESU_TOOL_SESSION_H_
