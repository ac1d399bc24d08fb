#include "kesu/mux/mobile_service_mux.h"

#include <exception>
#include <utility>

#include "kesu/common/base/assertions.h"
#include "kesu/common/base/logging.h"
#include "kesu/common/base/scoped_ptr.h"
#include "kesu/mux/measuring_scratch.h"
#include "kesu/mux/protocol_reader.h"
#include "kesu/mux/reply_headers.h"
#include "kesu/mux/request_ids.h"
#include "kesu/mux/spare_stream.h"

namespace common_kesu {
namespace {

using common_base::ByteView;
using common_base::ClockInterface;
using common_base::DataInputStream;
using common_base::GVector;
using common_base::GVectorRef;
using common_base::LogInfo;
using common_base::LogWarn;
using common_base::RequestInterface;
using common_base::RequestQueueInterface;
using common_base::ScopedPtr;

constexpr char kHttpsUrlStart[] = "https:";

/// The most that a POST with more than one request takes, counted with kSizeReserve.
constexpr long long kMaxPostBytes = 32768;
constexpr int kSizeReserve = 2;

constexpr int kHttpNotImplemented = 501;
constexpr int kHttpBadGateway = 502;
constexpr int kHttpSubrequestTimeout = 550;

/// The sum modulo 2^32.
int AddWrapping(int a, int b) {
  return static_cast<int>(static_cast<unsigned>(a) + static_cast<unsigned>(b));
}

/// Counts a call that is under way.
class CallOut {
 public:
  explicit CallOut(int* count) : count_(count) { ++*count_; }
  CallOut(const CallOut&) = delete;
  CallOut& operator=(const CallOut&) = delete;
  ~CallOut() { --*count_; }

 private:
  int* count_;
};

}  // namespace

MobileServiceMux* MobileServiceMux::instance_ = nullptr;

void MobileServiceMux::Initialize(HttpRequestFactory* factory, RequestQueueInterface* queue,
                                  ClockInterface* clock, MuxConfig* config) {
  if (instance_ != nullptr) {
    delete config;
    return;
  }
  auto* header_request = new HeaderRequest(*config);
  instance_ = new MobileServiceMux(queue, factory, clock, header_request, config);
}

void MobileServiceMux::DeleteInstance() {
  const bool is_called_from_inside = instance_ != nullptr && instance_->calls_out_ > 0;
  GWASSERT(!is_called_from_inside);
  if (!is_called_from_inside) delete std::exchange(instance_, nullptr);
}

/// What happens while the requests of a POST are told, and what is left of it when all have been.
class MobileServiceMux::Telling {
 public:
  explicit Telling(const MultiplexedPost* post) : post_(post) {}

  void Tell(Request* request, Response* response) {
    response->SetHttpFields(post_->post_request(), &post_->post_error());
    Request::ListenerInterface* listener = request->listener();
    if (listener != nullptr) {
      Try([&] { listener->RequestComplete(request, response, &ok_); });
    }
  }
  void TellFailed(Request* request, int status) {
    ErrorResponse response(request->id(), status);
    Tell(request, &response);
  }

  /// What comes out of one step is not to keep the others from being done.
  template <typename Step>
  void Try(Step step) {
    try {
      step();
    } catch (...) {
      if (!thrown_) thrown_ = std::current_exception();
    }
  }
  /// Throws what came out first, if anything did.
  void Rethrow() const {
    if (thrown_) std::rethrow_exception(thrown_);
  }

