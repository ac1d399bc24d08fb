#ifndef KESU_MUX_REQUEST_SCHEDULER_H_
#define KESU_MUX_REQUEST_SCHEDULER_H_

#include <list>

#include "kesu/common/base/clock_interface.h"
#include "kesu/common/base/gallocator.h"
#include "kesu/common/base/internal/steady_ticks.h"
#include "kesu/common/base/request_interface.h"
#include "kesu/common/base/vector.h"
#include "kesu/mux/request.h"
#include "kesu/mux/request_list.h"

namespace common_kesu {

/// Gathers requests that are made close together into one batch, and holds others back for a time.
/// A batch leaves `min_delay` ticks after its last request, but not later than `max_delay` after
/// its first, give or take a step back of the clock. Requests are borrowed until they are handed to
/// the listener or cancelled.
class RequestScheduler : public common_base::RequesterInterface {
 public:
  class ListenerInterface {
   public:
    /// Takes a batch, in the order of submission; a cancelled request's entry is null. The view is
    /// valid during the call.
    virtual void ProcessRequests(const common_base::GVectorRef<Request*>& batch, bool* ok) = 0;

   protected:
    ~ListenerInterface() = default;
  };

  static constexpr long long kDefaultMinDelayTicks = 100 * common_base::kTicksPerMillisecond;
  static constexpr long long kDefaultMaxDelayTicks = common_base::kTicksPerSecond;

  /// All three are borrowed and must outlive the scheduler.
  RequestScheduler(ListenerInterface* listener, common_base::RequestQueueInterface* queue,
                   common_base::ClockInterface* clock);
  RequestScheduler(ListenerInterface* listener, common_base::RequestQueueInterface* queue,
                   common_base::ClockInterface* clock, long long min_delay, long long max_delay);
  RequestScheduler(const RequestScheduler&) = delete;
  RequestScheduler& operator=(const RequestScheduler&) = delete;

  void OnRequestComplete(common_base::RequestInterface* request) override;
  /// Does nothing, deliberately, but note that the timer has gone: who waits is sent with what is
  /// submitted next, or by SendPendingRequests().
  void OnRequestFailed(common_base::RequestInterface* request) override;
  /// Cancels the timer and all delays; nobody is told.
  ~RequestScheduler() override;

  /// For the requests that are submitted from now on.
  void set_delays(long long min_delay, long long max_delay) {
    min_delay_ = min_delay;
    max_delay_ = max_delay;
  }

  void Submit(Request* request) { Submit(request, false); }
  /// With `send_now` the batch leaves at once, with all that waits already.
  void Submit(Request* request, bool send_now);

  /// Submits the request after `delay` ticks, by default with `send_now`: what was held back is not
  /// to wait for a batch as well. Submit() differs from that on purpose.
  void SubmitWithDelay(Request* request, long long delay) { SubmitWithDelay(request, delay, true); }
  void SubmitWithDelay(Request* request, long long delay, bool send_now);

  /// Hands over what waits, now.
  void SendPendingRequests();

  /// Forgets the first delayed submission that holds the request, and the request wherever it waits
  /// in the batch.
  void Cancel(Request* request);

 private:
  class DelayedSubmission;

  using DelayedSubmissions =
      std::list<DelayedSubmission, common_base::GAllocator<DelayedSubmission>>;

  bool IsTimerRunning() const { return timer_ != nullptr && !timer_has_failed_; }
  void StartTimer(long long delay);
  void DoDelayedSubmission(DelayedSubmission* submission);
  void DeleteDelayedSubmission(DelayedSubmission* submission);

  ListenerInterface* listener_;
  common_base::RequestQueueInterface* queue_;
  common_base::SteadyTicks ticks_;
  long long min_delay_;
  long long max_delay_;
  /// Only compared, once it has failed.
  common_base::RequestInterface* timer_ = nullptr;
  RequestList pending_requests_;
  DelayedSubmissions delayed_submissions_;
  long long soft_deadline_ = 0;
  long long hard_deadline_ = 0;
  bool timer_has_failed_ = false;
};

/// A request that is held back. Owned by its scheduler, among whose delayed submissions it is for
/// all its life.
class RequestScheduler::DelayedSubmission : public common_base::RequesterInterface,
                                            private RequestPlace {
 public:
  DelayedSubmission(RequestScheduler* scheduler, common_base::RequestInterface* deferred_request,
                    Request* request, bool send_now);
  DelayedSubmission(const DelayedSubmission&) = delete;
  DelayedSubmission& operator=(const DelayedSubmission&) = delete;

  void OnRequestComplete(common_base::RequestInterface* request) override;
  void OnRequestFailed(common_base::RequestInterface* request) override;
  /// Cancels the wait, unless it has ended.
  ~DelayedSubmission() override;

  /// Null once it has been deleted.
  using RequestPlace::request;
  bool send_now() const { return send_now_; }

 private:
  friend class RequestScheduler;

  RequestScheduler* scheduler_;
  common_base::RequestInterface* deferred_request_;
  bool send_now_;
  /// Where it is among those of the scheduler.
  DelayedSubmissions::iterator position_;
};

}  // namespace common_kesu

#endif  // KESU_MUX_REQUEST_SCHEDULER_H_
