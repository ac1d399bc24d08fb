#include <memory>

#include "kesu/common/base/internal/async.h"
#include "kesu/common/base/internal/posix_clock.h"
#include "kesu/mux/header_field_iterator.h"
#include "kesu/mux/mobile_service_mux.h"
#include "kesu/mux/plain_request.h"

#include "benchmark.h"
#include "reply_builder.h"

namespace {

using common_base::ByteVector;
using common_base::ByteView;
using common_base::DataInputStream;
using common_base::GString;
using common_base::RequesterInterface;
using common_kesu::MobileServiceMux;
using common_kesu::PlainRequest;

constexpr int kRequests = 20000;
constexpr int kPayloadBytes = 200;
constexpr int kBlockHeaderBytes = 6;
constexpr int kVersionBytes = 2;

constexpr char kHeaders[] = "Content-Type: application/binary\r\n";

/// A POST that is answered when its transport is told to.
class StubRequest final : public HttpRequestInterface {
 public:
  StubRequest(const ByteView* body, ByteVector* response_body)
      : body_(body), response_body_(response_body) {}

  int Start(RequesterInterface* requester) override {
    requester_ = requester;
    return 0;
  }
  void Cancel() override { delete this; }
  void SetHttpRequestHeader(const ByteView&, const ByteView&) override {}
  int HttpResponseStatusCode() const override { return 200; }
  GString RedirectedToUrl() const override { return {}; }
  HeaderFieldIteratorInterface* HttpResponseHeaders() const override {
    return new HeaderFieldIterator({common_base::kReferenceExistingBuffer,
                                    reinterpret_cast<const unsigned char*>(kHeaders),
                                    sizeof kHeaders - 1});
  }

  /// Answers every request of the POST with its own block as the payload.
  void Answer() {
    *response_body_ = NewReply();
    DataInputStream stream(body_);
    stream.ReadByteSpan(kVersionBytes);
    stream.ReadByteSpan(stream.ReadInt32() + kBlockHeaderBytes - 4);
    while (!stream.hit_end_of_file()) {
      const int length = stream.ReadInt32();
      stream.ReadUint16();
      const ByteView block = stream.ReadByteSpan(length);
      DataInputStream block_stream(&block);
      AppendReplyBlock(block_stream.ReadInt16(), block, response_body_);
    }
    requester_->OnRequestComplete(this);
  }

 private:
  const ByteView* body_;
  ByteVector* response_body_;
  RequesterInterface* requester_ = nullptr;
};

class StubFactory final : public HttpRequestFactory {
 public:
  HttpRequestInterface* NewHttpGetRequest(const GString&, ByteVector*, StatusInfo*) override {
    return nullptr;
  }
  HttpRequestInterface* NewHttpPostRequest(const GString&, const ByteView* body,
                                           ByteVector* response_body, StatusInfo*) override {
    requests_.push_back(new StubRequest(body, response_body));
    return requests_.back();
  }

  void AnswerAll() {
    for (StubRequest* request : std::exchange(requests_, {})) request->Answer();
  }

 private:
  std::vector<StubRequest*> requests_;
};

class CountingListener final : public common_kesu::Request::ListenerInterface {
 public:
  bool RequestComplete(const common_kesu::Request*, const common_kesu::Response*, bool*) override {
    ++count_;
    return true;
  }
  int count() const { return count_; }

 private:
  int count_ = 0;
};

/// Requests per second from submission to answer, all submitted together.
double Throughput() {
  StubFactory factory;
  common_base::PosixClock clock;
  common_base::SimpleRequestQueue queue(&clock);
  MobileServiceMux::Initialize(&factory, &queue, &clock, new common_kesu::MuxConfig);
  ByteVector payload;
  payload.AdjustLength(kPayloadBytes);
  common_base::GMemset(payload.data(), 'x', kPayloadBytes);
  const ByteView view(payload);
  CountingListener listener;
  std::vector<std::unique_ptr<PlainRequest>> requests;
  for (int i = 0; i < kRequests; ++i) {
    requests.push_back(
        std::make_unique<PlainRequest>("g:loc/ql", common_kesu::ServiceVersion::kVersion1, &view));
    requests.back()->ReplaceListener(&listener);
  }
  const double seconds = Seconds(1, [&] {
    for (const auto& request : requests) MobileServiceMux::GetInstance()->Submit(request.get());
    MobileServiceMux::GetInstance()->FlushPendingRequests();
    factory.AnswerAll();
  });
  MobileServiceMux::DeleteInstance();
  return listener.count() / seconds;
}

}  // namespace

std::vector<Benchmark> MuxBenchmarks() {
  return {{"mux.throughput", "requests/s", Throughput}};
}
