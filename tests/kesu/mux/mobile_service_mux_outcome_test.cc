// What becomes of the requests of a POST: replies, failures, retries.
#include <string>
#include <vector>

#include <doctest/doctest.h>

#include "kesu/mux/mux_fixture.h"

#include "support/log_capture.h"

using kesu_test::HeaderList;
using kesu_test::kReplyStart;
using kesu_test::MuxFixture;
using kesu_test::PostedPayloads;
using kesu_test::RecordingListener;
using kesu_test::ReplyBlock;
using kesu_test::TestRequest;

namespace {

constexpr char kNothingRead[] =
    "**W: An error occured during response processing, all unprocessed requests will be requeued";
constexpr char kWrongType[] =
    "**W: An error occured during response processing, the response did not have the right content "
    "type, all requests will be requeued";
constexpr char kWrongVersion[] =
    "**W: All requests failed because an invalid protocol version was detected in the response";

/// Three requests, "a" with id 0, "b" with id 1 and "c" with id 2, in one POST. "b" has nobody who
/// listens.
struct Fixture : MuxFixture {
  Fixture() {
    b.ReplaceListener(nullptr);
    mux()->Submit(&a);
    mux()->Submit(&b);
    mux()->Submit(&c, true);
    REQUIRE(transport.count() == 1);
  }
  /// "a:200:text c:-3!" of what the listener was told, errors with a "!".
  std::string Told() const {
    std::string text;
    for (const RecordingListener::Outcome& outcome : listener.outcomes) {
      if (!text.empty()) text += ' ';
      text += outcome.request == &a ? "a:" : outcome.request == &c ? "c:" : "?:";
      text += std::to_string(outcome.status) + (outcome.is_error ? "!" : ":" + outcome.payload);
    }
    return text;
  }
  /// The payloads of the POSTs after the first, one POST for each delay that ends.
  std::string PostedAgain() {
    Advance(kRetryDelay - 1);
    CHECK(transport.count() == 1);
    Advance(1);
    std::string payloads;
    for (std::size_t i = 1; i < transport.count(); ++i) {
      payloads += PostedPayloads(transport.exchange(i).body);
    }
    return payloads;
  }

  RecordingListener listener;
  TestRequest a{&listener, "a"};
  TestRequest b{&listener, "b"};
  TestRequest c{&listener, "c"};
};

}  // namespace

TEST_CASE("what a reply answers, and what is sent again") {
  const std::string block_x = ReplyBlock(0, "x");
  const std::string block_y = ReplyBlock(1, "y");
  const std::string block_z = ReplyBlock(2, "z");
  const std::string unknown("\0\0\0\2\x77\x77__", 8);
  struct Row {
    std::string what;
    std::string reply;
    std::string told;
    std::string posted_again;
    std::vector<std::string> log;
  };
  const Row rows[] = {
      {"all", kReplyStart + block_x + block_y + block_z, "a:200:x c:200:z", "", {}},
      {"in another order", kReplyStart + block_z + block_y + block_x, "c:200:z a:200:x", "", {}},
      {"some", kReplyStart + block_y, "", "a c ", {}},
      {"a status of its own",
       kReplyStart + ReplyBlock(2, "z", 502) + block_y + block_x,
       "c:502:z a:200:x",
       "",
       {}},
      {"foreign ids", kReplyStart + ReplyBlock(77, "?") + block_x, "a:200:x", "b c ", {}},
      {"only foreign ids", kReplyStart + ReplyBlock(77, "?"), "", "a b c ", {}},
      {"an id twice: the first counts",
       kReplyStart + block_x + ReplyBlock(0, "again") + block_z,
       "a:200:x c:200:z",
       "b ",
       {}},
      {"an unknown block in between",
       kReplyStart + unknown + block_x + unknown + block_z + block_y,
       "a:200:x c:200:z",
       "",
       {}},
      {"none", kReplyStart, "", "a b c ", {kNothingRead}},
      {"only an unknown block", kReplyStart + unknown, "", "a b c ", {kNothingRead}},
      {"malformed at once", kReplyStart + "\xFF\xFF\xFF\xFF", "", "a b c ", {kNothingRead}},
      {"malformed later", kReplyStart + block_x + "\xFF" + block_z, "a:200:x", "b c ", {}},
      {"does not decode",
       kReplyStart + ReplyBlock(0, "no gzip", 200, "g") + block_z,
       "",
       "a b c ",
       {kNothingRead}},
      {"another version", std::string("\0\2", 2) + block_x, "a:2! c:2!", "", {kWrongVersion}},
      {"empty", "", "a:2! c:2!", "", {kWrongVersion}},
      {"half a version", std::string("\0", 1), "a:2! c:2!", "", {kWrongVersion}},
  };
  for (const Row& row : rows) {
    CAPTURE(row.what);
    Fixture fixture;
    const kesu_test::LogCapture log(common_base::kLogInformation);
    fixture.transport.Reply(0, row.reply);
    CHECK(log.lines() == row.log);
    CHECK(fixture.Told() == row.told);
    CHECK(fixture.mux()->bytes_received() == static_cast<int>(row.reply.size()));
    CHECK(fixture.transport.open_count() == 0);
    CHECK(fixture.PostedAgain() == row.posted_again);
    CHECK(fixture.Told() == row.told);
  }
}

