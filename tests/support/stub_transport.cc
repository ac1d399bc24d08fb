#include "support/stub_transport.h"

#include <algorithm>

#include <doctest/doctest.h>

#include "support/bytes.h"

namespace kesu_test {
namespace {

using common_base::ByteVector;
using common_base::ByteView;
using common_base::GString;
using common_base::RequesterInterface;

class HeaderIterator final : public HeaderFieldIteratorInterface {
 public:
  explicit HeaderIterator(const HeaderList& headers) : headers_(headers) { Load(); }

  void Next() override {
    ++index_;
    Load();
  }
  void Reset() override {
    index_ = 0;
    Load();
  }
  bool AtEnd() const override { return index_ >= headers_.size(); }
  const ByteVector& FieldName() const override { return name_; }
  const ByteVector& FieldValue() const override { return value_; }

 private:
  void Load() {
    name_.Clear();
    value_.Clear();
    if (AtEnd()) return;
    name_.AppendAll(ViewOf(headers_[index_].first));
    value_.AppendAll(ViewOf(headers_[index_].second));
  }

  const HeaderList& headers_;
  std::size_t index_ = 0;
  ByteVector name_;
  ByteVector value_;
};

}  // namespace

class StubTransport::Request final : public HttpRequestInterface {
 public:
  Request(Exchange* exchange, int start_result, const ByteView* body, ByteVector* response_body,
          StatusInfo* status_info)
      : exchange_(exchange),
        start_result_(start_result),
        body_(body),
        response_body_(response_body),
        status_info_(status_info) {}
  Request(const Request&) = delete;
  Request& operator=(const Request&) = delete;
  ~Request() override { exchange_->request = nullptr; }

  int Start(RequesterInterface* requester) override {
    REQUIRE_FALSE(exchange_->is_started);
    exchange_->is_started = start_result_ == 0;
    if (body_ != nullptr) exchange_->body = TextOf(*body_);
    requester_ = requester;
    return start_result_;
  }
  void Cancel() override { delete this; }

  void SetHttpRequestHeader(const ByteView& name, const ByteView& value) override {
    exchange_->request_headers.emplace_back(TextOf(name), TextOf(value));
  }
  int HttpResponseStatusCode() const override { return status_; }
  GString RedirectedToUrl() const override { return GString(exchange_->url.c_str()); }
  HeaderFieldIteratorInterface* HttpResponseHeaders() const override {
    return new HeaderIterator(response_headers_);
  }

  /// The requester may delete this request: nothing of it may be touched afterwards.
  void End(int status, std::string_view body, HeaderList headers, bool is_complete) {
    REQUIRE(exchange_->is_started);
    REQUIRE_FALSE(exchange_->has_ended);
    exchange_->has_ended = true;
    if (body_ != nullptr) REQUIRE(TextOf(*body_) == exchange_->body);
    status_ = status;
    response_headers_ = std::move(headers);
    response_body_->AppendAll(ViewOf(body));
    status_info_->effective_url = RedirectedToUrl();
    if (is_complete) {
      requester_->OnRequestComplete(this);
    } else {
      requester_->OnRequestFailed(this);
    }
  }

 private:
  Exchange* exchange_;
  int start_result_;
  const ByteView* body_;
  ByteVector* response_body_;
  StatusInfo* status_info_;
  RequesterInterface* requester_ = nullptr;
  int status_ = 0;
  HeaderList response_headers_;
};

StubTransport::~StubTransport() {
  CHECK(open_count() == 0);
}

void StubTransport::Reply(std::size_t index, std::string_view body, HeaderList headers) {
  REQUIRE(exchange(index).request != nullptr);
  exchange(index).request->End(200, body, std::move(headers), true);
}

void StubTransport::Fail(std::size_t index, int status) {
  REQUIRE(exchange(index).request != nullptr);
  exchange(index).request->End(status, "", {}, false);
}

int StubTransport::open_count() const {
  return static_cast<int>(std::count_if(exchanges_.begin(), exchanges_.end(),
                                        [](const auto& entry) { return entry->request; }));
}

HttpRequestInterface* StubTransport::NewHttpGetRequest(const GString& url,
                                                       ByteVector* response_body,
                                                       StatusInfo* status_info) {
  return NewRequest("GET", url, nullptr, response_body, status_info);
}

HttpRequestInterface* StubTransport::NewHttpPostRequest(const GString& url, const ByteView* body,
                                                        ByteVector* response_body,
                                                        StatusInfo* status_info) {
  return NewRequest("POST", url, body, response_body, status_info);
}

HttpRequestInterface* StubTransport::NewRequest(const char* method, const GString& url,
                                                const ByteView* body, ByteVector* response_body,
                                                StatusInfo* status_info) {
  if (makes_null_) return nullptr;
  exchanges_.push_back(std::make_unique<Exchange>());
  Exchange& exchange = *exchanges_.back();
  exchange.method = method;
  exchange.url = TextOf(url);
  exchange.request = new Request(&exchange, start_result_, body, response_body, status_info);
  return exchange.request;
}

}  // namespace kesu_test
