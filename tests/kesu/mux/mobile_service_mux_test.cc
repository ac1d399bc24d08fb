// What is sent: batches, sizes, numbers, settings.
#include <memory>
#include <string>
#include <vector>

#include <doctest/doctest.h>

#include "kesu/mux/mux_fixture.h"

using common_base::ByteVector;
using common_kesu::MobileServiceMux;
using kesu_test::HeaderList;
using kesu_test::MuxFixture;
using kesu_test::PostedPayloads;
using kesu_test::PostedRequests;
using kesu_test::RecordingListener;
using kesu_test::ReplyBlock;
using kesu_test::TestRequest;
using kesu_test::TextOf;

namespace {

/// A block takes this and its payload.
constexpr int kBlockBytes = 17;
/// What all blocks of a POST may take together.
constexpr int kRoom = 32768 - MuxFixture::kHeaderBytes - 2;

std::string PayloadFor(int block_bytes, char fill) {
  return std::string(static_cast<std::size_t>(block_bytes - kBlockBytes), fill);
}

}  // namespace

TEST_CASE_FIXTURE(MuxFixture, "a whole exchange, byte for byte") {
  RecordingListener listener;
  const common_base::ByteView payload = kesu_test::ViewOf("AB");
  common_kesu::PlainRequest first("g:loc/ql", common_kesu::ServiceVersion::kVersion1, &payload);
  common_kesu::PlainRequest second("u", common_kesu::ServiceVersion::kVersion0);
  first.ReplaceListener(&listener);
  second.ReplaceListener(&listener);
  mux()->set_cookie(0x1122334455667788);
  CHECK(mux()->cookie() == 0x1122334455667788);
  mux()->Submit(&first);
  mux()->Submit(&second, true);

  const ByteVector post = kesu_test::Bytes(
      "00 01 00 00 00 22 00 01"
      "00 13 70 72 6F 64 2C 31 2E 30 2C 70 6C 61 74 2C 63 68 2C 65 6E"
      "11 22 33 44 55 66 77 88 00 03 63 66 67"
      "00 00 00 14 01 00 00 00 00 08 67 3A 6C 6F 63 2F 71 6C 00 01 00 00 00 02 41 42"
      "00 00 00 0B 01 00 00 01 00 01 75 00 00 00 00 00 00");
  REQUIRE(transport.count() == 1);
  CHECK(transport.exchange(0).method == "POST");
  CHECK(transport.exchange(0).url == kUrl);
  CHECK(transport.exchange(0).body == TextOf(post));
  CHECK(transport.exchange(0).request_headers ==
        HeaderList{{"Content-Type", "application/binary"}, {"Content-Length", "85"}});
  CHECK(mux()->bytes_sent() == 85);

  const ByteVector reply = kesu_test::Bytes(
      "00 01 00 00 00 0D 81 00 00 01 01 94 00 01 6E 12 34 56 78 43 44"
      "00 00 00 0C 81 00 00 00 00 C8 00 00 00 00 00 00 45 46");
  transport.Reply(0, TextOf(reply));
  REQUIRE(listener.outcomes.size() == 2);
  CHECK(listener.outcomes[0].request == &second);
  CHECK(listener.outcomes[0].status == 404);
  CHECK(listener.outcomes[0].payload == "CD");
  CHECK(listener.outcomes[1].request == &first);
  CHECK(listener.outcomes[1].status == 200);
  CHECK(listener.outcomes[1].payload == "EF");
  CHECK_FALSE(listener.outcomes[1].is_error);
  CHECK(mux()->bytes_received() == 39);
  CHECK(transport.open_count() == 0);
}

TEST_CASE_FIXTURE(MuxFixture, "requests that come close together share a POST") {
  std::vector<std::unique_ptr<TestRequest>> requests;
  for (int i = 0; i < 20; ++i) {
    requests.push_back(
        std::make_unique<TestRequest>(nullptr, std::string(1, static_cast<char>('a' + i))));
    CHECK(transport.count() == 0);
    mux()->Submit(requests.back().get());
    Advance(50000);
  }
  REQUIRE(transport.count() == 1);
  CHECK(PostedPayloads(transport.exchange(0).body) == "a b c d e f g h i j k l m n o p q r s t ");
  mux()->Submit(requests[0].get());
  Advance(99999);
  CHECK(transport.count() == 1);
  Advance(1);
  CHECK(transport.count() == 2);
  mux()->SubmitWithDelay(requests[1].get(), 10, false);
  mux()->SubmitWithDelay(requests[2].get(), 300000);
  Advance(10);
  CHECK(transport.count() == 2);
  mux()->FlushPendingRequests();
  REQUIRE(transport.count() == 3);
  CHECK(PostedPayloads(transport.exchange(2).body) == "b ");
  Advance(300000);
  REQUIRE(transport.count() == 4);
  CHECK(PostedPayloads(transport.exchange(3).body) == "c ");
}