TEST_CASE("the content type of a reply") {
  struct Row {
    std::string what;
    HeaderList headers;
    bool is_right;
  };
  const Row rows[] = {
      {"right", {{"Content-Type", "application/binary"}}, true},
      {"among others",
       {{"Server", "x"}, {"Content-Type", "text/html"}, {"Content-Type", "application/binary"}},
       true},
      {"missing", {}, false},
      {"name in lower case", {{"content-type", "application/binary"}}, false},
      {"value in upper case", {{"Content-Type", "Application/Binary"}}, false},
      {"with a parameter", {{"Content-Type", "application/binary; x=y"}}, false},
      {"with a blank behind", {{"Content-Type", "application/binary "}}, false},
      {"cut short", {{"Content-Type", "application/binar"}}, false},
      {"name and value of different headers",
       {{"Content-Type", "text/html"}, {"Accept", "application/binary"}},
       false},
  };
  for (const Row& row : rows) {
    CAPTURE(row.what);
    Fixture fixture;
    const kesu_test::LogCapture log(common_base::kLogInformation);
    const std::string reply =
        kReplyStart + ReplyBlock(0, "x") + ReplyBlock(1, "y") + ReplyBlock(2, "z");
    fixture.transport.Reply(0, reply, row.headers);
    if (row.is_right) {
      CHECK(log.lines().empty());
      CHECK(fixture.Told() == "a:200:x c:200:z");
      continue;
    }
    CHECK(log.lines() == std::vector<std::string>{kWrongType});
    CHECK(fixture.Told() == "");
    CHECK(fixture.mux()->bytes_received() == 0);
    CHECK(fixture.PostedAgain() == "a b c ");
  }
}

TEST_CASE("what a failed POST means for its requests") {
  struct Row {
    int status;
    const char* log;
    std::string told;
    std::string posted_again;
  };
  const Row rows[] = {
      {502, "* I: MobileServiceMux - received HTTP_BAD_GATEWAY; will requeue the affected requests",
       "", "a b c "},
      {550, "* I: MobileServiceMux - received HTTP_SUBREQUEST_TIMEOUT", "a:550! c:550!", ""},
      {501, "* I: MobileServiceMux - received HTTP_NOT_IMPLEMENTED", "a:501! c:501!", ""},
      {0, "* I: MobileServiceMux - bad response code from the server (0)", "a:0! c:0!", ""},
      {503, "* I: MobileServiceMux - bad response code from the server (503)", "a:503! c:503!", ""},
      {404, "* I: MobileServiceMux - bad response code from the server (404)", "a:404! c:404!", ""},
      {200, "* I: MobileServiceMux - bad response code from the server (200)", "a:200! c:200!", ""},
      {-1, "* I: MobileServiceMux - bad response code from the server (-1)", "a:-1! c:-1!", ""},
  };
  for (const Row& row : rows) {
    CAPTURE(row.status);
    Fixture fixture;
    const kesu_test::LogCapture log(common_base::kLogInformation);
    fixture.transport.Fail(0, row.status);
    CHECK(log.lines() == std::vector<std::string>{row.log});
    CHECK(fixture.Told() == row.told);
    CHECK(fixture.transport.open_count() == 0);
    CHECK(fixture.PostedAgain() == row.posted_again);
  }
}

