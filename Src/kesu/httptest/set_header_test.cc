#include "kesu/httptest/set_header_test.h"

#include <string_view>

namespace common_kesu {
namespace {

using common_base::ByteView;

constexpr int kStatusOk = 200;

constexpr std::string_view kHeaderName = "X-Kesu-Test";
constexpr std::string_view kHeaderValue = "set-header-test";

ByteView BytesOf(std::string_view text) {
  return {common_base::kReferenceExistingBuffer,
          reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size())};
}

}  // namespace

int SetHeaderTest::Start(RequesterInterface* requester) {
  requester_ = requester;
  get_ = factory_->NewHttpGetRequest(url_, &response_body_, &status_info_);
  if (get_ != nullptr) {
    get_->SetHttpRequestHeader(BytesOf(kHeaderName), BytesOf(kHeaderValue));
    if (get_->Start(this) == 0) return 0;
  }
  PrintOutcome(false);
  return 1;
}

SetHeaderTest::~SetHeaderTest() {
  if (get_ != nullptr) get_->Cancel();
}

TransportError SetHeaderTest::last_transport_error() const {
  if (get_ != nullptr) return get_->last_transport_error();
  return {TransportErrorKind::kNotStarted, "the transport made no request"};
}

bool SetHeaderTest::IsHeaderEchoed() const {
  const std::string_view body(reinterpret_cast<const char*>(response_body_.data()),
                              static_cast<std::size_t>(response_body_.length()));
  const std::size_t name = body.find(kHeaderName);
  return name != std::string_view::npos && body.find(kHeaderValue, name) != std::string_view::npos;
}

void SetHeaderTest::PrintOutcome(bool passed) const {
  std::fputs(passed ? "SetHeaderTest passed\nAll HTTP tests pass\n" : "SetHeaderTest failed\n",
             out_);
}

void SetHeaderTest::OnRequestComplete(RequestInterface* request) {
  if (get_->HttpResponseStatusCode() != kStatusOk || !IsHeaderEchoed()) {
    OnRequestFailed(request);
    return;
  }
  PrintOutcome(true);
  requester_->OnRequestComplete(this);
  delete this;
}

void SetHeaderTest::OnRequestFailed(RequestInterface*) {
  PrintOutcome(false);
  requester_->OnRequestFailed(this);
  delete this;
}

}  // namespace common_kesu
