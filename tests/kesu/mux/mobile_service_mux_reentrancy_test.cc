// What may happen from inside a listener, and cancelling at every stage.
#include <array>
#include <memory>
#include <string>
#include <vector>

#include <doctest/doctest.h>

#include "kesu/mux/mux_fixture.h"

using common_kesu::Request;
using kesu_test::kReplyStart;
using kesu_test::MuxFixture;
using kesu_test::PostedPayloads;
using kesu_test::RecordingListener;
using kesu_test::ReplyBlock;
using kesu_test::TestRequest;

namespace {

constexpr int kCount = 4;

/// Four requests "0" to "3" with these ids, to be submitted by the test.
struct Fixture : MuxFixture {
  Fixture() {
    for (int i = 0; i < kCount; ++i) {
      requests[static_cast<std::size_t>(i)] =
          std::make_unique<TestRequest>(&listener, std::to_string(i));
    }
  }
  TestRequest* request(std::size_t i) { return requests[i].get(); }
  void SubmitAll() {
    for (auto& request : requests) mux()->Submit(request.get());
    mux()->FlushPendingRequests();
  }
  /// As an owner does who loses interest.
  void CancelAndDelete(std::size_t i) {
    mux()->Cancel(request(i));
    requests[i].reset();
  }
  static std::string ReplyToAll() {
    std::string reply = kReplyStart;
    for (int i = 0; i < kCount; ++i) reply += ReplyBlock(i, "x");
    return reply;
  }
  std::size_t told() const { return listener.outcomes.size(); }

  RecordingListener listener;
  std::array<std::unique_ptr<TestRequest>, kCount> requests;
};

/// The ways in which the first POST may end, each of which tells or re-queues the four requests.
enum class End { kReply, kEmptyReply, kWrongVersion, kFailure, kBadGateway };
constexpr End kEnds[] = {End::kReply, End::kEmptyReply, End::kWrongVersion, End::kFailure,
                         End::kBadGateway};

void EndFirstPost(Fixture* fixture, End end) {
  switch (end) {
    case End::kReply:
      return fixture->transport.Reply(0, Fixture::ReplyToAll());
    case End::kEmptyReply:
      return fixture->transport.Reply(0, kReplyStart);
    case End::kWrongVersion:
      return fixture->transport.Reply(0, "");
    case End::kFailure:
      return fixture->transport.Fail(0, 500);
    case End::kBadGateway:
      return fixture->transport.Fail(0, 502);
  }
}

}  // namespace

TEST_CASE("a request that is cancelled and deleted is not heard of again, at whatever stage") {
  enum Stage { kGathering, kHeldBack, kPaused, kInFlight, kRequeued, kNotStarted };
  for (const Stage stage : {kGathering, kHeldBack, kPaused, kInFlight, kRequeued, kNotStarted}) {
    CAPTURE(stage);
    Fixture fixture;
    fixture.transport.SetStartResult(stage == kNotStarted ? 1 : 0);
    if (stage == kPaused) fixture.mux()->PauseAll();
    if (stage == kHeldBack) {
      for (auto& request : fixture.requests) fixture.mux()->SubmitWithDelay(request.get(), 10);
    } else if (stage == kGathering) {
      for (auto& request : fixture.requests) fixture.mux()->Submit(request.get());
    } else {
      fixture.SubmitAll();
    }
    if (stage == kRequeued) fixture.transport.Fail(0, 502);
    fixture.CancelAndDelete(1);
    fixture.mux()->ResumeAll();
    fixture.Advance(MuxFixture::kRetryDelay);
    for (std::size_t i = 0; i < fixture.transport.count(); ++i) {
      if (!fixture.transport.exchange(i).is_started || fixture.transport.exchange(i).has_ended) {
        continue;
      }
      if (stage != kInFlight) {
        CHECK(PostedPayloads(fixture.transport.exchange(i).body).find('1') == std::string::npos);
      }
      fixture.transport.Fail(i, 500);
    }
    CHECK(fixture.told() == 3);
    fixture.Advance(MuxFixture::kRetryDelay);
    CHECK(fixture.transport.open_count() == 0);
  }
}

TEST_CASE("a listener cancels and deletes the other requests of its POST") {
  for (const End end : kEnds) {
    CAPTURE(static_cast<int>(end));
    Fixture fixture;
    // With no retry left, a re-queueing end tells the listeners too, one after the other.
    for (auto& request : fixture.requests) request->ShouldRetry();
    fixture.listener.action = [&](const Request*) {
      for (std::size_t i : {0U, 1U, 3U}) {
        if (fixture.request(i) != fixture.listener.outcomes[0].request) fixture.CancelAndDelete(i);
      }
      fixture.listener.action = nullptr;
    };
    fixture.SubmitAll();
    EndFirstPost(&fixture, end);
    CHECK(fixture.told() == 2);
    CHECK(fixture.listener.outcomes[1].request == fixture.request(2));
    fixture.Advance(MuxFixture::kRetryDelay);
    CHECK(fixture.transport.count() == 1);
  }
}

TEST_CASE("a listener cancels what the same end of the POST has already re-queued") {
  Fixture fixture;
  fixture.request(2)->ShouldRetry();
  fixture.listener.action = [&](const Request*) {
    fixture.CancelAndDelete(0);
    fixture.CancelAndDelete(3);
  };
  fixture.SubmitAll();
  fixture.transport.Fail(0, 502);
  REQUIRE(fixture.told() == 1);
  CHECK(fixture.listener.outcomes[0].request == fixture.request(2));
  CHECK(fixture.listener.outcomes[0].status == -3);
  fixture.Advance(MuxFixture::kRetryDelay);
  REQUIRE(fixture.transport.count() == 2);
  CHECK(PostedPayloads(fixture.transport.exchange(1).body) == "1 ");
}

