// Feeds the multiplexer arbitrary replies to its POSTs. No listener is called twice or after a
// cancellation, and each is called once the clock has run on.
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kesu/common/base/internal/async.h"
#include "kesu/mux/header_field_iterator.h"
#include "kesu/mux/mobile_service_mux.h"
#include "kesu/mux/plain_request.h"

#include "fuzz/byte_script.h"
#include "tests/support/manual_clock.h"

using common_base::ByteVector;
using common_base::ByteView;
using common_base::GString;
using common_base::RequesterInterface;
using common_kesu::MobileServiceMux;
using common_kesu::PlainRequest;
using kesu_fuzz::ByteScript;
using kesu_fuzz::Require;

namespace {

constexpr int kServerError = 500;
constexpr long long kRetryDelayTicks = 500000;

/// A POST that ends when the script says so.
class Post final : public HttpRequestInterface {
 public:
  Post(std::vector<Post*>* open, ByteVector* response_body)
      : open_(open), response_body_(response_body) {}
  ~Post() override { std::erase(*open_, this); }

  int Start(RequesterInterface* requester) override {
    requester_ = requester;
    open_->push_back(this);
    return 0;
  }
  void Cancel() override { delete this; }
  void SetHttpRequestHeader(const ByteView&, const ByteView&) override {}
  int HttpResponseStatusCode() const override { return status_; }
  GString RedirectedToUrl() const override { return {}; }
  HeaderFieldIteratorInterface* HttpResponseHeaders() const override {
    return new HeaderFieldIterator(kesu_fuzz::ViewOf(headers_));
  }

  void Complete(std::string_view headers, std::string_view body) {
    std::erase(*open_, this);
    status_ = 200;
    headers_ = headers;
    response_body_->AppendAll(kesu_fuzz::ViewOf(body));
    requester_->OnRequestComplete(this);
  }
  void Fail(int status) {
    std::erase(*open_, this);
    status_ = status;
    requester_->OnRequestFailed(this);
  }

 private:
  std::vector<Post*>* open_;
  ByteVector* response_body_;
  RequesterInterface* requester_ = nullptr;
  int status_ = 0;
  std::string headers_;
};

class Transport final : public HttpRequestFactory {
 public:
  HttpRequestInterface* NewHttpGetRequest(const GString&, ByteVector*, StatusInfo*) override {
    return nullptr;
  }
  HttpRequestInterface* NewHttpPostRequest(const GString&, const ByteView*, ByteVector* body,
                                           StatusInfo*) override {
    return new Post(&open, body);
  }

  std::vector<Post*> open;
};

struct Call final : common_kesu::Request::ListenerInterface {
  bool RequestComplete(const common_kesu::Request* told, const common_kesu::Response* response,
                       bool*) override {
    Require(told == &request);
    Require(!is_over);
    is_over = true;
    const std::unique_ptr<common_base::DataInputStream> payload(response->GetInputStream());
    if (payload) Require(payload->ReadFully().length() == response->ComputePayloadLength());
    if (to_cancel != nullptr) to_cancel->Cancel();
    return true;
  }
  void Cancel() {
    if (is_over) return;
    MobileServiceMux::GetInstance()->Cancel(&request);
    is_over = true;
  }

  PlainRequest request{"u", common_kesu::ServiceVersion::kVersion1};
  /// Cancelled from inside the callback.
  Call* to_cancel = nullptr;
  bool is_over = false;
};

void EndPost(ByteScript* script, Post* post) {
  static constexpr std::string_view kHeaders[] = {"Content-Type: application/binary\r\n",
                                                  "content-type: application/binary\r\n", ""};
  static constexpr int kFailures[] = {502, 501, 550, kServerError, 0};
  const unsigned choice = script->TakeByte();
  if (choice >= 0xFB) return post->Fail(kFailures[choice - 0xFB]);
  // Mostly the right header; the others need a byte of their own.
  const std::string_view headers = kHeaders[choice >= 0xF9 ? choice - 0xF8 : 0];
  const auto length = static_cast<std::uint16_t>(script->TakeInt16());
  post->Complete(headers, script->TakeText(length));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  ByteScript script(bytes, size);
  kesu_test::ManualClock clock;
  common_base::SimpleRequestQueue queue(&clock);
  Transport transport;
  MobileServiceMux::Initialize(&transport, &queue, &clock, new common_kesu::MuxConfig);

  std::vector<Call> calls(static_cast<std::size_t>(1 + script.Pick(16)));
  for (Call& call : calls) {
    call.request.ReplaceListener(&call);
    MobileServiceMux::GetInstance()->Submit(&call.request);
    const std::size_t other = script.TakeByte();
    if (other < calls.size()) call.to_cancel = &calls[other];
  }
  const auto run_on = [&] {
    clock.Advance(kRetryDelayTicks);
    queue.StartDeferredRequests();
  };

  while (!script.IsAtEnd()) {
    run_on();
    if (transport.open.empty()) break;
    EndPost(&script, transport.open.front());
  }
  // Three times: the first POST, the retry after it, and one for luck.
  for (int i = 0; i < 3; ++i) {
    run_on();
    while (!transport.open.empty()) transport.open.front()->Fail(kServerError);
  }
  for (const Call& call : calls) Require(call.is_over);
  MobileServiceMux::DeleteInstance();
  return 0;
}