TEST_CASE_FIXTURE(MuxFixture, "a POST takes requests in order up to the size limit") {
  struct Row {
    std::string what;
    std::vector<int> block_bytes;
    std::vector<std::size_t> requests_per_post;
  };
  const Row rows[] = {
      {"exactly full", {100, kRoom - 100}, {2}},
      {"one byte too many", {100, kRoom - 99}, {1, 1}},
      {"one request fills it", {kRoom, 18}, {1, 1}},
      {"one request is larger than all", {kRoom + 1}, {1}},
      {"far larger", {18, 200000, 18}, {1, 1, 1}},
      {"no smaller one overtakes", {20000, 20000, 100, 12000, 700}, {1, 3, 1}},
      {"three full ones", {kRoom / 2, kRoom / 2, kRoom / 2, kRoom / 2, kRoom}, {2, 2, 1}},
  };
  for (const Row& row : rows) {
    CAPTURE(row.what);
    std::vector<std::unique_ptr<TestRequest>> requests;
    const std::size_t first_post = transport.count();
    for (std::size_t i = 0; i < row.block_bytes.size(); ++i) {
      requests.push_back(std::make_unique<TestRequest>(
          nullptr, PayloadFor(row.block_bytes[i], static_cast<char>('a' + i))));
      mux()->Submit(requests.back().get());
    }
    mux()->FlushPendingRequests();
    REQUIRE(transport.count() - first_post == row.requests_per_post.size());
    std::size_t next = 0;
    for (std::size_t post = 0; post < row.requests_per_post.size(); ++post) {
      const auto& exchange = transport.exchange(first_post + post);
      const auto posted = PostedRequests(exchange.body);
      CHECK(posted.size() == row.requests_per_post[post]);
      CHECK((exchange.body.size() <= 32766 || posted.size() == 1));
      CHECK(exchange.request_headers[1].second == std::to_string(exchange.body.size()));
      for (const auto& request : posted)
        CHECK(request.payload[0] == static_cast<char>('a' + next++));
    }
    CHECK(next == row.block_bytes.size());
  }
}

TEST_CASE_FIXTURE(MuxFixture,
                  "ids go up, wrap at 16 bits, and are new when a request is sent again") {
  RecordingListener listener;
  TestRequest first(&listener, "a");
  TestRequest second(&listener, "b");
  while (mux()->PeekRequestId() < 32767) mux()->NextRequestId();
  mux()->Submit(&first);
  mux()->Submit(&second, true);
  CHECK(PostedRequests(transport.exchange(0).body)[0].id == 32767);
  CHECK(PostedRequests(transport.exchange(0).body)[1].id == -32768);
  CHECK(mux()->PeekRequestId() == 32769);

  transport.Reply(0, kesu_test::kReplyStart + ReplyBlock(-32768, "wrapped"));
  REQUIRE(listener.outcomes.size() == 1);
  CHECK(listener.outcomes[0].request == &second);
  while (mux()->PeekRequestId() < 65536) mux()->NextRequestId();
  Advance(kRetryDelay);
  REQUIRE(transport.count() == 2);
  CHECK(PostedRequests(transport.exchange(1).body)[0].id == 0);
  CHECK(first.id() == 0);
  transport.Reply(1, kesu_test::kReplyStart + ReplyBlock(32767, "old") + ReplyBlock(0, "new"));
  REQUIRE(listener.outcomes.size() == 2);
  CHECK(listener.outcomes[1].payload == "new");
}

TEST_CASE_FIXTURE(MuxFixture, "while paused nothing is posted") {
  RecordingListener listener;
  TestRequest a(&listener, "a"), b(&listener, "b"), c(&listener, "c"), d(&listener, "d");
  mux()->Submit(&a, true);
  mux()->PauseAll();
  CHECK(mux()->is_paused());
  mux()->Submit(&b, true);
  mux()->Submit(&c);
  Advance(kBatchDelay);
  mux()->Submit(&d, true);
  CHECK(transport.count() == 1);
  transport.Reply(0, kesu_test::kReplyStart + ReplyBlock(0, "x"));
  CHECK(listener.outcomes.size() == 1);
  mux()->Cancel(&c);
  mux()->ResumeAll();
  CHECK_FALSE(mux()->is_paused());
  REQUIRE(transport.count() == 2);
  CHECK(PostedPayloads(transport.exchange(1).body) == "b d ");
  mux()->ResumeAll();
  CHECK(transport.count() == 2);

  mux()->PauseAll();
  TestRequest e(&listener, "e");
  mux()->Submit(&e, true);
  mux()->Cancel(&e);
  mux()->ResumeAll();
  CHECK(transport.count() == 2);
}

