// What becomes of the requests of a POST, and what may happen from inside a listener.
#include <array>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <doctest/doctest.h>

#include "kesu/mux/mux_fixture.h"

#include "support/log_capture.h"

using common_kesu::Request;
using kesu_test::HeaderList;
using kesu_test::kReplyStart;
using kesu_test::MuxFixture;
using kesu_test::PostedPayloads;
using kesu_test::RecordingListener;
using kesu_test::ReplyBlock;
using kesu_test::TestRequest;

namespace {

/// Four requests "0" to "3" with these ids once they have been submitted.
struct Fixture : MuxFixture {
  Fixture() {
    for (auto& request : requests) {
      request = std::make_unique<TestRequest>(&listener, std::to_string(&request - &requests[0]));
    }
  }
  void SubmitAll() {
    for (auto& request : requests) mux()->Submit(request.get());
    mux()->FlushPendingRequests();
  }
  /// As an owner does who loses interest.
  void CancelAndDelete(std::size_t i) {
    mux()->Cancel(requests[i].get());
    requests[i].reset();
  }
  std::string Told() const { return listener.Told(); }
  /// The payloads of the POSTs after the first.
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
  std::array<std::unique_ptr<TestRequest>, 4> requests;
};

/// Ends the first POST, which is in flight with all but "3"; nobody listens for "1".
void CheckEnd(const std::function<void(Fixture*)>& end, const std::string& told,
              const std::string& posted_again, const char* log_line) {
  Fixture f;
  f.requests[1]->ReplaceListener(nullptr);
  f.requests[3]->ReplaceListener(nullptr);
  f.SubmitAll();
  f.CancelAndDelete(3);
  const kesu_test::LogCapture log(common_base::kLogInformation);
  end(&f);
  CHECK(log.lines() ==
        (log_line == nullptr ? std::vector<std::string>{} : std::vector<std::string>{log_line}));
  CHECK(f.Told() == told);
  CHECK(f.transport.open_count() == 0);
  CHECK(f.PostedAgain() == posted_again);
  CHECK(f.Told() == told);
}

const std::string kAll =
    kReplyStart + ReplyBlock(0, "x") + ReplyBlock(1, "x") + ReplyBlock(2, "x") + ReplyBlock(3, "x");

/// The ways in which the first POST may end.
const std::function<void(Fixture*)> kEnds[] = {
    [](Fixture* f) { f->transport.Reply(0, kAll); },
    [](Fixture* f) { f->transport.Reply(0, kReplyStart); },
    [](Fixture* f) { f->transport.Reply(0, ""); },
    [](Fixture* f) { f->transport.Fail(0, 500); },
    [](Fixture* f) { f->transport.Fail(0, 502); },
};

}  // namespace

TEST_CASE("what a reply answers, and what is sent again") {
  constexpr char kNothingRead[] =
      "**W: An error occured during response processing, all unprocessed requests will be requeued";
  constexpr char kWrongVersion[] =
      "**W: All requests failed because an invalid protocol version was detected in the response";
  const std::string unknown("\0\0\0\2\x77\x77__", 8);
  struct Row {
    std::string reply;
    std::string told;
    std::string posted_again;
    const char* log = nullptr;
  };
  const Row rows[] = {
      {kAll, "0:200:x 2:200:x ", ""},
      {kReplyStart + ReplyBlock(2, "z", 502) + unknown + ReplyBlock(0, "x"), "2:502:z 0:200:x ",
       "1 "},
      {kReplyStart + ReplyBlock(1, "x"), "", "0 2 "},
      {kReplyStart + ReplyBlock(77, "?"), "", "0 1 2 "},
      {kReplyStart + ReplyBlock(0, "x") + ReplyBlock(0, "again"), "0:200:x ", "1 2 "},
      {kReplyStart + ReplyBlock(0, "x") + "\xFF" + ReplyBlock(2, "z"), "0:200:x ", "1 2 "},
      {kReplyStart, "", "0 1 2 ", kNothingRead},
      {kReplyStart + unknown, "", "0 1 2 ", kNothingRead},
      {kReplyStart + ReplyBlock(0, "no gzip", 200, "g") + ReplyBlock(2, "z"), "", "0 1 2 ",
       kNothingRead},
      {std::string("\0\2", 2) + ReplyBlock(0, "x"), "0:2! 2:2! ", "", kWrongVersion},
      {std::string("\0", 1), "0:2! 2:2! ", "", kWrongVersion},
  };
  for (const Row& row : rows) {
    CAPTURE(row.reply);
    CheckEnd(
        [&](Fixture* f) {
          f->transport.Reply(0, row.reply);
          CHECK(f->mux()->bytes_received() == static_cast<int>(row.reply.size()));
        },
        row.told, row.posted_again, row.log);
  }
}

