#include "kesu/mux/mobile_service_mux.h"

#include <algorithm>
#include <functional>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "kesu/common/base/gallocator.h"
#include "kesu/common/base/logging.h"
#include "kesu/common/base/scoped_ptr.h"
#include "kesu/mux/http_constants.h"
#include "kesu/mux/protocol_reader.h"

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

bool Equals(const GVector<unsigned char>& bytes, std::string_view text) {
  return std::equal(bytes.begin(), bytes.end(), text.begin(), text.end());
}

bool HasRightContentType(const HttpRequestInterface& request) {
  const ScopedPtr<HeaderFieldIteratorInterface> header(request.HttpResponseHeaders());
  for (; header && !header->AtEnd(); header->Next()) {
    if (Equals(header->FieldName(), kContentType) &&
        Equals(header->FieldValue(), kKesuMuxContentType)) {
      return true;
    }
  }
  return false;
}

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
  delete std::exchange(instance_, nullptr);
}

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
  for (int i = posts_in_flight_.length() - 1; i >= 0; --i) delete posts_in_flight_[i];
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
    Request* request = pending_requests_.entries()[next_pending_];
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
  auto* post = new MultiplexedPost(requests, mux_post_additional_length());
  // From here on Cancel() finds the requests, from inside the factory too.
  posts_in_flight_.Append(post);
  bytes_sent_ = AddWrapping(bytes_sent_, post->FillPayload(header_request_));
  post->CreateTheHttpPost(factory_, *config_);
  StartPost(post);
}

void MobileServiceMux::StartPost(MultiplexedPost* post) {
  post->LogPostRequest();
  HttpRequestInterface* request = post->post_request();
  if (request != nullptr && request->Start(this) == 0) return;
  // A transport that reports a failure from inside Start() has ended the post already.
  if (!IsInFlight(post)) return;
  // The transport will not call back. The requests fail like those of any other POST that does not
  // get through, but not from inside their submission.
  post->set_start_failure(queue_->NewDeferredRequest(0));
  post->start_failure()->Start(this);
}

void MobileServiceMux::UpdateRequestIds(const GVectorRef<Request*>& requests) {
  for (Request* request : requests) request->set_id(static_cast<short>(NextRequestId()));
}

int MobileServiceMux::NextRequestId() {
  return std::exchange(next_request_id_, AddWrapping(next_request_id_, 1));
}

void MobileServiceMux::Cancel(Request* request) {
  scheduler_->Cancel(request);
  for (MultiplexedPost* post : posts_in_flight_) post->Cancel(request);
  for (MultiplexedPost* post : posts_being_finished_) post->Cancel(request);
  pending_requests_.CancelFirst(request);
}

bool MobileServiceMux::RequireEndToEndSecurity(bool required) {
  if (required && !is_https()) return false;
  is_end_to_end_secure_ = required;
  return true;
}

bool MobileServiceMux::is_https() const {
  return config_->service_url->StartsWith(kHttpsUrlStart);
}

bool MobileServiceMux::IsInFlight(const MultiplexedPost* post) const {
  return std::find(posts_in_flight_.begin(), posts_in_flight_.end(), post) !=
         posts_in_flight_.end();
}

/// Takes the post that `request` belongs to out of flight; null if there is none.
MultiplexedPost* MobileServiceMux::BeginToFinish(const RequestInterface* request) {
  MultiplexedPost** found =
      std::find_if(posts_in_flight_.begin(), posts_in_flight_.end(), [&](auto* candidate) {
        return candidate->post_request() == request || candidate->start_failure() == request;
      });
  if (request == nullptr || found == posts_in_flight_.end()) return nullptr;
  MultiplexedPost* post = *found;
  posts_in_flight_.EraseItems(found, 1);
  posts_being_finished_.Append(post);
  return post;
}

void MobileServiceMux::Finish(MultiplexedPost* post) {
  posts_being_finished_.EraseItems(
      std::find(posts_being_finished_.begin(), posts_being_finished_.end(), post), 1);
  post->FinishPosting();
  delete post;
}

void MobileServiceMux::OnRequestComplete(RequestInterface* request) {
  MultiplexedPost* post = BeginToFinish(request);
  if (post == nullptr) return;
  if (request == post->start_failure()) {
    post->set_start_failure(nullptr);
    HandleFailedPost(post);
    return;
  }
  bool ok = true;
  if (!MaybeRequeueRequestsOnWrongContentType(post, &ok)) HandleReply(post, &ok);
  Finish(post);
}

void MobileServiceMux::OnRequestFailed(RequestInterface* request) {
  MultiplexedPost* post = BeginToFinish(request);
  if (post == nullptr) return;
  // Whatever becomes of the wait, it deletes itself.
  if (request == post->start_failure()) post->set_start_failure(nullptr);
  HandleFailedPost(post);
}