TEST_CASE("end-to-end security needs an https URL") {
  struct Row {
    const char* url;
    bool is_https;
  };
  for (const Row& row : {Row{"https://x/", true}, Row{"https:", true}, Row{"http://x/", false},
                         Row{"HTTPS://x/", false}, Row{"https", false}, Row{"", false}}) {
    CAPTURE(row.url);
    const MuxFixture fixture(row.url);
    MobileServiceMux* mux = fixture.mux();
    CHECK(mux->is_https() == row.is_https);
    CHECK_FALSE(mux->is_end_to_end_secure());
    CHECK(mux->RequireEndToEndSecurity(true) == row.is_https);
    CHECK(mux->is_end_to_end_secure() == row.is_https);
    CHECK(mux->RequireEndToEndSecurity(false));
    CHECK_FALSE(mux->is_end_to_end_secure());
  }
}

TEST_CASE("there is one multiplexer, with its first configuration") {
  CHECK_FALSE(MobileServiceMux::InstanceExists());
  CHECK(MobileServiceMux::GetInstance() == nullptr);
  MobileServiceMux::DeleteInstance();
  {
    MuxFixture fixture;
    MobileServiceMux* mux = MobileServiceMux::GetInstance();
    CHECK(MobileServiceMux::InstanceExists());
    MobileServiceMux::Initialize(&fixture.transport, &fixture.queue, &fixture.clock,
                                 MuxFixture::NewConfig("http://other.example/"));
    CHECK(MobileServiceMux::GetInstance() == mux);
    CHECK(TextOf(mux->mux_config().service_url) == MuxFixture::kUrl);
    CHECK(mux->clock() == &fixture.clock);
    CHECK(mux->mux_post_additional_length() == MuxFixture::kHeaderBytes);
  }
  CHECK_FALSE(MobileServiceMux::InstanceExists());
}

TEST_CASE_FIXTURE(MuxFixture, "deleting the multiplexer tells nobody and leaves nothing behind") {
  RecordingListener listener;
  TestRequest a(&listener), b(&listener), c(&listener), d(&listener);
  mux()->Submit(&a, true);
  mux()->Submit(&b, true);
  mux()->Submit(&c);
  mux()->SubmitWithDelay(&d, 10);
  CHECK(transport.open_count() == 2);
  MobileServiceMux::DeleteInstance();
  CHECK(transport.open_count() == 0);
  Advance(2000000);
  CHECK(transport.count() == 2);
  CHECK(listener.outcomes.empty());
}

namespace {

/// Counts how often it is asked for anything.
class CountingRequest final : public common_kesu::PlainRequest {
 public:
  CountingRequest(RecordingListener* listener, long long* calls)
      : PlainRequest("u", common_kesu::ServiceVersion::kVersion1), calls_(calls) {
    ReplaceListener(listener);
  }
  CountingRequest(const CountingRequest&) = delete;
  CountingRequest& operator=(const CountingRequest&) = delete;

  void set_id(short id) override {
    ++*calls_;
    PlainRequest::set_id(id);
  }
  int GetTotalLength() override {
    ++*calls_;
    return PlainRequest::GetTotalLength();
  }
  void WriteBody(common_base::DataOutputStream* out) override {
    ++*calls_;
    PlainRequest::WriteBody(out);
  }

 private:
  long long* calls_;
};

}  // namespace

TEST_CASE_FIXTURE(MuxFixture, "the work for many requests grows with their number only") {
  constexpr int kCount = 20000;
  long long calls = 0;
  RecordingListener listener;
  std::vector<std::unique_ptr<CountingRequest>> requests;
  for (int i = 0; i < kCount; ++i) {
    requests.push_back(std::make_unique<CountingRequest>(&listener, &calls));
    mux()->Submit(requests.back().get());
  }
  mux()->FlushPendingRequests();
  const std::size_t posts = kCount / (kRoom / kBlockBytes) + 1;
  REQUIRE(transport.count() == posts);
  // Measured and written, chosen and summed up, numbered: five calls each, and one more for the
  // request that starts the next POST.
  CHECK(calls <= 5 * kCount + static_cast<long long>(posts));

  for (std::size_t post = 0; post < posts; ++post) {
    std::string reply = kesu_test::kReplyStart;
    auto posted = PostedRequests(transport.exchange(post).body);
    while (!posted.empty()) {
      reply += ReplyBlock(posted.back().id, "");
      posted.pop_back();
    }
    transport.Reply(post, reply);
  }
  CHECK(listener.outcomes.size() == kCount);
  CHECK(calls <= 5 * kCount + static_cast<long long>(posts));
  Advance(kRetryDelay);
  CHECK(transport.count() == posts);
}