TEST_CASE_FIXTURE(Fixture, "a request is sent twice, then it fails with -3") {
  mux()->Cancel(&b);
  mux()->Cancel(&c);
  SUBCASE("bad gateway") {
    transport.Fail(0, 502);
    Advance(kRetryDelay);
    transport.Fail(1, 502);
  }
  SUBCASE("wrong content type") {
    transport.Reply(0, kReplyStart, {});
    Advance(kRetryDelay);
    transport.Reply(1, kReplyStart, {});
  }
  SUBCASE("no answer, then bad gateway") {
    transport.Reply(0, kReplyStart);
    Advance(kRetryDelay);
    transport.Fail(1, 502);
  }
  CHECK(Told() == "a:-3!");
  Advance(2000000);
  CHECK(transport.count() == 2);
}

TEST_CASE_FIXTURE(Fixture, "the requests of a POST that cannot be started fail later") {
  transport.Fail(0, 500);
  listener.outcomes.clear();
  const kesu_test::LogCapture log(common_base::kLogInformation);
  bool is_cancelled = false;
  SUBCASE("start fails") {
    transport.SetStartResult(1);
  }
  SUBCASE("no request is made") {
    transport.MakeNull(true);
  }
  SUBCASE("one of the requests is cancelled meanwhile") {
    transport.MakeNull(true);
    is_cancelled = true;
  }
  mux()->Submit(&a);
  mux()->Submit(&c, true);
  CHECK(Told() == "");
  if (is_cancelled) mux()->Cancel(&c);
  Advance(0);
  CHECK(Told() == (is_cancelled ? "a:0!" : "a:0! c:0!"));
  CHECK(log.lines() ==
        std::vector<std::string>{"* I: MobileServiceMux - bad response code from the server (0)"});
  CHECK(transport.open_count() == 0);
  Advance(2000000);
  CHECK(listener.outcomes.size() == (is_cancelled ? 1 : 2));
}

TEST_CASE_FIXTURE(Fixture, "a POST that could not be started goes with the multiplexer") {
  transport.SetStartResult(1);
  transport.Fail(0, 500);
  listener.outcomes.clear();
  mux()->Submit(&a, true);
  transport.MakeNull(true);
  mux()->Submit(&c, true);
  common_kesu::MobileServiceMux::DeleteInstance();
  Advance(2000000);
  CHECK(Told() == "");
}

TEST_CASE_FIXTURE(Fixture, "ends of requests that are not in flight are ignored") {
  mux()->OnRequestComplete(nullptr);
  mux()->OnRequestFailed(nullptr);
  HttpRequestFactory::StatusInfo status_info;
  common_base::ByteVector body;
  HttpRequestInterface* foreign = transport.NewHttpGetRequest("http://x/", &body, &status_info);
  mux()->OnRequestComplete(foreign);
  mux()->OnRequestFailed(foreign);
  foreign->Cancel();
  CHECK(Told() == "");
  transport.Reply(0, kReplyStart + ReplyBlock(2, "z"));
  CHECK(Told() == "c:200:z");
}

TEST_CASE_FIXTURE(Fixture, "a listener sees the exchange that carried the reply") {
  struct Watcher final : common_kesu::Request::ListenerInterface {
    bool RequestComplete(const common_kesu::Request*, const common_kesu::Response* response,
                         bool*) override {
      http_statuses.push_back(response->http_request()->HttpResponseStatusCode());
      urls.push_back(kesu_test::TextOf(response->http_status_info()->effective_url));
      return true;
    }
    std::vector<int> http_statuses;
    std::vector<std::string> urls;
  } watcher;
  a.ReplaceListener(&watcher);
  c.ReplaceListener(&watcher);
  mux()->Cancel(&c);
  transport.Reply(0, kReplyStart + ReplyBlock(0, "x", 404));
  mux()->Submit(&c, true);
  transport.Fail(1, 503);
  CHECK(watcher.http_statuses == std::vector<int>{200, 503});
  CHECK(watcher.urls == std::vector<std::string>{kUrl, kUrl});
}
