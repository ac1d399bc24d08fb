#ifndef SUPPORT_STUB_TRANSPORT_H_
#define SUPPORT_STUB_TRANSPORT_H_

#include <cstddef>
#include <cstdlib>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kesu/mux/header_field_iterator.h"
#include "kesu/mux/http_request_factory.h"

#include "support/text.h"

namespace kesu_test {

using HeaderList = std::vector<std::pair<std::string, std::string>>;

/// A transport without a network: its requests end when the test says so. It must outlive them.
/// Whoever uses it wrongly ends the process.
class StubTransport final : public HttpRequestFactory {
  class Request;

 public:
  /// What is known of one request. It stays when the request is gone.
  struct Exchange {
    std::string url;
    /// As it was at the start of the request.
    std::string body;
    HeaderList request_headers;
    bool is_started = false;
    bool has_ended = false;
    /// Null once it has been cancelled, which is how its owner gets rid of it.
    Request* request = nullptr;
  };

  ~StubTransport() override {
    for (const Exchange& exchange : exchanges_) Require(exchange.request == nullptr);
  }

  /// Ends a request with that status, as complete if that is 200, otherwise as failed.
  void End(std::size_t index, int status, std::string_view body = "",
           const HeaderList& headers = {{"Content-Type", "application/binary"}}) {
    Require(exchange(index).request != nullptr);
    exchange(index).request->End(status, body, headers);
  }

  std::size_t count() const { return exchanges_.size(); }
  const Exchange& exchange(std::size_t index) const { return exchanges_.at(index); }
  const Exchange& latest() const { return exchanges_.back(); }
  /// The requests that have been started and not ended, from the oldest on.
  std::vector<std::size_t> Open() const {
    std::vector<std::size_t> open;
    for (std::size_t i = 0; i < count(); ++i) {
      const Exchange& entry = exchange(i);
      if (entry.request != nullptr && entry.is_started && !entry.has_ended) open.push_back(i);
    }
    return open;
  }

  HttpRequestInterface* NewHttpGetRequest(const common_base::GString& url,
                                          common_base::ByteVector* response_body,
                                          StatusInfo* status_info) override {
    return NewHttpPostRequest(url, nullptr, response_body, status_info);
  }
  HttpRequestInterface* NewHttpPostRequest(const common_base::GString& url,
                                           const common_base::ByteView* body,
                                           common_base::ByteVector* response_body,
                                           StatusInfo* status_info) override {
    if (makes_null) return nullptr;
    Exchange& exchange = exchanges_.emplace_back();
    exchange.url = TextOf(url);
    exchange.request = new Request(this, body, response_body, status_info);
    on_new();
    return exchange.request;
  }

  /// Whether the factory returns null.
  bool makes_null = false;
  /// What Start() yields, whatever `on_start` reports.
  int start_result = 0;
  /// What the requests say of an exchange that ends without a status.
  common_kesu::TransportError error;
  /// What happens inside the making of a POST, and inside Start().
  std::function<void()> on_new = [] {};
  std::function<void()> on_start = [] {};

 private:
  static void Require(bool holds) {
    if (!holds) std::abort();
  }

  std::deque<Exchange> exchanges_;

  class Request final : public HttpRequestInterface {
   public:
    Request(StubTransport* transport, const common_base::ByteView* body,
            common_base::ByteVector* response_body, StatusInfo* status_info)
        : transport_(transport),
          body_(body),
          response_body_(response_body),
          status_info_(status_info) {}
    ~Request() override { exchange_->request = nullptr; }

    int Start(common_base::RequesterInterface* requester) override {
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

    void SetHttpRequestHeader(const common_base::ByteView& name,
                              const common_base::ByteView& value) override {
      exchange_->request_headers.emplace_back(TextOf(name), TextOf(value));
    }
    int HttpResponseStatusCode() const override { return status_; }
    common_base::GString RedirectedToUrl() const override { return exchange_->url.c_str(); }
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
    Exchange* exchange_ = &transport_->exchanges_.back();
    const common_base::ByteView* body_;
    common_base::ByteVector* response_body_;
    StatusInfo* status_info_;
    common_base::RequesterInterface* requester_ = nullptr;
    int status_ = 0;
    std::string response_headers_;
  };
};

}  // namespace kesu_test

#endif  // SUPPORT_STUB_TRANSPORT_H_
