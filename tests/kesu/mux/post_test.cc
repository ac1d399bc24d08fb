// What is sent, and when: batches, delays, sizes, numbers.
#include <memory>
#include <string>
#include <vector>

#include <doctest/doctest.h>

#include "kesu/mux/mux_fixture.h"

using common_kesu::MobileServiceMux;
using kesu_test::HeaderList;
using kesu_test::MuxFixture;
using kesu_test::PostedPayloads;
using kesu_test::PostedRequests;
using kesu_test::RecordingListener;
using kesu_test::ReplyBlock;
using kesu_test::TestRequest;
using kesu_test::TextOf;

TEST_CASE_FIXTURE(MuxFixture, "a whole exchange, byte for byte") {
  RecordingListener listener;
  const common_base::ByteView payload = kesu_test::ViewOf("AB");
  common_kesu::PlainRequest first("g:loc/ql", common_kesu::ServiceVersion::kVersion1, &payload);
  common_kesu::PlainRequest second("u", common_kesu::ServiceVersion::kVersion0);
  first.ReplaceListener(&listener);
  second.ReplaceListener(&listener);
  mux()->set_cookie(0x1122334455667788);
  mux()->Submit(&first);
  mux()->Submit(&second, true);
  REQUIRE(transport.count() == 1);
  CHECK(transport.exchange(0).method == "POST");
  CHECK(transport.exchange(0).url == kUrl);
  CHECK(transport.exchange(0).body ==
        TextOf(kesu_test::Bytes(
            "00 01 00 00 00 22 00 01 "
            "00 13 70 72 6F 64 2C 31 2E 30 2C 70 6C 61 74 2C 63 68 2C 65 6E "
            "11 22 33 44 55 66 77 88 00 03 63 66 67 "
            "00 00 00 14 01 00 00 00 00 08 67 3A 6C 6F 63 2F 71 6C 00 01 00 00 00 02 41 42 "
            "00 00 00 0B 01 00 00 01 00 01 75 00 00 00 00 00 00")));
  CHECK(transport.exchange(0).request_headers ==
        HeaderList{{"Content-Type", "application/binary"}, {"Content-Length", "85"}});
  CHECK(mux()->bytes_sent() == 85);

  transport.Reply(
      0, TextOf(kesu_test::Bytes("00 01 00 00 00 0D 81 00 00 01 01 94 00 01 6E 12 34 56 78 43 44 "
                                 "00 00 00 0C 81 00 00 00 00 C8 00 00 00 00 00 00 45 46")));
  CHECK(listener.Told() == ":404:CD AB:200:EF ");
  CHECK(mux()->bytes_received() == 39);
  CHECK(transport.open_count() == 0);
}

TEST_CASE("when requests leave, and which go together") {
  /// "a" to "d" submit that request, "+" sends the next at once, "@" holds the next back for 40000
  /// ticks and then sends it at once, "_" holds it back and lets it wait for a batch, "-" cancels
  /// the next, "." lets 10000 ticks pass, "!" flushes, "p" pauses, "r" resumes.
  struct Row {
    std::string steps;
    /// With the ticks in front, in tens of thousands.
    std::string posts;
  };
  const std::string ten(10, '.');
  std::string twelve;
  for (int i = 0; i < 12; ++i) twelve += "a.........";
  const Row rows[] = {
      {"a" + ten + "..b" + ten, "10:a 22:b "},
      {"a.........b.........c" + ten, "28:a b c "},
      {"a.....+b" + ten + "c....." + ten, "5:a b 25:c "},
      // The long delay ends it, however often it is put off; it begins anew with each batch.
      {"a.+b." + twelve, "1:a b 102:a a a a a a a a a a a a "},
      {"@ab" + ten, "4:b a "},
      {"_ab..!" + ten + ten, "2:b 14:a "},
      {"_a....-a" + ten, ""},
      {"ab-a" + ten, "10:b "},
      {"a-b" + ten, "10:a "},
      {"a-a" + ten, ""},
      // Only the oldest of a request's delays is cancelled.
      {"@a.@b.@a-a" + ten, "5:b 6:a "},
      {"@a@b@c-b-c-a@b" + ten, "4:b "},
      {"p+abc" + ten + "+d-cr", "10:a b d "},
      {"p+a-ar", ""},
      {"p+arr..", "0:a "},
  };
  for (const Row& row : rows) {
    CAPTURE(row.steps);
    MuxFixture f;
    TestRequest a(nullptr, "a"), b(nullptr, "b"), c(nullptr, "c"), d(nullptr, "d");
    TestRequest* const requests[] = {&a, &b, &c, &d};
    std::string posts;
    std::size_t seen = 0;
    int now = 0;
    char mode = 0;
    for (const char step : row.steps) {
      if (step == '.') f.Advance(10000);
      if (step == '.') ++now;
      if (step == '!') f.mux()->FlushPendingRequests();
      if (step == 'p') f.mux()->PauseAll();
      if (step == 'r') f.mux()->ResumeAll();
      TestRequest* request = step >= 'a' && step <= 'd' ? requests[step - 'a'] : nullptr;
      if (request != nullptr && mode == 0) f.mux()->Submit(request);
      if (request != nullptr && mode == '+') f.mux()->Submit(request, true);
      if (request != nullptr && mode == '@') f.mux()->SubmitWithDelay(request, 40000);
      if (request != nullptr && mode == '_') f.mux()->SubmitWithDelay(request, 40000, false);
      if (request != nullptr && mode == '-') f.mux()->Cancel(request);
      mode = std::string("+@_-").find(step) == std::string::npos ? char{} : step;
      for (; seen < f.transport.count(); ++seen) {
        posts += std::to_string(now) + ":" + PostedPayloads(f.transport.exchange(seen).body);
      }
    }
    CHECK(posts == row.posts);
  }
}

