// Random histories. Whatever happens, from inside a listener or not, each request that is not
// cancelled is told its outcome once, and a cancelled one never.
#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <doctest/doctest.h>

#include "kesu/mux/mux_fixture.h"

using common_kesu::Request;
using kesu_test::kReplyStart;
using kesu_test::MuxFixture;
using kesu_test::ReplyBlock;
using kesu_test::TestRequest;

namespace {

struct History final : Request::ListenerInterface {
  explicit History(unsigned seed) : random(seed) {}

  int Pick(int count) { return std::uniform_int_distribution(0, count - 1)(random); }

  bool RequestComplete(const Request* request, const common_kesu::Response*, bool*) override {
    ++told;
    REQUIRE(Delete(request));
    if (!may_act || depth > 3) return true;
    ++depth;
    for (int i = Pick(4); i > 0; --i) Step(Pick(4) == 0);
    --depth;
    return true;
  }

  /// False if the request is not one of those that wait for their outcome.
  bool Delete(const Request* request) {
    return std::erase_if(alive, [&](const auto& entry) { return entry.get() == request; }) == 1;
  }

  void Step(bool may_end_posts) {
    const int choice = Pick(12);
    if (choice < 4) {
      const int size = Pick(20) == 0 ? Pick(40000) : Pick(9);
      const std::string payload(static_cast<std::size_t>(size), 'x');
      alive.push_back(std::make_unique<TestRequest>(this, payload));
      TestRequest* request = alive.back().get();
      if (choice == 3) return f.mux()->SubmitWithDelay(request, Pick(200000), Pick(2) == 0);
      f.mux()->Submit(request, choice == 2);
    } else if (choice == 4 && !alive.empty()) {
      Request* request =
          alive[static_cast<std::size_t>(Pick(static_cast<int>(alive.size())))].get();
      f.mux()->Cancel(request);
      Delete(request);
    } else if (choice == 5) {
      f.mux()->PauseAll();
    } else if (choice == 6) {
      f.mux()->ResumeAll();
    } else if (choice == 7) {
      f.mux()->FlushPendingRequests();
    } else if (choice == 8) {
      f.transport.SetStartResult(Pick(8) == 0 ? 1 : 0);
      f.transport.MakeNull(Pick(8) == 0);
    } else if (choice == 9) {
      f.Advance(Pick(300000));
    } else if (may_end_posts) {
      EndSomePost();
    }
  }

  bool EndSomePost() {
    std::vector<std::size_t> open;
    for (std::size_t i = 0; i < f.transport.count(); ++i) {
      const auto& exchange = f.transport.exchange(i);
      if (exchange.is_started && !exchange.has_ended) open.push_back(i);
    }
    if (open.empty()) return false;
    const std::size_t index = open[static_cast<std::size_t>(Pick(static_cast<int>(open.size())))];
    const int end = Pick(6);
    if (end < 2) {
      f.transport.Fail(index, end == 0 ? 500 : 502);
    } else if (end == 2) {
      f.transport.Reply(index, kReplyStart, {});
    } else {
      f.transport.Reply(index, end == 3 ? "" : SomeReply(f.transport.exchange(index).body));
    }
    return true;
  }

  /// Most answers, in random order, some twice, some cut short.
  std::string SomeReply(const std::string& post) {
    auto posted = kesu_test::PostedRequests(post);
    std::shuffle(posted.begin(), posted.end(), random);
    std::string reply = kReplyStart;
    for (const auto& request : posted) {
      for (int i = Pick(8) == 0 ? Pick(3) : 1; i > 0; --i) reply += ReplyBlock(request.id, "x");
    }
    if (Pick(8) == 0) reply.pop_back();
    return reply;
  }

  std::mt19937 random;
  std::vector<std::unique_ptr<TestRequest>> alive;
  bool may_act = true;
  int depth = 0;
  int told = 0;
  MuxFixture f;
};

}  // namespace

TEST_CASE("random histories") {
  int told = 0;
  for (unsigned seed = 0; seed < 60; ++seed) {
    CAPTURE(seed);
    History history(seed);
    for (int i = 0; i < 300; ++i) history.Step(true);
    history.may_act = false;
    history.f.mux()->ResumeAll();
    history.f.transport.SetStartResult(0);
    history.f.transport.MakeNull(false);
    for (int i = 0; i < 10; ++i) {
      history.f.Advance(4 * MuxFixture::kRetryDelay);
      while (history.EndSomePost()) continue;
    }
    CHECK(history.alive.empty());
    CHECK(history.f.transport.open_count() == 0);
    told += history.told;
  }
  CHECK(told > 1000);
}
