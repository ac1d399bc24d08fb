#include "kesu/mux/request_scheduler.h"

#include <algorithm>
#include <iterator>
#include <limits>

namespace common_kesu {

using common_base::ClockInterface;
using common_base::GVector;
using common_base::RequestInterface;
using common_base::RequestQueueInterface;

namespace {

/// `delay` after `now`, or the end of time.
long long TimeAfter(long long now, long long delay) {
  return now + std::min(delay, std::numeric_limits<long long>::max() - std::max(now, 0LL));
}

}  // namespace

RequestScheduler::RequestScheduler(ListenerInterface* listener, RequestQueueInterface* queue,
                                   ClockInterface* clock)
    : RequestScheduler(listener, queue, clock, kDefaultMinDelayTicks, kDefaultMaxDelayTicks) {}

RequestScheduler::RequestScheduler(ListenerInterface* listener, RequestQueueInterface* queue,
                                   ClockInterface* clock, long long min_delay, long long max_delay)
    : listener_(listener),
      queue_(queue),
      ticks_(clock),
      min_delay_(min_delay),
      max_delay_(max_delay) {}

RequestScheduler::~RequestScheduler() {
  if (IsTimerRunning()) timer_->Cancel();
}

void RequestScheduler::StartTimer(long long delay) {
  timer_ = queue_->NewDeferredRequest(delay);
  timer_has_failed_ = false;
  timer_->Start(this);
}

void RequestScheduler::Submit(Request* request, bool send_now) {
  pending_requests_.Append(request);
  if (send_now) {
    SendPendingRequests();
    return;
  }
  const long long now = ticks_.Now();
  soft_deadline_ = TimeAfter(now, min_delay_);
  if (IsTimerRunning()) return;
  hard_deadline_ = TimeAfter(now, max_delay_);
  StartTimer(min_delay_);
}

void RequestScheduler::OnRequestComplete(RequestInterface* request) {
  if (request != timer_) return;
  timer_ = nullptr;
  const long long remaining = std::min(hard_deadline_, soft_deadline_) - ticks_.Now();
  if (remaining <= 0) {
    SendPendingRequests();
  } else {
    StartTimer(remaining);
  }
}

void RequestScheduler::OnRequestFailed(RequestInterface* request) {
  timer_has_failed_ = timer_has_failed_ || request == timer_;
}

void RequestScheduler::SendPendingRequests() {
  if (IsTimerRunning()) timer_->Cancel();
  timer_ = nullptr;
  const GVector<Request*> batch = pending_requests_.TakeAll();
  bool ok = true;
  listener_->ProcessRequests(batch, &ok);
}

void RequestScheduler::SubmitWithDelay(Request* request, long long delay, bool send_now) {
  RequestInterface* deferred = queue_->NewDeferredRequest(delay);
  delayed_submissions_.emplace_back(this, deferred, request, send_now);
  DelayedSubmission* submission = &delayed_submissions_.back();
  submission->position_ = std::prev(delayed_submissions_.end());
  deferred->Start(submission);
}

void RequestScheduler::DoDelayedSubmission(DelayedSubmission* submission) {
  Request* request = submission->request();
  const bool send_now = submission->send_now();
  DeleteDelayedSubmission(submission);
  if (request != nullptr) Submit(request, send_now);
}

void RequestScheduler::DeleteDelayedSubmission(DelayedSubmission* submission) {
  delayed_submissions_.erase(submission->position_);
}

void RequestScheduler::Cancel(Request* request) {
  if (request == nullptr) return;
  request->ForEachPlace([this](RequestPlace* place) {
    if (place->holder() != this) return true;
    DeleteDelayedSubmission(static_cast<DelayedSubmission*>(place));
    return false;
  });
  pending_requests_.CancelAll(request);
}

RequestScheduler::DelayedSubmission::DelayedSubmission(RequestScheduler* scheduler,
                                                       RequestInterface* deferred_request,
                                                       Request* request, bool send_now)
    : RequestPlace(request, scheduler, false),
      scheduler_(scheduler),
      deferred_request_(deferred_request),
      send_now_(send_now) {}

RequestScheduler::DelayedSubmission::~DelayedSubmission() {
  if (deferred_request_ != nullptr) deferred_request_->Cancel();
}

void RequestScheduler::DelayedSubmission::OnRequestComplete(RequestInterface*) {
  deferred_request_ = nullptr;
  scheduler_->DoDelayedSubmission(this);
}

void RequestScheduler::DelayedSubmission::OnRequestFailed(RequestInterface*) {
  deferred_request_ = nullptr;
  scheduler_->DeleteDelayedSubmission(this);
}

}  // namespace common_kesu