TEST_CASE("the content type of a reply") {
  const std::pair<HeaderList, bool> rows[] = {
      {{{"Server", "x"}, {"Content-Type", "text/html"}, {"Content-Type", "application/binary"}},
       true},
      {{}, false},
      {{{"content-type", "application/binary"}}, false},
      {{{"Content-Type", "Application/Binary"}}, false},
      {{{"Content-Type", "application/binary; x=y"}}, false},
      {{{"Content-Type", "text/html"}, {"Accept", "application/binary"}}, false},
  };
  for (const auto& [headers, is_right] : rows) {
    CheckEnd([headers = headers](Fixture* f) { f->transport.Reply(0, kAll, headers); },
             is_right ? "0:200:x 2:200:x " : "", is_right ? "" : "0 1 2 ",
             is_right ? nullptr
                      : "**W: An error occured during response processing, the response did not "
                        "have the right content type, all requests will be requeued");
  }
}

TEST_CASE("what a failed POST means for its requests") {
  struct Row {
    int status;
    std::string log;
    std::string told;
    std::string posted_again;
  };
  const Row rows[] = {
      {502, "received HTTP_BAD_GATEWAY; will requeue the affected requests", "", "0 1 2 "},
      {550, "received HTTP_SUBREQUEST_TIMEOUT", "0:550! 2:550! ", ""},
      {501, "received HTTP_NOT_IMPLEMENTED", "0:501! 2:501! ", ""},
      {0, "bad response code from the server (0)", "0:0! 2:0! ", ""},
      {503, "bad response code from the server (503)", "0:503! 2:503! ", ""},
      {200, "bad response code from the server (200)", "0:200! 2:200! ", ""},
  };
  for (const Row& row : rows) {
    CheckEnd([&](Fixture* f) { f->transport.Fail(0, row.status); }, row.told, row.posted_again,
             ("* I: MobileServiceMux - " + row.log).c_str());
  }
}

TEST_CASE("a request is sent twice, then it fails with -3") {
  for (const std::size_t end : {1U, 4U}) {
    Fixture f;
    f.mux()->Submit(f.requests[0].get(), true);
    kEnds[end](&f);
    f.Advance(MuxFixture::kRetryDelay);
    CHECK(f.Told() == "");
    f.transport.Reply(1, kAll, {});
    CHECK(f.Told() == "0:-3! ");
    f.Advance(4 * MuxFixture::kRetryDelay);
    CHECK(f.transport.count() == 2);
  }
}

TEST_CASE_FIXTURE(Fixture, "the requests of a POST that cannot be started fail later") {
  bool is_made = false;
  SUBCASE("start fails") {
    is_made = true;
  }
  transport.SetStartResult(1);
  transport.MakeNull(!is_made);
  SubmitAll();
  CHECK(Told() == "");
  CancelAndDelete(1);
  CancelAndDelete(2);
  Advance(0);
  CHECK(Told() == "0:0! 3:0! ");
  // What is left of these goes with the multiplexer.
  mux()->Submit(requests[0].get(), true);
  mux()->SubmitWithDelay(requests[3].get(), 10);
  transport.SetStartResult(0);
  transport.MakeNull(false);
  mux()->Submit(requests[3].get(), true);
  common_kesu::MobileServiceMux::DeleteInstance();
  CHECK(transport.open_count() == 0);
  Advance(4 * kRetryDelay);
  CHECK(Told() == "0:0! 3:0! ");
}

