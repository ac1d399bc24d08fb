#ifndef KESU_MUX_MULTIPLEXED_POST_H_
#define KESU_MUX_MULTIPLEXED_POST_H_

#include "kesu/common/base/memory.h"
#include "kesu/common/base/vector.h"
#include "kesu/mux/header_request.h"
#include "kesu/mux/http_request_factory.h"
#include "kesu/mux/http_request_interface.h"
#include "kesu/mux/mux_config.h"
#include "kesu/mux/request.h"
#include "kesu/mux/request_list.h"

namespace common_kesu {

/// One POST: the requests it carries, in the order of the body, and the bytes that go and come. The
/// requests are borrowed; an entry is null once its request has been cancelled or told its outcome.
class MultiplexedPost : public common_base::HeapObject {
 public:
  /// `additional_length` is what the header block takes.
  MultiplexedPost(const common_base::GVectorRef<Request*>& requests, int additional_length);
  MultiplexedPost(const MultiplexedPost&) = delete;
  MultiplexedPost& operator=(const MultiplexedPost&) = delete;
  /// Cancels the HTTP request.
  ~MultiplexedPost();

  /// Writes the body of the POST and returns its length in bytes.
  int FillPayload(HeaderRequest* header_request);
  /// Makes the HTTP request for what FillPayload() has written. It is not yet started.
  void CreateTheHttpPost(HttpRequestFactory* factory, const MuxConfig& config);
  /// The length of the body as its blocks state it.
  int ComputeContentLength() const;

  /// Nulls the first entry of the request.
  void Cancel(Request* request) { muxed_requests_.CancelFirst(request); }
  /// The request at `index`, which the post then no longer holds; null if it was cancelled.
  Request* TakeRequest(int index) { return muxed_requests_.Take(index); }

  /// For debugging; do nothing.
  void FinishPosting() const {}
  void LogPostRequest() const {}
  void LogResponse() const {}

  const common_base::GVector<unsigned char>& post_body() const { return post_body_; }
  const common_base::GVector<unsigned char>& response_body() const { return response_body_; }
  const RequestList& muxed_requests() const { return muxed_requests_; }
  const HttpRequestFactory::StatusInfo& post_error() const { return post_error_; }
  /// Null when the factory made none.
  HttpRequestInterface* post_request() const { return post_request_; }

  /// Of this post alone, whatever is made later at the same address.
  long long number() const { return number_; }
  void set_number(long long number) { number_ = number; }

  /// The wait after which a POST that could not be started is reported as failed; owned.
  common_base::RequestInterface* start_failure() const { return start_failure_; }
  void set_start_failure(common_base::RequestInterface* wait) { start_failure_ = wait; }

 private:
  void AppendBlock(Request* request, common_base::DataOutputStream* stream);

  int additional_length_;
  /// Of the body as it was written, whatever is cancelled since.
  int content_length_ = 0;
  HttpRequestInterface* post_request_ = nullptr;
  common_base::GVector<unsigned char> post_body_;
  /// Of `post_body_`, for the transport, which borrows the view too.
  common_base::GVectorRef<const unsigned char> post_body_view_;
  common_base::GVector<unsigned char> response_body_;
  RequestList muxed_requests_{RequestList::Of::kPost};
  HttpRequestFactory::StatusInfo post_error_;
  common_base::RequestInterface* start_failure_ = nullptr;
  long long number_ = 0;
};

}  // namespace common_kesu

#endif  // KESU_MUX_MULTIPLEXED_POST_H_
