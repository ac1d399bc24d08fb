#ifndef DOVI_DEFERRED_REQUEST_SOURCE_H_
#define DOVI_DEFERRED_REQUEST_SOURCE_H_

#include <glib.h>

#include "kesu/common/base/clock_interface.h"
#include "kesu/common/base/internal/async.h"
#include "kesu/common/base/memory.h"

/// The timer of a SimpleRequestQueue: runs its deferred requests as they become due, for as long as
/// this object lives, on the default main context of the thread that makes it. Where that is not
/// GLib's default one, the transport refuses to work, and requests are told so from here.
///
///   SimpleRequestQueue queue(clock);
///   DeferredRequestSource timer(&queue, clock);
///   g_main_loop_run(loop);
///
/// The loop asks for the time of the next request before each wait. A request may therefore be
/// started, with whatever delay, from any callback of the loop, or while the loop is not running. A
/// request may itself run the loop: others that are due complete from inside it.
class DeferredRequestSource : public common_base::HeapObject {
 public:
  /// Both are borrowed and must outlive this object; `clock` is the one of the queue.
  DeferredRequestSource(common_base::SimpleRequestQueue* queue,
                        const common_base::ClockInterface* clock);
  DeferredRequestSource(const DeferredRequestSource&) = delete;
  DeferredRequestSource& operator=(const DeferredRequestSource&) = delete;
  /// Allowed from inside the callback of a deferred request too. The other requests that are
  /// already due then still complete before the loop goes on.
  ~DeferredRequestSource();

 private:
  GSource* source_;
};

#endif  // DOVI_DEFERRED_REQUEST_SOURCE_H_
