// What the model cannot show: the bytes of an exchange, what the log says, what a listener sees.
#include <deque>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <doctest/doctest.h>

#include "kesu/mux/mux_fixture.h"

#include "support/log_capture.h"

using namespace kesu_test;

TEST_CASE_FIXTURE(MuxFixture, "a whole exchange, byte for byte") {
  RecordingListener listener;
  const common_base::ByteView payload = ViewOf("AB");
  common_kesu::PlainRequest first("g:loc/ql", common_kesu::ServiceVersion::kVersion1, &payload);
  common_kesu::PlainRequest second("u", common_kesu::ServiceVersion::kVersion0);
  auto cancelled = std::make_unique<TestRequest>(&listener);
  first.ReplaceListener(&listener);
  second.ReplaceListener(&listener);
  mux()->set_cookie(0x1122334455667788);
  // From inside the factory: the body has been written.
  transport.on_new = [&] {
    mux()->Cancel(cancelled.get());
    cancelled.reset();
  };
  mux()->Submit(&first);
  mux()->Submit(&second);
  mux()->Submit(cancelled.get(), true);
  REQUIRE(transport.count() == 1);
  CHECK(transport.latest().url == kUrl);
  CHECK(ToHex(ViewOf(transport.latest().body)) ==
        "00 01 00 00 00 22 00 01 "
        "00 13 70 72 6F 64 2C 31 2E 30 2C 70 6C 61 74 2C 63 68 2C 65 6E "
        "11 22 33 44 55 66 77 88 00 03 63 66 67 "
        "00 00 00 14 01 00 00 00 00 08 67 3A 6C 6F 63 2F 71 6C 00 01 00 00 00 02 41 42 "
        "00 00 00 0B 01 00 00 01 00 01 75 00 00 00 00 00 00 "
        "00 00 00 0B 01 00 00 02 00 01 75 00 01 00 00 00 00");
  CHECK(transport.latest().request_headers ==
        HeaderList{{"Content-Type", "application/binary"}, {"Content-Length", "102"}});
  CHECK(mux()->bytes_sent() == 102);
  CHECK(mux()->cookie() == 0x1122334455667788);

  // Nobody's request is as none.
  mux()->OnRequestComplete(nullptr);
  mux()->OnRequestFailed(nullptr);
  transport.End(0, 200,
                TextOf(Bytes("00 01 00 00 00 0D 81 00 00 01 01 94 00 01 6E 12 34 56 78 43 44 "
                             "00 00 00 0C 81 00 00 00 00 C8 00 00 00 00 00 00 45 46 "
                             "00 00 00 0C 81 00 00 02 00 C8 00 00 00 00 00 00 45 46")));
  CHECK(listener.Told() == ":404 CD; AB:200 EF; ");
  CHECK(listener.outcomes[0].url == kUrl);
}

