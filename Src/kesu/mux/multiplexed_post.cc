#include "kesu/mux/multiplexed_post.h"

#include "kesu/common/base/assertions.h"
#include "kesu/common/base/string_format.h"
#include "kesu/mux/http_constants.h"

namespace common_kesu {
namespace {

using common_base::ByteVector;
using common_base::ByteView;
using common_base::DataOutputStream;
using common_base::GString;
using common_base::GVectorRef;

void SetHeader(const char* name, const GString& value, HttpRequestInterface* request) {
  ByteVector name_bytes;
  ByteVector value_bytes;
  GString(name)->ToUtf8Vector(&name_bytes);
  value->ToUtf8Vector(&value_bytes);
  request->SetHttpRequestHeader(name_bytes, value_bytes);
}

}  // namespace

MultiplexedPost::MultiplexedPost(const GVectorRef<Request*>& requests, int additional_length)
    : additional_length_(additional_length) {
  muxed_requests_.AppendAll(requests);
}

MultiplexedPost::~MultiplexedPost() {
  if (start_failure_ != nullptr) start_failure_->Cancel();
  if (post_request_ != nullptr) post_request_->Cancel();
}

int MultiplexedPost::FillPayload(HeaderRequest* header_request) {
  content_length_ = ComputeContentLength();
  post_body_.SetReserve(content_length_);
  DataOutputStream stream(&post_body_);
  AppendBlock(header_request, &stream);
  for (int i = 0; i < muxed_requests_.length(); ++i) {
    if (muxed_requests_[i] != nullptr) AppendBlock(muxed_requests_[i], &stream);
  }
  post_body_view_ = ByteView(post_body_);
  return post_body_.length();
}

void MultiplexedPost::AppendBlock(Request* request, DataOutputStream* stream) {
  const int start = post_body_.length();
  request->WriteHeader(stream);
  request->WriteBody(stream);
  // Or what it writes was changed after its length had been asked for.
  GWASSERT(post_body_.length() - start == request->GetTotalLength());
}

int MultiplexedPost::ComputeContentLength() const {
  int length = additional_length_;
  for (int i = 0; i < muxed_requests_.length(); ++i) {
    if (muxed_requests_[i] != nullptr) length += muxed_requests_[i]->GetTotalLength();
  }
  return length;
}

void MultiplexedPost::CreateTheHttpPost(HttpRequestFactory* factory, const MuxConfig& config) {
  post_request_ = factory->NewHttpPostRequest(config.service_url, &post_body_view_, &response_body_,
                                              &post_error_);
  if (post_request_ == nullptr) return;
  SetHeader(kContentTypeHeader, kKesuMuxContentType, post_request_);
  SetHeader(kContentLengthHeader, common_base::NewGStringFromFormat("%d", content_length_),
            post_request_);
}

}  // namespace common_kesu
