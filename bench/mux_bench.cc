#include <algorithm>
#include <array>
#include <cstddef>
#include <functional>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "kesu/common/base/internal/async.h"
#include "kesu/common/base/internal/posix_clock.h"
#include "kesu/mux/header_field_iterator.h"
#include "kesu/mux/mobile_service_mux.h"
#include "kesu/mux/multiplexed_post.h"
#include "kesu/mux/plain_request.h"
#include "kesu/mux/request_place.h"

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

constexpr int kStatusOk = 200;
constexpr int kServerError = 500;
constexpr int kRequests = 20000;
/// What each line of the growth table is the average of, at least.
constexpr int kFewestItems = 5000;
constexpr int kPayloadBytes = 200;
/// Of a POST with one request, roughly.
constexpr std::size_t kBodyBytes = 400;
constexpr int kBlockHeaderBytes = 6;
constexpr int kVersionBytes = 2;

constexpr char kHeaders[] = "Content-Type: application/binary\r\n";

/// A POST that is answered when its transport is told to.
class StubRequest final : public HttpRequestInterface {
 public:
  StubRequest(const ByteView* body, ByteVector* response_body, int status)
      : body_(body), response_body_(response_body), status_(status) {}

  int Start(RequesterInterface* requester) override {
    requester_ = requester;
    return 0;
  }
  void Cancel() override { delete this; }
  void SetHttpRequestHeader(const ByteView&, const ByteView&) override {}
  int HttpResponseStatusCode() const override { return status_; }
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
  void Fail() { requester_->OnRequestFailed(this); }

 private:
  const ByteView* body_;
  ByteVector* response_body_;
  int status_;
  RequesterInterface* requester_ = nullptr;
};

class StubFactory final : public HttpRequestFactory {
 public:
  HttpRequestInterface* NewHttpGetRequest(const GString&, ByteVector*, StatusInfo*) override {
    return nullptr;
  }
  HttpRequestInterface* NewHttpPostRequest(const GString&, const ByteView* body,
                                           ByteVector* response_body, StatusInfo*) override {
    requests_.push_back(new StubRequest(body, response_body, status_));
    return requests_.back();
  }
  /// Of the POSTs from now on.
  void set_status(int status) { status_ = status; }
  std::vector<StubRequest*> TakeAll() { return std::exchange(requests_, {}); }

  void AnswerAll() {
    for (StubRequest* request : TakeAll()) request->Answer();
  }

 private:
  std::vector<StubRequest*> requests_;
  int status_ = kStatusOk;
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

/// Some requests and a multiplexer to send them with.
struct World {
  explicit World(int count) {
    MobileServiceMux::Initialize(&factory, &queue, &clock, new common_kesu::MuxConfig);
    payload.AdjustLength(kPayloadBytes);
    common_base::GMemset(payload.data(), 'x', kPayloadBytes);
    view = ByteView(payload);
    for (int i = 0; i < count; ++i) {
      requests.push_back(std::make_unique<PlainRequest>(
          "g:loc/ql", common_kesu::ServiceVersion::kVersion1, &view));
      requests.back()->ReplaceListener(&listener);
    }
  }
  World(const World&) = delete;
  World& operator=(const World&) = delete;
  ~World() { MobileServiceMux::DeleteInstance(); }

  template <typename Action>
  void ForEach(Action action) const {
    for (const auto& request : requests) action(MobileServiceMux::GetInstance(), request.get());
  }
  void CancelAll() const {
    ForEach([](MobileServiceMux* mux, PlainRequest* request) { mux->Cancel(request); });
  }
  void SubmitAll(bool send_now) const {
    ForEach([=](MobileServiceMux* mux, PlainRequest* request) { mux->Submit(request, send_now); });
  }