TEST_CASE("a listener deletes its own request") {
  for (const End end : kEnds) {
    CAPTURE(static_cast<int>(end));
    Fixture fixture;
    for (auto& request : fixture.requests) request->ShouldRetry();
    fixture.listener.action = [&](const Request* ended) {
      for (auto& request : fixture.requests) {
        if (request.get() == ended) request.reset();
      }
    };
    fixture.SubmitAll();
    EndFirstPost(&fixture, end);
    CHECK(fixture.told() == kCount);
    for (auto& request : fixture.requests) CHECK(request == nullptr);
  }
}

TEST_CASE("a listener submits its request anew, or cancels another and submits that") {
  for (const End end : kEnds) {
    for (const bool send_now : {false, true}) {
      CAPTURE(static_cast<int>(end));
      CAPTURE(send_now);
      Fixture fixture;
      for (auto& request : fixture.requests) request->ShouldRetry();
      fixture.SubmitAll();
      fixture.listener.action = [&](const Request* ended) {
        if (ended == fixture.request(1)) return;
        if (ended == fixture.request(0)) {
          fixture.mux()->Cancel(fixture.request(2));
          fixture.mux()->Submit(fixture.request(2));
        }
        for (auto& request : fixture.requests) {
          if (request.get() == ended) fixture.mux()->Submit(request.get(), send_now);
        }
      };
      EndFirstPost(&fixture, end);
      CHECK(fixture.told() == 3);
      CHECK(fixture.transport.count() == (send_now ? 3 : 1));
      fixture.Advance(MuxFixture::kBatchDelay);
      std::string posted;
      for (std::size_t i = 1; i < fixture.transport.count(); ++i) {
        posted += PostedPayloads(fixture.transport.exchange(i).body);
      }
      CHECK(posted == "2 0 3 ");
    }
  }
}

TEST_CASE("a listener pauses and resumes") {
  Fixture fixture;
  TestRequest later(nullptr, "later");
  fixture.listener.action = [&](const Request* ended) {
    if (ended == fixture.request(0)) {
      fixture.mux()->PauseAll();
      fixture.mux()->Submit(&later, true);
    }
    if (ended == fixture.request(1)) CHECK(fixture.transport.count() == 1);
    if (ended == fixture.request(2)) fixture.mux()->ResumeAll();
    if (ended == fixture.request(3)) CHECK(fixture.transport.count() == 2);
  };
  fixture.SubmitAll();
  fixture.transport.Reply(0, Fixture::ReplyToAll());
  CHECK(fixture.told() == kCount);
  REQUIRE(fixture.transport.count() == 2);
  CHECK(PostedPayloads(fixture.transport.exchange(1).body) == "later ");
}

TEST_CASE("a listener runs the queue, and what that starts ends before it returns") {
  Fixture fixture;
  RecordingListener inner_listener;
  TestRequest inner(&inner_listener, "inner");
  fixture.listener.action = [&](const Request* ended) {
    if (ended != fixture.request(1)) return;
    fixture.mux()->Submit(&inner);
    fixture.Advance(MuxFixture::kBatchDelay);
    REQUIRE(fixture.transport.count() == 2);
    inner_listener.action = [&](const Request*) { fixture.CancelAndDelete(2); };
    fixture.transport.Reply(1, kReplyStart + ReplyBlock(4, "y"));
    CHECK(inner_listener.outcomes.size() == 1);
  };
  fixture.SubmitAll();
  fixture.transport.Reply(0, Fixture::ReplyToAll());
  CHECK(fixture.told() == 3);
  CHECK(fixture.listener.outcomes[2].request == fixture.request(3));
  CHECK(fixture.transport.open_count() == 0);
}

TEST_CASE("two replies end inside each other, each cancelling requests of the other") {
  Fixture fixture;
  for (std::size_t i : {0U, 1U}) fixture.mux()->Submit(fixture.request(i));
  fixture.mux()->FlushPendingRequests();
  for (std::size_t i : {2U, 3U}) fixture.mux()->Submit(fixture.request(i));
  fixture.mux()->FlushPendingRequests();
  fixture.listener.action = [&](const Request* ended) {
    if (ended == fixture.request(0)) {
      fixture.transport.Reply(1, kReplyStart + ReplyBlock(2, "x") + ReplyBlock(3, "x"));
    } else {
      fixture.CancelAndDelete(1);
      fixture.CancelAndDelete(3);
      fixture.queue.StartDeferredRequests();
    }
  };
  fixture.transport.Reply(0, kReplyStart + ReplyBlock(0, "x") + ReplyBlock(1, "x"));
  CHECK(fixture.told() == 2);
  fixture.Advance(MuxFixture::kRetryDelay);
  CHECK(fixture.transport.count() == 2);
  CHECK(fixture.transport.open_count() == 0);
}

TEST_CASE("posts may end in any order") {
  Fixture fixture;
  for (auto& request : fixture.requests) fixture.mux()->Submit(request.get(), true);
  REQUIRE(fixture.transport.count() == kCount);
  fixture.transport.Reply(2, kReplyStart + ReplyBlock(2, "c"));
  fixture.transport.Fail(0, 500);
  fixture.transport.Reply(3, kReplyStart + ReplyBlock(1, "not of this POST"));
  fixture.transport.Reply(1, kReplyStart + ReplyBlock(1, "b"));
  REQUIRE(fixture.told() == 3);
  CHECK(fixture.listener.outcomes[0].request == fixture.request(2));
  CHECK(fixture.listener.outcomes[1].request == fixture.request(0));
  CHECK(fixture.listener.outcomes[2].request == fixture.request(1));
  CHECK(fixture.listener.outcomes[2].payload == "b");
}
