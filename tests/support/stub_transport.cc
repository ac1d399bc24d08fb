#include "support/stub_transport.h"

#include <cstdlib>

#include "kesu/mux/header_field_iterator.h"

#include "support/text.h"

namespace kesu_test {
namespace {

using common_base::ByteVector;
using common_base::ByteView;
using common_base::GString;
using common_base::RequesterInterface;

void Require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

class StubTransport::Request final : public HttpRequestInterface {
 public:
  Request(StubTransport* transport, const ByteView* body, ByteVector* response_body,
          StatusInfo* status_info)
      : transport_(transport),
        exchange_(&transport->exchanges_.back()),
        body_(body),
        response_body_(response_body),
        status_info_(status_info) {}
  ~Request() override { exchange_->request = nullptr; }

  int Start(RequesterInterface* requester) override {
    Require(!exchange_->is_started);
    exchange_->is_started = true;
    if (body_ != nullptr) exchange_->body = TextOf(*body_);
    requester_ = requester;
    // Ends this request perhaps.
    StubTransport* const transport = transport_;
    Exchange* const exchange = exchange_;
    transport->on_start();
    exchange->is_started = transport->start_result == 0;
    return transport->start_result;
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
  common_kesu::TransportError last_transport_error() const override {
    return status_ == 0 ? transport_->error : common_kesu::TransportError();
  }

  void End(int status, std::string_view body, const HeaderList& headers) {
    Require(exchange_->is_started && !exchange_->has_ended);
    Require(body_ == nullptr || TextOf(*body_) == exchange_->body);
    exchange_->has_ended = true;
    status_ = status;
    for (const auto& [name, value] : headers) response_headers_ += name + ": " + value + "\r\n";
    response_body_->AppendAll(ViewOf(body));
    status_info_->effective_url = RedirectedToUrl();
    status == 200 ? requester_->OnRequestComplete(this) : requester_->OnRequestFailed(this);
  }

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
  for (const Exchange& exchange : exchanges_) Require(exchange.request == nullptr);
}

void StubTransport::End(std::size_t index, int status, std::string_view body,
                        const HeaderList& headers) {
  Require(exchange(index).request != nullptr);
  exchange(index).request->End(status, body, headers);
}

std::vector<std::size_t> StubTransport::Open() const {
  std::vector<std::size_t> open;
  for (std::size_t i = 0; i < count(); ++i) {
    const Exchange& entry = exchange(i);
    if (entry.request != nullptr && entry.is_started && !entry.has_ended) open.push_back(i);
  }
  return open;
}

HttpRequestInterface* StubTransport::NewHttpGetRequest(const GString& url,
                                                       ByteVector* response_body,
                                                       StatusInfo* status_info) {
  return NewHttpPostRequest(url, nullptr, response_body, status_info);
}

HttpRequestInterface* StubTransport::NewHttpPostRequest(const GString& url, const ByteView* body,
                                                        ByteVector* response_body,
                                                        StatusInfo* status_info) {
  if (makes_null) return nullptr;
  Exchange& exchange = exchanges_.emplace_back();
  exchange.url = TextOf(url);
  exchange.request = new Request(this, body, response_body, status_info);
  on_new();
  return exchange.request;
}

}  // namespace kesu_test