void MobileServiceMux::HandleFailedPost(MultiplexedPost* post) {
  const HttpRequestInterface* request = post->post_request();
  const int status = request == nullptr ? 0 : request->HttpResponseStatusCode();
  bool ok = true;
  switch (status) {
    case kHttpBadGateway:
      LogInfo("MobileServiceMux - received HTTP_BAD_GATEWAY; will requeue the affected requests");
      MaybeRequeueRequests(post, false, &ok);
      break;
    case kHttpSubrequestTimeout:
      LogInfo("MobileServiceMux - received HTTP_SUBREQUEST_TIMEOUT");
      NotifyRequestsFailed(post, status, &ok);
      break;
    case kHttpNotImplemented:
      LogInfo("MobileServiceMux - received HTTP_NOT_IMPLEMENTED");
      NotifyRequestsFailed(post, status, &ok);
      break;
    default:
      LogInfo("MobileServiceMux - bad response code from the server (%d)", status);
      NotifyRequestsFailed(post, status, &ok);
      break;
  }
  Finish(post);
}

bool MobileServiceMux::MaybeRequeueRequestsOnWrongContentType(MultiplexedPost* post, bool* ok) {
  if (HasRightContentType(*post->post_request())) return false;
  LogWarn(
      "An error occured during response processing, the response did not have the right content "
      "type, all requests will be requeued");
  MaybeRequeueRequests(post, true, ok);
  return true;
}

void MobileServiceMux::HandleReply(MultiplexedPost* post, bool* ok) {
  bytes_received_ = AddWrapping(bytes_received_, post->response_body().length());
  post->LogResponse();
  const ByteView body(post->response_body());
  DataInputStream stream(&body);
  ProtocolReader reader(&stream);
  bool is_right_version = false;
  reader.InitializeInput(&is_right_version);
  if (!is_right_version) {
    LogWarn("All requests failed because an invalid protocol version was detected in the response");
    NotifyRequestsFailed(post, ErrorResponse::kProtocolVersionMismatch, ok);
    return;
  }
  DistributeResponses(&reader, post, ok);
  MaybeRequeueRequests(post, false, ok);
}

/// Hands each response to its request; the requests that got none stay in the post.
void MobileServiceMux::DistributeResponses(ProtocolReader* reader, MultiplexedPost* post,
                                           bool* ok) {
  const GVector<Request*>& unanswered = post->muxed_requests();
  std::unordered_map<short, int, std::hash<short>, std::equal_to<>,
                     common_base::GAllocator<std::pair<const short, int>>>
      index_of_id;
  for (int i = 0; i < unanswered.length(); ++i) {
    if (unanswered[i] != nullptr) index_of_id.emplace(unanswered[i]->id(), i);
  }
  bool has_response = false;
  for (bool may_go_on = true; may_go_on;) {
    const ScopedPtr<Response> response(reader->ReadResponse(&may_go_on));
    if (!response) continue;
    has_response = true;
    response->SetHttpFields(post->post_request(), &post->post_error());
    const auto found = index_of_id.find(response->id());
    if (found == index_of_id.end()) continue;
    Request* request = post->TakeRequest(found->second);
    if (request != nullptr) HandleDemuxedResponse(request, *response, ok);
  }
  if (!has_response) {
    LogWarn(
        "An error occured during response processing, all unprocessed requests will be requeued");
  }
}

void MobileServiceMux::HandleDemuxedResponse(Request* request, const Response& response, bool* ok) {
  if (request->listener() != nullptr) request->listener()->RequestComplete(request, &response, ok);
}

/// The treatment is the same whatever made it necessary.
void MobileServiceMux::MaybeRequeueRequests(MultiplexedPost* post, bool, bool* ok) {
  for (int i = 0; i < post->muxed_requests().length(); ++i) {
    Request* request = post->TakeRequest(i);
    if (request == nullptr) continue;
    if (request->ShouldRetry()) {
      SubmitWithDelay(request, request->GetRetryTimeout());
    } else {
      NotifyRequestFailed(request, *post, ErrorResponse::kRetriesUsedUp, ok);
    }
  }
}

void MobileServiceMux::NotifyRequestsFailed(MultiplexedPost* post, int status, bool* ok) {
  for (int i = 0; i < post->muxed_requests().length(); ++i) {
    Request* request = post->TakeRequest(i);
    if (request != nullptr) NotifyRequestFailed(request, *post, status, ok);
  }
}

void MobileServiceMux::NotifyRequestFailed(Request* request, const MultiplexedPost& post,
                                           int status, bool* ok) {
  ErrorResponse response(request->id(), status);
  response.SetHttpFields(post.post_request(), &post.post_error());
  HandleDemuxedResponse(request, response, ok);
}

}  // namespace common_kesu