TEST_CASE_FIXTURE(Fixture, "a listener sees the exchange that carried the reply") {
  SubmitAll();
  common_base::ByteVector body;
  HttpRequestFactory::StatusInfo status_info;
  HttpRequestInterface* foreign = transport.NewHttpGetRequest("http://x/", &body, &status_info);
  for (HttpRequestInterface* unknown : {foreign, static_cast<HttpRequestInterface*>(nullptr)}) {
    mux()->OnRequestComplete(unknown);
    mux()->OnRequestFailed(unknown);
  }
  foreign->Cancel();
  CHECK(Told() == "");
  transport.Reply(0, kReplyStart + ReplyBlock(0, "x", 404));
  mux()->Submit(requests[0].get(), true);
  transport.Fail(2, 503);
  REQUIRE(listener.outcomes.size() == 2);
  CHECK(listener.outcomes[0].http_status == 200);
  CHECK(listener.outcomes[1].http_status == 503);
  CHECK(listener.outcomes[1].url == kUrl);
}

TEST_CASE("a request that is cancelled and deleted is not heard of again, at whatever stage") {
  enum Stage { kGathering, kHeldBack, kPaused, kInFlight, kRequeued, kNotStarted };
  for (const Stage stage : {kGathering, kHeldBack, kPaused, kInFlight, kRequeued, kNotStarted}) {
    CAPTURE(stage);
    Fixture f;
    f.transport.SetStartResult(stage == kNotStarted ? 1 : 0);
    if (stage == kPaused) f.mux()->PauseAll();
    for (auto& request : f.requests) {
      stage == kHeldBack ? f.mux()->SubmitWithDelay(request.get(), 10, false)
                         : f.mux()->Submit(request.get());
    }
    if (stage > kHeldBack) f.mux()->FlushPendingRequests();
    if (stage == kRequeued) f.transport.Fail(0, 502);
    f.CancelAndDelete(1);
    f.mux()->ResumeAll();
    f.Advance(MuxFixture::kRetryDelay);
    f.Advance(MuxFixture::kBatchDelay);
    for (std::size_t i = 0; i < f.transport.count(); ++i) {
      const auto& exchange = f.transport.exchange(i);
      if (!exchange.is_started || exchange.has_ended) continue;
      CHECK((stage == kInFlight || PostedPayloads(exchange.body).find('1') == std::string::npos));
      f.transport.Fail(i, 500);
    }
    CHECK(f.listener.outcomes.size() == 3);
    CHECK(f.transport.open_count() == 0);
  }
}

TEST_CASE("from inside, a listener deletes, cancels, or submits anew what belongs to its POST") {
  for (std::size_t end = 0; end < std::size(kEnds); ++end) {
    CAPTURE(end);
    // With no retry left, a re-queueing end tells the listeners too, one after the other.
    /// Yields how many outcomes were told before the retries, and what was posted after.
    const auto run = [&](const std::function<void(Fixture*, const Request*)>& action) {
      Fixture f;
      for (auto& request : f.requests) request->ShouldRetry();
      f.listener.action = [&](const Request* ended) { action(&f, ended); };
      f.SubmitAll();
      kEnds[end](&f);
      f.Advance(MuxFixture::kBatchDelay);
      std::string result = std::to_string(f.listener.outcomes.size()) + ": ";
      for (std::size_t i = 1; i < f.transport.count(); ++i) {
        result += PostedPayloads(f.transport.exchange(i).body);
      }
      return result;
    };
    const std::string deleting_itself = run([](Fixture* f, const Request* ended) {
      for (auto& request : f->requests) {
        if (request.get() == ended) request.reset();
      }
    });
    CHECK(deleting_itself == "4: ");
    const std::string deleting_others = run([](Fixture* f, const Request*) {
      for (const std::size_t i : {1U, 2U}) {
        if (f->requests[i]) f->CancelAndDelete(i);
      }
    });
    CHECK(deleting_others == "2: ");
    for (const bool send_now : {false, true}) {
      const std::string submitting = run([&](Fixture* f, const Request* ended) {
        f->mux()->Submit(const_cast<Request*>(ended), send_now);
        if (ended != f->requests[0].get()) return;
        f->mux()->Cancel(f->requests[2].get());
        f->mux()->Submit(f->requests[2].get(), send_now);
      });
      CHECK(submitting == "3: 0 2 1 3 ");
    }
  }
}
