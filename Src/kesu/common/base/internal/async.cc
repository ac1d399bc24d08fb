#include "kesu/common/base/internal/async.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "kesu/common/base/assertions.h"
#include "kesu/common/base/internal/null_requester.h"
#include "kesu/common/base/scoped_ptr.h"

namespace common_base {
namespace {

constexpr long long kint32max = std::numeric_limits<int>::max();
constexpr long long kWaitWithNothingPending = 10 * kTicksPerSecond;

/// The tick `delay` after `now`, or the last or first one there is where that is out of range.
long long TickAfter(long long now, long long delay) {
  using Limits = std::numeric_limits<long long>;
  if (delay > 0) return now > Limits::max() - delay ? Limits::max() : now + delay;
  return now < Limits::min() - delay ? Limits::min() : now + delay;
}

}  // namespace

SimpleRequestQueue::~SimpleRequestQueue() {
  while (!pending_.IsEmpty()) delete RemoveFirst();
}

RequestInterface* SimpleRequestQueue::NewDeferredRequest(long long delay) {
  return new DeferredRequest(this, delay);
}

void SimpleRequestQueue::Insert(DeferredRequest* request) {
  request->is_started_ = true;
  request->sequence_number_ = next_sequence_number_++;
  pending_.Append(request);
  std::push_heap(pending_.begin(), pending_.end(),
                 [](const auto* a, const auto* b) { return a->IsAfter(*b); });
}

SimpleRequestQueue::DeferredRequest* SimpleRequestQueue::RemoveFirst() {
  std::pop_heap(pending_.begin(), pending_.end(),
                [](const auto* a, const auto* b) { return a->IsAfter(*b); });
  DeferredRequest* first = pending_[pending_.length() - 1];
  pending_.AdjustLength(pending_.length() - 1);
  return first;
}

void SimpleRequestQueue::StartDeferredRequests() {
  const long long now = ticks_.Now();
  const LifeWatch::Scope scope(&life_);
  while (!scope.IsOver() && !pending_.IsEmpty() && pending_[0]->due_time_ <= now) {
    const ScopedPtr<DeferredRequest> request(RemoveFirst());
    if (request->cancelled_ || request->requester_ == nullptr) continue;
    request->requester_->OnRequestComplete(request.get());
  }
}

long long SimpleRequestQueue::TimeOfNextRequest() const {
  const long long now = ticks_.Now();
  return ticks_.OnClock(pending_.IsEmpty() ? now + kWaitWithNothingPending
                                           : pending_[0]->due_time_);
}

SimpleRequestQueue::DeferredRequest::DeferredRequest(SimpleRequestQueue* queue, long long delay)
    : queue_(queue), delay_(delay) {
  GWASSERT_AT(191, delay >= 0);
  GWASSERT_AT(192, delay < kint32max);
}

int SimpleRequestQueue::DeferredRequest::Start(RequesterInterface* requester) {
  GWASSERT_AT(200, requester);
  GWASSERT_AT(201, !requester_);
  GWASSERT_AT(202, !cancelled_);
  if (is_started_) return 1;
  requester_ = requester;
  due_time_ = TickAfter(queue_->ticks_.Now(), delay_);
  queue_->Insert(this);
  return 0;
}

void SimpleRequestQueue::DeferredRequest::Cancel() {
  GWASSERT_AT(216, !cancelled_);
  if (is_started_) {
    cancelled_ = true;
    ForgetNullRequesters(this);
  } else {
    delete this;
  }
}

bool SimpleRequestQueue::DeferredRequest::IsAfter(const DeferredRequest& other) const {
  return std::pair(due_time_, sequence_number_) >
         std::pair(other.due_time_, other.sequence_number_);
}

}  // namespace common_base
