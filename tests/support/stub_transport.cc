#include "support/stub_transport.h"

#include <algorithm>

#include <doctest/doctest.h>

#include "kesu/mux/header_field_iterator.h"

#include "support/bytes.h"

namespace kesu_test {

using common_base::ByteVector;
using common_base::ByteView;
using common_base::GString;
using common_base::RequesterInterface;

class StubTransport::Request final : public HttpRequestInterface {
 public:
  Request(StubTransport* transport, const ByteView* body, ByteVector* response_body,
          StatusInfo* status_info)
      : transport_(transport),
        exchange_(transport->exchanges_.back().get()),
        body_(body),
        response_body_(response_body),
        status_info_(status_info) {}
  ~Request() override { exchange_->request = nullptr; }

  int Start(RequesterInterface* requester) override {
    REQUIRE_FALSE(exchange_->is_started);
    exchange_->is_started = true;
    if (body_ != nullptr) exchange_->body = TextOf(*body_);
    requester_ = requester;
    // Ends this request perhaps.
    StubTransport* const transport = transport_;
    Exchange* const exchange = exchange_;
    transport->on_start();
    exchange->is_started = transport->start_result_ == 0;
    return transport->start_result_;
  }
  void Cancel() override { delete this; }

  void SetHttpRequestHeader(const ByteView& name, const ByteView& value) override {
    exchange_->request_headers.emplace_back(TextOf(name), TextOf(value));
  }
  int HttpResponseStatusCode() const override { return status_; }
  GString RedirectedToUrl() const override { return GString(exchange_->url.c_str()); }
  HeaderFieldIteratorInterface* HttpResponseHeaders() const override {
    return new HeaderFieldIterator(ViewOf(response_headers_));
  }

  /// Leaves it to the caller to tell the requester.
  void End(int status, std::string_view body, const HeaderList& headers) {
    REQUIRE(exchange_->is_started);
    REQUIRE_FALSE(exchange_->has_ended);
    exchange_->has_ended = true;
    if (body_ != nullptr) REQUIRE(TextOf(*body_) == exchange_->body);
    status_ = status;
    for (const auto& [name, value] : headers) response_headers_ += name + ": " + value + "\r\n";
    response_body_->AppendAll(ViewOf(body));
    status_info_->effective_url = RedirectedToUrl();
  }
  RequesterInterface* requester() const { return requester_; }

 private:
  StubTransport* transport_;
  Exchange* exchange_;
  const ByteView* body_;
  ByteVector* response_body_;
  StatusInfo* status_info_;
  RequesterInterface* requester_ = nullptr;
  int status_ = 0;
  std::string response_headers_;
};

StubTransport::~StubTransport() {
  CHECK(open_count() == 0);
}

void StubTransport::Reply(std::size_t index, std::string_view body, const HeaderList& headers) {
  Request* request = exchange(index).request;
  REQUIRE(request != nullptr);
  request->End(200, body, headers);
  request->requester()->OnRequestComplete(request);
}

void StubTransport::Fail(std::size_t index, int status) {
  Request* request = exchange(index).request;
  REQUIRE(request != nullptr);
  request->End(status, "", {});
  request->requester()->OnRequestFailed(request);
}

int StubTransport::open_count() const {
  return static_cast<int>(std::count_if(exchanges_.begin(), exchanges_.end(),
                                        [](const auto& entry) { return entry->request; }));
}

HttpRequestInterface* StubTransport::NewHttpGetRequest(const GString& url,
                                                       ByteVector* response_body,
                                                       StatusInfo* status_info) {
  HttpRequestInterface* request = NewHttpPostRequest(url, nullptr, response_body, status_info);
  if (request != nullptr) exchanges_.back()->method = "GET";
  return request;
}

HttpRequestInterface* StubTransport::NewHttpPostRequest(const GString& url, const ByteView* body,
                                                        ByteVector* response_body,
                                                        StatusInfo* status_info) {
  if (makes_null_) return nullptr;
  exchanges_.push_back(std::make_unique<Exchange>());
  Exchange& exchange = *exchanges_.back();
  exchange.method = "POST";
  exchange.url = TextOf(url);
  exchange.request = new Request(this, body, response_body, status_info);
  on_new();
  return exchange.request;
}

}  // namespace kesu_test