TEST_CASE_FIXTURE(MuxFixture, "a POST takes requests in order up to the size limit") {
  constexpr int kBlockBytes = 17;
  /// What all blocks of a POST may take together.
  constexpr int kRoom = 32768 - kHeaderBytes - 2;
  struct Row {
    std::vector<int> block_bytes;
    std::vector<std::size_t> requests_per_post;
  };
  const Row rows[] = {
      {{100, kRoom - 100}, {2}},
      {{100, kRoom - 99}, {1, 1}},
      {{kRoom, 18}, {1, 1}},
      {{kRoom + 1}, {1}},
      {{18, 200000, 18}, {1, 1, 1}},
      // No smaller one overtakes.
      {{20000, 20000, 100, 12000, 700}, {1, 3, 1}},
      {{kRoom / 2, kRoom / 2, kRoom / 2, kRoom / 2, kRoom}, {2, 2, 1}},
  };
  for (const Row& row : rows) {
    CAPTURE(row.block_bytes.size());
    std::vector<std::unique_ptr<TestRequest>> requests;
    std::size_t post = transport.count();
    for (const int bytes : row.block_bytes) {
      const std::string payload(static_cast<std::size_t>(bytes - kBlockBytes),
                                static_cast<char>('a' + requests.size()));
      requests.push_back(std::make_unique<TestRequest>(nullptr, payload));
      mux()->Submit(requests.back().get());
    }
    mux()->FlushPendingRequests();
    REQUIRE(transport.count() - post == row.requests_per_post.size());
    char next = 'a';
    for (const std::size_t count : row.requests_per_post) {
      const auto& exchange = transport.exchange(post++);
      const auto posted = PostedRequests(exchange.body);
      CHECK(posted.size() == count);
      CHECK(exchange.request_headers[1].second == std::to_string(exchange.body.size()));
      for (const auto& request : posted) CHECK(request.payload[0] == next++);
    }
  }
}

TEST_CASE_FIXTURE(MuxFixture, "ids wrap at 16 bits, and are new when a request is sent again") {
  RecordingListener listener;
  TestRequest first(&listener, "a");
  TestRequest second(&listener, "b");
  while (mux()->PeekRequestId() < 32767) mux()->NextRequestId();
  mux()->Submit(&first);
  mux()->Submit(&second, true);
  CHECK(PostedRequests(transport.exchange(0).body)[0].id == 32767);
  CHECK(PostedRequests(transport.exchange(0).body)[1].id == -32768);
  transport.Reply(0, kesu_test::kReplyStart + ReplyBlock(-32768, "wrapped"));
  CHECK(listener.Told() == "b:200:wrapped ");
  Advance(kRetryDelay);
  REQUIRE(transport.count() == 2);
  CHECK(PostedRequests(transport.exchange(1).body)[0].id == -32767);
  transport.Reply(1, kesu_test::kReplyStart + ReplyBlock(32767, "old") + ReplyBlock(-32767, "new"));
  CHECK(listener.Told() == "b:200:wrapped a:200:new ");
}

TEST_CASE("end-to-end security needs an https URL, and the first configuration counts") {
  for (const char* url : {"https://x/", "https:", "http://x/", "HTTPS://x/", ""}) {
    CAPTURE(url);
    MuxFixture f(url);
    MobileServiceMux* mux = f.mux();
    MobileServiceMux::Initialize(&f.transport, &f.queue, &f.clock, MuxFixture::NewConfig("ftp:"));
    CHECK(f.mux() == mux);
    CHECK(TextOf(mux->mux_config().service_url) == url);
    const bool is_https = std::string(url).substr(0, 6) == "https:";
    CHECK(mux->is_https() == is_https);
    CHECK(mux->RequireEndToEndSecurity(true) == is_https);
    CHECK(mux->is_end_to_end_secure() == is_https);
    CHECK(mux->RequireEndToEndSecurity(false));
    CHECK_FALSE(mux->is_end_to_end_secure());
  }
  CHECK_FALSE(MobileServiceMux::InstanceExists());
}
