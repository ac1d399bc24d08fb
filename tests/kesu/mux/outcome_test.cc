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

const std::string kAll =
    kReplyStart + ReplyBlock(0, "x") + ReplyBlock(1, "x") + ReplyBlock(2, "x") + ReplyBlock(3, "x");

/// A way in which the first POST may end.
using End = std::function<void(Fixture*)>;

End Reply(const std::string& reply) {
  return [=](Fixture* f) { f->transport.Reply(0, reply); };
}
End ReplyOfType(const HeaderList& headers) {
  return [=](Fixture* f) { f->transport.Reply(0, kAll, headers); };
}
End Fail(int status) {
  return [=](Fixture* f) { f->transport.Fail(0, status); };
}

const End kEnds[] = {Reply(kAll), Reply(kReplyStart), Reply(""), Fail(500), Fail(502)};

}  // namespace

TEST_CASE("what an end answers, and what is sent again") {
  const std::string nothing_read =
      "**W: An error occured during response processing, all unprocessed requests will be requeued";
  const std::string wrong_version =
      "**W: All requests failed because an invalid protocol version was detected in the response";
  const std::string wrong_type =
      "**W: An error occured during response processing, the response did not have the right "
      "content type, all requests will be requeued";
  const std::string info = "* I: MobileServiceMux - ";
  const std::string unknown("\0\0\0\2\x77\x77__", 8);
  struct Row {
    End end;
    std::string told;
    std::string posted_again;
    std::string log;
  };
  const Row rows[] = {
      {Reply(kAll), "0:200:x 2:200:x ", "", ""},
      {Reply(kReplyStart + ReplyBlock(2, "z", 502) + unknown + ReplyBlock(0, "x")),
       "2:502:z 0:200:x ", "1 ", ""},
      {Reply(kReplyStart + ReplyBlock(77, "?")), "", "0 1 2 ", ""},
      {Reply(kReplyStart + ReplyBlock(0, "x") + ReplyBlock(0, "again")), "0:200:x ", "1 2 ", ""},
      {Reply(kReplyStart + ReplyBlock(0, "x") + "\xFF" + ReplyBlock(2, "z")), "0:200:x ", "1 2 ",
       ""},
      {Reply(kReplyStart + unknown), "", "0 1 2 ", nothing_read},
      {Reply(kReplyStart + ReplyBlock(0, "no gzip", 200, "g") + ReplyBlock(2, "z")), "", "0 1 2 ",
       nothing_read},
      {Reply(std::string("\0\2", 2) + ReplyBlock(0, "x")), "0:2! 2:2! ", "", wrong_version},
      {Reply(std::string("\0", 1)), "0:2! 2:2! ", "", wrong_version},
      {ReplyOfType({{"Content-Type", "text/html"}, {"Content-Type", "application/binary"}}),
       "0:200:x 2:200:x ", "", ""},
      {ReplyOfType({}), "", "0 1 2 ", wrong_type},
      {ReplyOfType({{"content-type", "application/binary"}}), "", "0 1 2 ", wrong_type},
      {ReplyOfType({{"Content-Type", "Application/Binary"}}), "", "0 1 2 ", wrong_type},
      {ReplyOfType({{"Content-Type", "application/binary; x=y"}}), "", "0 1 2 ", wrong_type},
      {ReplyOfType({{"Accept", "application/binary"}}), "", "0 1 2 ", wrong_type},
      {Fail(502), "", "0 1 2 ",
       info + "received HTTP_BAD_GATEWAY; will requeue the affected requests"},
      {Fail(550), "0:550! 2:550! ", "", info + "received HTTP_SUBREQUEST_TIMEOUT"},
      {Fail(501), "0:501! 2:501! ", "", info + "received HTTP_NOT_IMPLEMENTED"},
      {Fail(0), "0:0! 2:0! ", "", info + "bad response code from the server (0)"},
      {Fail(200), "0:200! 2:200! ", "", info + "bad response code from the server (200)"},
  };
  for (const Row& row : rows) {
    CAPTURE(&row - rows);
    // All but "3" are in flight; nobody listens for "1".
    Fixture f;
    f.requests[1]->ReplaceListener(nullptr);
    f.requests[3]->ReplaceListener(nullptr);
    f.SubmitAll();
    f.CancelAndDelete(3);
    const kesu_test::LogCapture log(common_base::kLogInformation);
    row.end(&f);
    CHECK(log.lines() == std::vector<std::string>(row.log.empty() ? 0 : 1, row.log));
    CHECK(f.listener.Told() == row.told);
    CHECK(f.transport.open_count() == 0);
    CHECK(f.PostedAgain() == row.posted_again);
    CHECK(f.listener.Told() == row.told);
  }
}

TEST_CASE("a request is sent twice, then it fails with -3") {
  for (const std::size_t end : {1U, 4U}) {
    Fixture f;
    f.mux()->Submit(f.requests[0].get(), true);
    kEnds[end](&f);
    f.Advance(MuxFixture::kRetryDelay);
    CHECK(f.listener.Told() == "");
    f.transport.Reply(1, kAll, {});
    CHECK(f.listener.Told() == "0:-3! ");
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
  CHECK(listener.Told() == "");
  CancelAndDelete(1);
  CancelAndDelete(2);
  Advance(0);
  CHECK(listener.Told() == "0:0! 3:0! ");
  // What is left of these goes with the multiplexer.
  mux()->Submit(requests[0].get(), true);
  mux()->SubmitWithDelay(requests[3].get(), 10);
  common_kesu::MobileServiceMux::DeleteInstance();
  Advance(4 * kRetryDelay);
  CHECK(listener.Told() == "0:0! 3:0! ");
}

TEST_CASE("a POST may end from inside its start, whose result then does not matter") {
  for (const End& end : {Fail(500), Reply(kAll)}) {
    for (const int result : {0, 1}) {
      Fixture f;
      f.transport.SetStartResult(result);
      f.transport.on_start = [&] { end(&f); };
      f.mux()->Submit(f.requests[0].get(), true);
      CHECK(f.listener.outcomes.size() == 1);
      CHECK(f.transport.open_count() == 0);
      f.Advance(4 * MuxFixture::kRetryDelay);
      CHECK(f.listener.outcomes.size() == 1);
    }
  }
}

TEST_CASE_FIXTURE(Fixture, "a request is cancelled and deleted while its POST is made") {
  transport.on_new = [&] { CancelAndDelete(1); };
  SubmitAll();
  const auto& exchange = transport.exchange(0);
  CHECK(PostedPayloads(exchange.body) == "0 1 2 3 ");
  CHECK(exchange.request_headers[1].second == std::to_string(exchange.body.size()));
  transport.Reply(0, kAll);
  CHECK(listener.Told() == "0:200:x 2:200:x 3:200:x ");
}

TEST_CASE_FIXTURE(Fixture, "a listener sees the exchange that carried the reply") {
  SubmitAll();
  // Nobody's request is as none.
  mux()->OnRequestComplete(nullptr);
  mux()->OnRequestFailed(nullptr);
  CHECK(listener.Told() == "");
  transport.Reply(0, kReplyStart + ReplyBlock(0, "x", 404));
  mux()->Submit(requests[0].get(), true);
  transport.Fail(1, 503);
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
    // With no retry left, a re-queueing end tells the listeners too. Yields how many outcomes were
    // told before the retries, and what was posted after.
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
