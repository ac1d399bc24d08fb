#ifndef KESU_MUX_MOBILE_SERVICE_MUX_H_
#define KESU_MUX_MOBILE_SERVICE_MUX_H_

#include "kesu/common/base/clock_interface.h"
#include "kesu/common/base/request_interface.h"
#include "kesu/common/base/vector.h"
#include "kesu/mux/header_request.h"
#include "kesu/mux/http_request_factory.h"
#include "kesu/mux/multiplexed_post.h"
#include "kesu/mux/mux_config.h"
#include "kesu/mux/post_index.h"
#include "kesu/mux/request.h"
#include "kesu/mux/request_list.h"
#include "kesu/mux/request_scheduler.h"
#include "kesu/mux/response.h"

namespace common_kesu {

/// The one way to the server: packs requests into as few POSTs as their sizes allow, sends them,
/// and hands each response to the listener of its request. Everything happens on the thread of the
/// main loop.
///
/// A request that is submitted is borrowed until its listener has been told its outcome, once, or
/// Cancel() returns; when it is deleted before, it is forgotten and nobody is told. A request that
/// is submitted again while it waits is sent that often and told that often. A listener may do
/// anything from inside its callback, on this multiplexer and on any request, but delete the
/// multiplexer.
///
/// What a listener throws keeps no other from its outcome: when all that have to be told at that
/// moment have been, the first exception goes on to whoever reported the end of the POST.
class MobileServiceMux : public common_base::RequesterInterface,
                         public RequestScheduler::ListenerInterface {
 public:
  /// Makes the instance. `factory`, `queue` and `clock` are borrowed and must outlive it; it owns
  /// `config`. If there is an instance already, `config` is deleted and nothing else happens.
  static void Initialize(HttpRequestFactory* factory, common_base::RequestQueueInterface* queue,
                         common_base::ClockInterface* clock, MuxConfig* config);
  /// Null before Initialize() and after DeleteInstance().
  static MobileServiceMux* GetInstance() { return instance_; }
  static bool InstanceExists() { return instance_ != nullptr; }
  /// Cancels the POSTs in flight, the newest first, and forgets the requests; no listener is told.
  /// An invocation of a service that was waiting never ends; its owner cancels it. Not from inside
  /// a listener, a transport that makes or starts a POST, or a main loop that either of them runs:
  /// that is reported as a broken contract and refused.
  static void DeleteInstance();

  MobileServiceMux(const MobileServiceMux&) = delete;
  MobileServiceMux& operator=(const MobileServiceMux&) = delete;

  /// From the transport: a POST has ended with status 200, or otherwise.
  void OnRequestComplete(common_base::RequestInterface* request) override;
  void OnRequestFailed(common_base::RequestInterface* request) override;
  ~MobileServiceMux() override;
  /// From the scheduler.
  void ProcessRequests(const common_base::GVectorRef<Request*>& batch, bool* ok) override;

  /// Queue a request behind those that wait; see RequestScheduler for `send_now` and delays. Never
  /// call a listener from inside.
  void Submit(Request* request) { scheduler_->Submit(request); }
  void Submit(Request* request, bool send_now) { scheduler_->Submit(request, send_now); }
  void SubmitWithDelay(Request* request, long long delay) {
    scheduler_->SubmitWithDelay(request, delay);
  }
  void SubmitWithDelay(Request* request, long long delay, bool send_now) {
    scheduler_->SubmitWithDelay(request, delay, send_now);
  }
  /// In ticks, for batches that begin from now on: see RequestScheduler.
  void SetBatchDelays(long long min_delay, long long max_delay) {
    scheduler_->set_delays(min_delay, max_delay);
  }
  /// Sends what waits for a batch, now.
  void FlushPendingRequests() { scheduler_->SendPendingRequests(); }
  /// Forgets the request: its listener is not called any more. Of one that was submitted several
  /// times this takes all that waits for a batch, the first delay and the first entry in each POST.
  void Cancel(Request* request);

  /// While paused, batches pile up instead of being posted. What is in flight goes on.
  void PauseAll() { is_paused_ = true; }
  void ResumeAll();
  bool is_paused() const { return is_paused_; }

  /// Whether end-to-end security could be had as required; when it could not, nothing changes.
  bool RequireEndToEndSecurity(bool required);
  bool is_https() const;
  bool is_end_to_end_secure() const { return is_end_to_end_secure_; }

  /// The cookie travels in the header block of every POST.
  long long cookie() const { return header_request_->cookie(); }
  void set_cookie(long long cookie) { header_request_->set_cookie(cookie); }

  int NextRequestId();
  int PeekRequestId() const { return next_request_id_; }
  const MuxConfig& mux_config() const { return *config_; }
  const common_base::ClockInterface* clock() const { return clock_; }
  /// Bytes of all bodies so far, modulo 2^32.
  int bytes_sent() const { return bytes_sent_; }
  int bytes_received() const { return bytes_received_; }
  int mux_post_additional_length() { return header_request_->GetTotalLength(); }

 private:
  MobileServiceMux(common_base::RequestQueueInterface* queue, HttpRequestFactory* factory,
                   common_base::ClockInterface* clock, HeaderRequest* header_request,
                   MuxConfig* config);

  class Telling;

  void ProcessPendingRequests();
  void SelectPendingRequestsUptoMaximumSize();
  void ProcessAnyActiveRequests();
  void UpdateRequestIds(const common_base::GVectorRef<Request*>& requests);
  /// Becomes the owner of `post`.
  void StartPost(MultiplexedPost* post);

  void EndPost(const common_base::RequestInterface* request, bool is_complete);
  bool MaybeRequeueRequestsOnWrongContentType(MultiplexedPost* post, Telling* telling);
  void HandleReply(MultiplexedPost* post, Telling* telling);
  void DistributeResponses(class ProtocolReader* reader, MultiplexedPost* post, Telling* telling);
  void HandleFailedPost(MultiplexedPost* post, Telling* telling);
  void MaybeRequeueRequests(MultiplexedPost* post, Telling* telling);
  void NotifyRequestsFailed(MultiplexedPost* post, int status, Telling* telling);

  static MobileServiceMux* instance_;

  int bytes_sent_ = 0;
  int bytes_received_ = 0;
  int next_request_id_ = 0;
  bool is_end_to_end_secure_ = false;
  bool is_paused_ = false;
  RequestScheduler* scheduler_;
  HttpRequestFactory* factory_;
  HeaderRequest* header_request_;
  MuxConfig* config_;
  common_base::ClockInterface* clock_;
  common_base::GVector<Request*> active_requests_;
  RequestList pending_requests_;
  /// Owned, by the request that ends each: its HTTP request, or the wait that stands in for one.
  PostIndex posts_in_flight_;

  common_base::RequestQueueInterface* queue_;
  /// The entries of `pending_requests_` before this one have been taken.
  int next_pending_ = 0;
  long long next_post_number_ = 0;
  /// How many calls of transports and listeners are under way.
  int calls_out_ = 0;
};

}  // namespace common_kesu

#endif  // KESU_MUX_MOBILE_SERVICE_MUX_H_