  StubFactory factory;
  common_base::PosixClock clock;
  common_base::SimpleRequestQueue queue{&clock};
  ByteVector payload;
  ByteView view;
  CountingListener listener;
  std::vector<std::unique_ptr<PlainRequest>> requests;
  /// In the order in which they are to end.
  std::vector<StubRequest*> posts;
};

/// Requests per second from submission to answer, all submitted together.
double Throughput() {
  World world(kRequests);
  const double seconds = Seconds(1, [&] {
    world.SubmitAll(false);
    MobileServiceMux::GetInstance()->FlushPendingRequests();
    world.factory.AnswerAll();
  });
  return world.listener.count() / seconds;
}

/// Something that is done to each of many requests, and what has to happen before.
struct Growth {
  const char* name;
  std::function<void(World*)> prepare;
  std::function<void(World*)> run;
};

/// Sends each request in a POST of its own, all of which are to end in another order.
void PostEach(World* world, bool in_random_order) {
  world->SubmitAll(true);
  world->posts = world->factory.TakeAll();
  std::reverse(world->posts.begin(), world->posts.end());
  if (in_random_order) {
    std::shuffle(world->posts.begin(), world->posts.end(), std::minstd_rand());
  }
}

void FailAll(World* world) {
  for (StubRequest* post : world->posts) post->Fail();
}

/// Puts something else into the caches of the processor. Few requests would be found there, many
/// would not, and the difference is not the multiplexer's.
void EmptyCaches() {
  static std::vector<unsigned char> other(std::size_t{48} << 20);
  for (std::size_t i = 0; i < other.size(); i += 64) ++other[i];
}

/// Nanoseconds an item, on average over kFewestItems or more.
double NanosecondsPerItem(const Growth& growth, int count) {
  double seconds = 0;
  int done = 0;
  for (; done < kFewestItems; done += count) {
    World world(count);
    world.factory.set_status(kServerError);
    growth.prepare(&world);
    EmptyCaches();
    seconds += Seconds(1, [&] { growth.run(&world); });
  }
  return seconds / done * 1e9;
}

/// What no multiplexer can do without: the blocks that one POST of one request takes are looked at
/// and, but for the request, freed, in random order. How this grows with their number is the
/// machine's.
double NanosecondsPerFreedPost(int count) {
  constexpr std::size_t kBlockBytes[] = {sizeof(StubRequest), sizeof(common_kesu::MultiplexedPost),
                                         sizeof(common_kesu::RequestPlace), kBodyBytes,
                                         sizeof(PlainRequest)};
  constexpr std::size_t kBlocks = std::size(kBlockBytes);
  using Blocks = std::array<std::unique_ptr<unsigned char[]>, kBlocks>;
  double seconds = 0;
  int done = 0;
  for (; done < kFewestItems; done += count) {
    std::vector<Blocks> posts(static_cast<std::size_t>(count));
    for (Blocks& blocks : posts) {
      for (std::size_t i = 0; i < kBlocks; ++i) {
        blocks[i] = std::make_unique<unsigned char[]>(kBlockBytes[i]);
      }
    }
    std::vector<Blocks*> order;
    for (Blocks& blocks : posts) order.push_back(&blocks);
    std::shuffle(order.begin(), order.end(), std::minstd_rand());
    EmptyCaches();
    seconds += Seconds(1, [&] {
      long long sum = 0;
      for (Blocks* blocks : order) {
        for (auto& block : *blocks) {
          sum += block[0];
          if (&block != &blocks->back()) block.reset();
        }
      }
      Keep(sum);
    });
  }
  return seconds / done * 1e9;
}

}  // namespace

std::vector<Benchmark> MuxBenchmarks() {
  const auto nothing = [](World*) {};
  const auto gather = [](World* world) { world->SubmitAll(false); };
  const auto post_each = [](World* world) { world->SubmitAll(true); };
  const auto cancel = [](World* world) { world->CancelAll(); };
  const auto hold_back = [](World* world) {
    world->ForEach([](MobileServiceMux* mux, PlainRequest* request) {
      mux->SubmitWithDelay(request, common_base::kTicksPerSecond);
    });
  };
  const Growth growths[] = {
      {"submit", nothing, gather},
      {"cancel_pending", gather, cancel},
      {"cancel_delayed", hold_back, cancel},
      {"cancel_in_flight", post_each, cancel},
      {"end_in_reverse_order", [](World* world) { PostEach(world, false); }, FailAll},
      {"end_in_random_order", [](World* world) { PostEach(world, true); }, FailAll},
  };
  std::vector<Benchmark> benchmarks = {{"mux.throughput", "requests/s", Throughput}};
  for (const Growth& growth : growths) {
    for (const int count : {1000, 10000, 100000}) {
      benchmarks.push_back({std::string("mux.") + growth.name + '.' + std::to_string(count), "ns",
                            [=] { return NanosecondsPerItem(growth, count); }});
    }
  }
  for (const int count : {1000, 10000, 100000}) {
    benchmarks.push_back({"mux.bare_end_in_random_order." + std::to_string(count), "ns",
                          [=] { return NanosecondsPerFreedPost(count); }});
  }
  return benchmarks;
}
