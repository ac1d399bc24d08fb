// What the model cannot show: the bytes of an exchange, what the log says, what a listener sees.
#include <memory>
#include <string>
#include <vector>

#include <doctest/doctest.h>

#include "kesu/mux/mux_fixture.h"

#include "support/log_capture.h"

using common_kesu::MobileServiceMux;
using kesu_test::HeaderList;
using kesu_test::kReplyStart;
using kesu_test::MuxFixture;
using kesu_test::PostedPayloads;
using kesu_test::RecordingListener;
using kesu_test::ReplyBlock;
using kesu_test::TestRequest;
using kesu_test::TextOf;

TEST_CASE_FIXTURE(MuxFixture, "a whole exchange, byte for byte") {
  RecordingListener listener;
  const common_base::ByteView payload = kesu_test::ViewOf("AB");
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
  CHECK(transport.exchange(0).method == "POST");
  CHECK(transport.exchange(0).url == kUrl);
  CHECK(transport.exchange(0).body ==
        TextOf(kesu_test::Bytes(
            "00 01 00 00 00 22 00 01 "
            "00 13 70 72 6F 64 2C 31 2E 30 2C 70 6C 61 74 2C 63 68 2C 65 6E "
            "11 22 33 44 55 66 77 88 00 03 63 66 67 "
            "00 00 00 14 01 00 00 00 00 08 67 3A 6C 6F 63 2F 71 6C 00 01 00 00 00 02 41 42 "
            "00 00 00 0B 01 00 00 01 00 01 75 00 00 00 00 00 00 "
            "00 00 00 0B 01 00 00 02 00 01 75 00 01 00 00 00 00")));
  CHECK(transport.exchange(0).request_headers ==
        HeaderList{{"Content-Type", "application/binary"}, {"Content-Length", "102"}});

  // Nobody's request is as none.
  mux()->OnRequestComplete(nullptr);
  mux()->OnRequestFailed(nullptr);
  transport.Reply(
      0, TextOf(kesu_test::Bytes("00 01 00 00 00 0D 81 00 00 01 01 94 00 01 6E 12 34 56 78 43 44 "
                                 "00 00 00 0C 81 00 00 00 00 C8 00 00 00 00 00 00 45 46 "
                                 "00 00 00 0C 81 00 00 02 00 C8 00 00 00 00 00 00 45 46")));
  CHECK(listener.Told() == ":404:CD AB:200:EF ");
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
    /// 200 for a reply.
    int status;
    std::string reply;
    HeaderList headers;
    std::string told;
    std::string log;
  };
  const HeaderList right = {{"Content-Type", "application/binary"}};
  const Row rows[] = {
      {200, answer, right, "a:200:x ", ""},
      {200, kReplyStart + unknown, right, "", nothing_read},
      {200, kReplyStart + ReplyBlock(0, "no gzip", 200, "g"), right, "", nothing_read},
      {200, "\2" + answer, right, "a:2! ", wrong_version},
      {200, std::string("\0", 1), right, "a:2! ", wrong_version},
      {200, answer, {{"Content-Type", "text/html"}, right[0]}, "a:200:x ", ""},
      {200, answer, {}, "", wrong_type},
      {200, answer, {{"content-type", "application/binary"}}, "", wrong_type},
      {200, answer, {{"Content-Type", "Application/Binary"}}, "", wrong_type},
      {200, answer, {{"Content-Type", "application/binary; x=y"}}, "", wrong_type},
      {200, answer, {{"Accept", "application/binary"}}, "", wrong_type},
      {502, "", {}, "", info + "received HTTP_BAD_GATEWAY; will requeue the affected requests"},
      {550, "", {}, "a:550! ", info + "received HTTP_SUBREQUEST_TIMEOUT"},
      {501, "", {}, "a:501! ", info + "received HTTP_NOT_IMPLEMENTED"},
      {-1, "", {}, "a:-1! ", info + "bad response code from the server (-1)"},
  };
  for (const Row& row : rows) {
    CAPTURE(&row - rows);
    MuxFixture f;
    RecordingListener listener;
    TestRequest request(&listener, "a");
    TestRequest unheard(nullptr, "b");
    f.mux()->Submit(&request);
    f.mux()->Submit(&unheard, true);
    const kesu_test::LogCapture log(common_base::kLogInformation);
    if (row.status == 200) {
      f.transport.Reply(0, row.reply, row.headers);
    } else {
      f.transport.Fail(0, row.status);
    }
    CHECK(log.lines() == std::vector<std::string>(row.log.empty() ? 0 : 1, row.log));
    CHECK(listener.Told() == row.told);
    f.Advance(MuxFixture::kRetryDelay);
    // Each in its POST; nobody is told of the second.
    CHECK(f.transport.count() == (row.told.empty() ? 3 : 1));
  }
}

TEST_CASE(
    "cancelling takes the oldest delay of a request, and all of it that waits for the batch") {
  /// "a" and "b" submit that request, "@" holds the next back for 40000 ticks, "-" cancels the
  /// next, "." lets 10000 ticks pass.
  struct Row {
    std::string steps;
    std::string posted;
  };
  const Row rows[] = {{"ab-a...........", "b "},  {"aba-a..........", "b "},
                      {"@aba-a..........", "b "}, {"@a.@b.@a-a...", "b "},
                      {"@a.@b.@a-a....", "b a "}, {"@a@b@a-b-a-a@b....", "b "}};
  for (const Row& row : rows) {
    CAPTURE(row.steps);
    MuxFixture f;
    TestRequest a(nullptr, "a"), b(nullptr, "b");
    char mode = 0;
    for (const char step : row.steps) {
      TestRequest* request = step == 'a' ? &a : &b;
      const bool is_request = step == 'a' || step == 'b';
      if (step == '.') f.Advance(10000);
      if (is_request && mode == '@') f.mux()->SubmitWithDelay(request, 40000);
      if (is_request && mode == '-') f.mux()->Cancel(request);
      if (is_request && mode != '@' && mode != '-') f.mux()->Submit(request);
      mode = step;
    }
    std::string payloads;
    for (std::size_t i = 0; i < f.transport.count(); ++i) {
      payloads += PostedPayloads(f.transport.exchange(i).body);
    }
    CHECK(payloads == row.posted);
  }
}

TEST_CASE_FIXTURE(MuxFixture, "a request that waits anew, while others are posted, is cancelled") {
  RecordingListener listener;
  TestRequest small(&listener, "a");
  TestRequest large(&listener, std::string(40000, 'b'));
  transport.on_start = [&] { transport.Fail(transport.count() - 1, 500); };
  listener.action = [&](const common_kesu::Request* ended) {
    if (ended == &small) mux()->Submit(&small, true);
    if (ended == &large) mux()->Cancel(&small);
  };
  mux()->Submit(&small);
  mux()->Submit(&large, true);
  CHECK(transport.count() == 2);
}

TEST_CASE("end-to-end security needs an https URL, and the first configuration counts") {
  for (const char* url : {"https://x/", "https:", "http://x/", "HTTPS://x/", ""}) {
    CAPTURE(url);
    MuxFixture f(url);
    MobileServiceMux* mux = f.mux();
    f.Initialize("ftp:");
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
