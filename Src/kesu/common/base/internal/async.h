#ifndef KESU_COMMON_BASE_INTERNAL_ASYNC_H_
#define KESU_COMMON_BASE_INTERNAL_ASYNC_H_

#include "kesu/common/base/clock_interface.h"
#include "kesu/common/base/internal/life_watch.h"
#include "kesu/common/base/internal/steady_ticks.h"
#include "kesu/common/base/request_interface.h"
#include "kesu/common/base/vector.h"

namespace common_base {

/// A request queue that its owner drives from a timer: arm it for TimeOfNextRequest(), and then
/// call StartDeferredRequests(). A clock that is set back delays what waits by no more than the
/// time since the queue last looked at it.
class SimpleRequestQueue : public RequestQueueInterface {
 public:
  class DeferredRequest;

  /// `clock` is borrowed and must outlive the queue.
  explicit SimpleRequestQueue(const ClockInterface* clock) : ticks_(clock) {}
  SimpleRequestQueue(const SimpleRequestQueue&) = delete;
  SimpleRequestQueue& operator=(const SimpleRequestQueue&) = delete;
  /// Deletes the requests still waiting, in order, without telling anybody. Allowed from inside a
  /// callback of the queue. Requests that were made and not started are not the queue's: they have
  /// to be cancelled or deleted, and cannot be started any more.
  ~SimpleRequestQueue() override;

  /// Reports a broken contract for a negative delay and for one of 2147483647 ticks or more, and
  /// takes it all the same.
  RequestInterface* NewDeferredRequest(long long delay) override;

  /// Completes every started request that is due, in the order of their due times; those that are
  /// due at the same tick in the order they were started.
  void StartDeferredRequests();

  /// The tick of the clock at which the first request is due, or ten seconds from now when none
  /// waits.
  long long TimeOfNextRequest() const;
  /// Whether any request waits. One that was cancelled does, until its time comes.
  bool HasPendingRequests() const { return !pending_.IsEmpty(); }

 private:
  void Insert(DeferredRequest* request);
  DeferredRequest* RemoveFirst();

  SteadyTicks ticks_;
  /// A binary heap, the request that is due first on top.
  GVector<DeferredRequest*> pending_;
  /// Tells requests that are due at the same tick apart.
  long long next_sequence_number_ = 0;
  LifeWatch life_;
};

/// A request that completes after a delay. Deletes itself: after completing, on Cancel() before
/// Start(), or silently when its time comes on Cancel() after it.
class SimpleRequestQueue::DeferredRequest : public RequestInterface {
 public:
  DeferredRequest(SimpleRequestQueue* queue, long long delay);

  /// Not 0, and without effect, for a request that has been started already.
  int Start(RequesterInterface* requester) override;
  void Cancel() override;

 private:
  friend class SimpleRequestQueue;

  /// Whether this request is due after `other`.
  bool IsAfter(const DeferredRequest& other) const;

  SimpleRequestQueue* queue_;
  RequesterInterface* requester_ = nullptr;
  long long delay_;
  long long due_time_ = 0;
  bool cancelled_ = false;
  bool is_started_ = false;
  long long sequence_number_ = 0;
};

}  // namespace common_base

#endif  // KESU_COMMON_BASE_INTERNAL_ASYNC_H_