 private:
  const MultiplexedPost* post_;
  bool ok_ = true;
  std::exception_ptr thrown_;
};

MobileServiceMux::MobileServiceMux(RequestQueueInterface* queue, HttpRequestFactory* factory,
                                   ClockInterface* clock, HeaderRequest* header_request,
                                   MuxConfig* config)
    : scheduler_(new RequestScheduler(this, queue, clock)),
      factory_(factory),
      header_request_(header_request),
      config_(config),
      clock_(clock),
      queue_(queue) {}

MobileServiceMux::~MobileServiceMux() {
  delete header_request_;
  delete scheduler_;
  delete config_;
  for (MultiplexedPost* post : posts_in_flight_.TakeAll()) delete post;
}

void MobileServiceMux::ProcessRequests(const GVectorRef<Request*>& batch, bool*) {
  pending_requests_.AppendAll(batch);
  if (!is_paused_) ProcessPendingRequests();
}

void MobileServiceMux::ResumeAll() {
  is_paused_ = false;
  ProcessPendingRequests();
}

void MobileServiceMux::ProcessPendingRequests() {
  const CallOut call_out(&calls_out_);
  const MeasuringScratch scratch;
  while (next_pending_ < pending_requests_.length()) {
    SelectPendingRequestsUptoMaximumSize();
    ProcessAnyActiveRequests();
  }
  pending_requests_.Clear();
  next_pending_ = 0;
}

void MobileServiceMux::SelectPendingRequestsUptoMaximumSize() {
  long long total = header_request_->GetTotalLength() + kSizeReserve;
  for (; next_pending_ < pending_requests_.length(); ++next_pending_) {
    Request* request = pending_requests_[next_pending_];
    if (request == nullptr) continue;
    total += request->GetTotalLength();
    if (!active_requests_.IsEmpty() && total > kMaxPostBytes) return;
    // Nulls the entry: Cancel() is to find the one of the request that still waits.
    active_requests_.Append(pending_requests_.Take(next_pending_));
  }
}

void MobileServiceMux::ProcessAnyActiveRequests() {
  if (active_requests_.IsEmpty()) return;
  const GVector<Request*> requests = std::move(active_requests_);
  UpdateRequestIds(requests);
  // From here on Cancel() finds the requests, from inside the factory too.
  ScopedPtr<MultiplexedPost> post(new MultiplexedPost(requests, mux_post_additional_length()));
  bytes_sent_ = AddWrapping(bytes_sent_, post->FillPayload(header_request_));
  post->CreateTheHttpPost(factory_, *config_);
  StartPost(post.release());
}

void MobileServiceMux::StartPost(MultiplexedPost* post) {
  post->LogPostRequest();
  const long long number = next_post_number_++;
  post->set_number(number);
  if (HttpRequestInterface* request = post->post_request()) {
    posts_in_flight_.Set(request, post);
    if (request->Start(this) == 0) return;
    // A transport that reports a failure from inside Start() has ended the post already.
    const MultiplexedPost* found = posts_in_flight_.Find(request);
    if (found == nullptr || found->number() != number) return;
  }
  // The transport will not call back. The requests fail like those of any other POST that does not
  // get through, but not from inside their submission.
  RequestInterface* wait = queue_->NewDeferredRequest(0);
  post->set_start_failure(wait);
  posts_in_flight_.Set(wait, post);
  wait->Start(this);
}

void MobileServiceMux::UpdateRequestIds(const GVectorRef<Request*>& requests) {
  for (Request* request : requests) request->set_id(static_cast<short>(NextRequestId()));
}

int MobileServiceMux::NextRequestId() {
  return std::exchange(next_request_id_, AddWrapping(next_request_id_, 1));
}

void MobileServiceMux::Cancel(Request* request) {
  if (request == nullptr) return;
  scheduler_->Cancel(request);
  pending_requests_.CancelFirst(request);
  // The places in one POST follow each other.
  const void* post = nullptr;
  request->ForEachPlace([&](RequestPlace* place) {
    if (place->is_in_post() && std::exchange(post, place->holder()) != place->holder()) {
      place->Take();
    }
    return true;
  });
}

bool MobileServiceMux::RequireEndToEndSecurity(bool required) {
  if (required && !is_https()) return false;
  is_end_to_end_secure_ = required;
  return true;
}

bool MobileServiceMux::is_https() const {
  return config_->service_url->StartsWith(kHttpsUrlStart);
}

void MobileServiceMux::OnRequestComplete(RequestInterface* request) {
  EndPost(request, true);
}

void MobileServiceMux::OnRequestFailed(RequestInterface* request) {
  EndPost(request, false);
}

void MobileServiceMux::EndPost(const RequestInterface* request, bool is_complete) {
  const CallOut call_out(&calls_out_);
  // Out of flight; it goes when all have been told.
  const ScopedPtr<MultiplexedPost> post(posts_in_flight_.Take(request));
  if (!post) return;
  const bool was_started = request != post->start_failure();
  // Seldom there are both.
  const RequestInterface* other = was_started ? post->start_failure() : post->post_request();
  if (other != nullptr) posts_in_flight_.Take(other);
  // Whatever becomes of the wait, it deletes itself.
  if (!was_started) post->set_start_failure(nullptr);

  Telling telling(post.get());
  if (!is_complete || !was_started) {
    HandleFailedPost(post.get(), &telling);
  } else if (!MaybeRequeueRequestsOnWrongContentType(post.get(), &telling)) {
    HandleReply(post.get(), &telling);
  }
  post->FinishPosting();
  telling.Rethrow();
}

void MobileServiceMux::HandleFailedPost(MultiplexedPost* post, Telling* telling) {
  const HttpRequestInterface* request = post->post_request();
  const int status = request == nullptr ? 0 : request->HttpResponseStatusCode();
  switch (status) {
    case kHttpBadGateway:
      LogInfo("MobileServiceMux - received HTTP_BAD_GATEWAY; will requeue the affected requests");
      return MaybeRequeueRequests(post, telling);
    case kHttpSubrequestTimeout:
      LogInfo("MobileServiceMux - received HTTP_SUBREQUEST_TIMEOUT");
      break;
    case kHttpNotImplemented:
      LogInfo("MobileServiceMux - received HTTP_NOT_IMPLEMENTED");
      break;
    default:
      LogInfo("MobileServiceMux - bad response code from the server (%d)", status);
      break;
  }
  NotifyRequestsFailed(post, status, telling);
}

bool MobileServiceMux::MaybeRequeueRequestsOnWrongContentType(MultiplexedPost* post,
                                                              Telling* telling) {
  const ScopedPtr<HeaderFieldIteratorInterface> headers(
      post->post_request()->HttpResponseHeaders());
  if (headers && IsMultiplexedReply(headers.get())) return false;
  LogWarn(
      "An error occured during response processing, the response did not have the right content "
      "type, all requests will be requeued");
  MaybeRequeueRequests(post, telling);
  return true;
}

void MobileServiceMux::HandleReply(MultiplexedPost* post, Telling* telling) {
  bytes_received_ = AddWrapping(bytes_received_, post->response_body().length());
  post->LogResponse();
  const ByteView body(post->response_body());
  DataInputStream stream(&body);
  ProtocolReader reader(&stream);
  bool is_right_version = false;
  reader.InitializeInput(&is_right_version);
  if (!is_right_version) {
    LogWarn("All requests failed because an invalid protocol version was detected in the response");
    NotifyRequestsFailed(post, ErrorResponse::kProtocolVersionMismatch, telling);
    return;
  }
  DistributeResponses(&reader, post, telling);
  MaybeRequeueRequests(post, telling);
}

/// Hands each response to its request; the requests that got none stay in the post.
void MobileServiceMux::DistributeResponses(ProtocolReader* reader, MultiplexedPost* post,
                                           Telling* telling) {
  const SpareStream spare_stream;
  RequestIds ids(&post->muxed_requests());
  bool has_response = false;
  for (bool may_go_on = true; may_go_on;) {
    NonMultipartResponse response;
    if (!reader->ReadResponseInto(&response, &may_go_on)) continue;
    has_response = true;
    const int index = ids.Find(response.id());
    if (index != -1) telling->Tell(post->TakeRequest(index), &response);
  }
  if (!has_response) {
    LogWarn(
        "An error occured during response processing, all unprocessed requests will be requeued");
  }
}

void MobileServiceMux::MaybeRequeueRequests(MultiplexedPost* post, Telling* telling) {
  for (int i = 0; i < post->muxed_requests().length(); ++i) {
    Request* request = post->TakeRequest(i);
    if (request == nullptr) continue;
    telling->Try([&] {
      if (request->ShouldRetry()) {
        SubmitWithDelay(request, request->GetRetryTimeout());
      } else {
        telling->TellFailed(request, ErrorResponse::kRetriesUsedUp);
      }
    });
  }
}

void MobileServiceMux::NotifyRequestsFailed(MultiplexedPost* post, int status, Telling* telling) {
  for (int i = 0; i < post->muxed_requests().length(); ++i) {
    Request* request = post->TakeRequest(i);
    if (request != nullptr) telling->TellFailed(request, status);
  }
}

}  // namespace common_kesu