TEST_CASE("how a POST ends, and what the log says") {
  const std::string nothing_read =
      "**W: An error occured during response processing, all unprocessed requests will be requeued";
  const std::string wrong_version =
      "**W: All requests failed because an invalid protocol version was detected in the response";
  const std::string wrong_type =
      "**W: An error occured during response processing, the response did not have the right "
      "content type, all requests will be requeued";
  const std::string info = "* I: MobileServiceMux - ";
  const std::string unknown("\0\0\0\2\x77\x77__", 8);
  const std::string answer = kReplyStart + ReplyBlock(0, "x") + ReplyBlock(1, "x");
  struct Row {
    int status;
    std::string reply;
    HeaderList headers;
    std::string told;
    std::string log;
  };
  using Header = HeaderList::value_type;
  const HeaderList right = {{"Content-Type", "application/binary"}};
  const Header html = {"Content-Type", "text/html"}, blank;
  const Header early = {"HTTP/1.1 103 Early Hints", ""}, final = {"HTTP/2 200", "OK"};
  const Row rows[] = {
      {200, answer, right, "a:200 x; ", ""},
      {200, kReplyStart + unknown, right, "", nothing_read},
      {200, kReplyStart + ReplyBlock(0, "no gzip", 200, "g"), right, "", nothing_read},
      {200, "\2" + answer, right, "a:2!; ", wrong_version},
      {200, std::string("\0", 1), right, "a:2!; ", wrong_version},
      {200, answer, {{"Content-Type", "text/html"}, right[0]}, "a:200 x; ", ""},
      {200, answer, {}, "", wrong_type},
      {200, answer, {{"content-type", "application/binary"}}, "", wrong_type},
      {200, answer, {{"Content-Type", "Application/Binary"}}, "", wrong_type},
      {200, answer, {{"Content-Type", "application/binary; x=y"}}, "", wrong_type},
      {200, answer, {{"Accept", "application/binary"}}, "", wrong_type},
      // Only the headers of the last response count, neither those before nor what follows.
      {200, answer, {early, right[0], blank, final, html}, "", wrong_type},
      {200, answer, {final, blank, right[0]}, "", wrong_type},
      {200, answer, {early, html, blank, final, right[0], html, blank, html}, "a:200 x; ", ""},
      {502, "", {}, "", info + "received HTTP_BAD_GATEWAY; will requeue the affected requests"},
      {550, "", {}, "a:550!; ", info + "received HTTP_SUBREQUEST_TIMEOUT"},
      {501, "", {}, "a:501!; ", info + "received HTTP_NOT_IMPLEMENTED"},
      {-1, "", {}, "a:-1!; ", info + "bad response code from the server (-1)"},
  };
  for (const Row& row : rows) {
    CAPTURE(&row - rows);
    MuxFixture f;
    RecordingListener listener;
    TestRequest request(&listener, "a");
    TestRequest unheard(nullptr, "b");
    f.mux()->Submit(&request);
    f.mux()->Submit(&unheard, true);
    const LogCapture log(common_base::kLogInformation);
    f.transport.End(0, row.status, row.reply, row.headers);
    CHECK(log.lines() == std::vector<std::string>(row.log.empty() ? 0 : 1, row.log));
    CHECK(listener.Told() == row.told);
    const bool is_read = row.status == 200 && row.log != wrong_type;
    CHECK(f.mux()->bytes_received() == (is_read ? static_cast<int>(row.reply.size()) : 0));
    f.Advance(MuxFixture::kRetryDelay);
    // Each in its POST; nobody is told of the second.
    CHECK(f.transport.count() == (row.told.empty() ? 3 : 1));
  }
}

TEST_CASE_FIXTURE(MuxFixture,
                  "cancelling takes the oldest delay and all that waits for the batch") {
  TestRequest a(nullptr, "a"), b(nullptr, "b"), c(nullptr, "c");
  mux()->SubmitWithDelay(&a, 20000);
  mux()->SubmitWithDelay(&b, 20000);
  mux()->SubmitWithDelay(&a, 10000);
  mux()->SubmitWithDelay(&b, 30000);
  for (TestRequest* request : {&a, &b, &a, &c, &b}) mux()->Submit(request);
  mux()->Cancel(&a);
  mux()->Cancel(&c);
  for (int i = 0; i < 20; ++i) Advance(10000);
  std::string posted;
  for (std::size_t i = 0; i < transport.count(); ++i) {
    for (const auto& request : PostedRequests(transport.exchange(i).body)) {
      posted += request.payload;
    }
    posted += ' ';
  }
  CHECK(posted == "bba b b ");
}

TEST_CASE_FIXTURE(MuxFixture, "a batch does not wait for a clock that was set back a day") {
  TestRequest request(nullptr, "a");
  mux()->Submit(&request);
  for (const long long ticks : {-86'400'000'000LL, kBatchDelay, kBatchDelay}) Advance(ticks);
  CHECK(transport.count() == 1);
}

TEST_CASE_FIXTURE(MuxFixture, "a request that waits anew, while others are posted, is cancelled") {
  RecordingListener listener;
  TestRequest small(&listener, "a");
  TestRequest large(&listener, std::string(40000, 'b'));
  transport.on_start = [&] { transport.End(transport.count() - 1, 500); };
  listener.action = [&](const common_kesu::Request* ended) {
    if (ended == &small) mux()->Submit(&small, true);
    if (ended == &large) mux()->Cancel(&small);
  };
  mux()->Submit(&small);
  mux()->Submit(&large, true);
  CHECK(transport.count() == 2);
}

TEST_CASE_FIXTURE(MuxFixture, "a request that is submitted twice gets both answers, and may go") {
  RecordingListener listener;
  auto twice = std::make_unique<TestRequest>(&listener, "a");
  TestRequest other(&listener, "b");
  const auto post_three = [&] {
    for (common_kesu::Request* request : {twice.get(), &other, twice.get()}) mux()->Submit(request);
    mux()->FlushPendingRequests();
  };
  post_three();
  // It has the number that it was given last.
  transport.End(0, 200, kReplyStart + ReplyBlock(2, "x") + ReplyBlock(1, "y") + ReplyBlock(2, "z"));
  CHECK(listener.Told() == "a:200 x; b:200 y; a:200 z; ");
  post_three();
  mux()->SubmitWithDelay(twice.get(), 1);
  mux()->SubmitWithDelay(twice.get(), 2);
  mux()->Cancel(twice.get());
  CHECK(twice->is_waiting());
  twice.reset();
  Advance(2);
  transport.End(1, 200, kReplyStart + ReplyBlock(5, "x") + ReplyBlock(4, "y") + ReplyBlock(5, "z"));
  CHECK(listener.Told() == "a:200 x; b:200 y; a:200 z; b:200 y; ");
  CHECK(transport.count() == 2);
}

TEST_CASE("what listeners throw comes out when all have been told, and none ends the multiplexer") {
  for (const int status : {200, 500}) {
    MuxFixture f;
    RecordingListener listener;
    TestRequest a(&listener, "a"), b(&listener, "b"), c(&listener, "c");
    listener.action = [&](const common_kesu::Request* told) {
      common_kesu::MobileServiceMux::DeleteInstance();
      if (told != &b) throw std::runtime_error(told == &a ? "a" : "c");
    };
    f.transport.on_new = [] { common_kesu::MobileServiceMux::DeleteInstance(); };
    const LogCapture log(common_base::kLogErrors);
    for (TestRequest* request : {&a, &b, &c}) f.mux()->Submit(request, request == &c);
    // The third is not answered, and sent again.
    CHECK_THROWS_WITH(
        f.transport.End(0, status, kReplyStart + ReplyBlock(1, "y") + ReplyBlock(0, "x")), "a");
    CHECK(listener.Told() == (status == 200 ? "b:200 y; a:200 x; " : "a:500!; b:500!; c:500!; "));
    CHECK(f.transport.exchange(0).request == nullptr);
    CHECK(log.lines().size() == listener.outcomes.size() + 1);
    CHECK(log.lines()[0].ends_with("GWASSERT failed: !is_called_from_inside"));
    CHECK(c.is_waiting() == (status == 200));
  }
}

TEST_CASE_FIXTURE(MuxFixture, "a length that does not hold any more is reported") {
  TestRequest request(nullptr, "a");
  const common_base::ByteView longer = ViewOf("ab");
  CHECK(request.GetTotalLength() == 18);
  request.set_payload(&longer);
  const LogCapture log(common_base::kLogErrors);
  mux()->Submit(&request, true);
  CHECK(log.lines().size() == 1);
  request.set_body_length(common_kesu::Block::kBodyLengthUnknown);
  mux()->Submit(&request, true);
  CHECK(log.lines().size() == 1);
}

namespace {

/// Reads each answer twice at once, and keeps one of the streams.
struct HoardingListener final : common_kesu::Request::ListenerInterface {
  bool RequestComplete(const common_kesu::Request*, const common_kesu::Response* response,
                       bool*) override {
    const std::unique_ptr<common_base::DataInputStream> stream(response->GetInputStream());
    kept.emplace_back(response->GetInputStream());
    text += static_cast<char>(stream->ReadUint8());
    text += TextOf(kept.back()->ReadFully()) + TextOf(stream->ReadFully()) + ' ';
    return true;
  }
  std::string text;
  std::vector<std::unique_ptr<common_base::DataInputStream>> kept;
};

/// Measures another while it writes itself.
struct NestingRequest final : common_kesu::PlainRequest {
  NestingRequest() : PlainRequest("u", common_kesu::ServiceVersion::kVersion1) {}
  void WritePayload(common_base::DataOutputStream* out) override {
    out->WriteInt16(0);
    const int length = TestRequest(nullptr, std::string(5000, 'b')).GetTotalLength();
    out->WriteInt16(4);
    out->WriteInt32(length);
  }
};

}  // namespace

TEST_CASE_FIXTURE(MuxFixture, "what serves all requests of a POST in turn keeps them apart") {
  HoardingListener listener;
  NestingRequest first;
  TestRequest second(&listener, "c");
  first.ReplaceListener(&listener);
  mux()->Submit(&first);
  mux()->Submit(&second, true);
  const auto posted = PostedRequests(transport.latest().body);
  REQUIRE(posted.size() == 2);
  CHECK(ToHex(ViewOf(posted[0].payload)) == "00 00 13 99");
  CHECK(posted[1].payload == "c");
  transport.End(0, 200, kReplyStart + ReplyBlock(0, "ab") + ReplyBlock(1, "cd"));
  CHECK(listener.text == "aabb ccdd ");
}

namespace {

/// Waits that end when the test says so, and the batches that come of them.
struct ManualQueue final : common_base::RequestQueueInterface,
                           common_kesu::RequestScheduler::ListenerInterface {
  struct Wait final : common_base::RequestInterface {
    int Start(common_base::RequesterInterface* waiting) override {
      requester = waiting;
      return 0;
    }
    void Cancel() override { is_cancelled = true; }

    common_base::RequesterInterface* requester = nullptr;
    bool is_cancelled = false;
  };

  common_base::RequestInterface* NewDeferredRequest(long long) override {
    return &waits.emplace_back();
  }
  void ProcessRequests(const common_base::GVectorRef<common_kesu::Request*>& batch,
                       bool*) override {
    batch_sizes.push_back(batch.length());
  }
  std::deque<Wait> waits;
  std::vector<int> batch_sizes;
};

}  // namespace

TEST_CASE("a wait that fails is not touched again; who waits goes with what is submitted next") {
  ManualQueue queue;
  ManualClock clock;
  TestRequest request(nullptr);
  {
    common_kesu::RequestScheduler scheduler(&queue, &queue, &clock, 1, 1);
    scheduler.SubmitWithDelay(&request, 1);
    queue.waits[0].requester->OnRequestFailed(&queue.waits[0]);
    CHECK_FALSE(request.is_waiting());
    scheduler.Submit(&request);
    scheduler.OnRequestFailed(&queue.waits[1]);
    scheduler.Submit(&request);
    REQUIRE(queue.waits.size() == 3);
    scheduler.OnRequestComplete(&queue.waits[1]);
    clock.Advance(1);
    scheduler.OnRequestComplete(&queue.waits[2]);
    CHECK(queue.batch_sizes == std::vector<int>{2});
    scheduler.Submit(&request);
    scheduler.OnRequestFailed(&queue.waits[3]);
    scheduler.SendPendingRequests();
    scheduler.Submit(&request);
    scheduler.OnRequestFailed(&queue.waits[4]);
  }
  for (const auto& wait : queue.waits) CHECK_FALSE(wait.is_cancelled);
}

TEST_CASE("end-to-end security needs an https URL, and the first configuration counts") {
  for (const std::string url : {"https://x/", "https:", "http://x/", "HTTPS://x/", ""}) {
    CAPTURE(url);
    MuxFixture f(url.c_str());
    f.Initialize("ftp:");
    CHECK(TextOf(f.mux()->mux_config().service_url) == url);
    const bool is_https = url.starts_with("https:");
    CHECK(f.mux()->is_https() == is_https);
    CHECK(f.mux()->RequireEndToEndSecurity(true) == is_https);
    CHECK(f.mux()->is_end_to_end_secure() == is_https);
    CHECK(f.mux()->RequireEndToEndSecurity(false));
    CHECK_FALSE(f.mux()->is_end_to_end_secure());
  }
}
