// Long random histories. Whatever happens, from inside a listener or not, each request that is not
// cancelled is told its outcome once, and a cancelled one never. Under the sanitizers nothing may
// dangle either.
#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <doctest/doctest.h>

#include "kesu/mux/mux_fixture.h"

using common_kesu::Request;
using kesu_test::MuxFixture;
using kesu_test::ReplyBlock;
using kesu_test::TestRequest;

namespace {

class History : public common_kesu::Request::ListenerInterface {
 public:
  explicit History(unsigned seed) : random_(seed) {}
  virtual ~History() = default;

  void Run(int steps) {
    while (steps-- > 0) Step(true);
    mux_.mux()->ResumeAll();
    mux_.transport.SetStartResult(0);
    mux_.transport.MakeNull(false);
    may_act_ = false;
    for (int i = 0; i < 10; ++i) {
      mux_.Advance(4 * MuxFixture::kRetryDelay);
      while (EndSomePost()) {
      }
    }
    CHECK(alive_.empty());
    CHECK(mux_.transport.open_count() == 0);
  }

  int told() const { return told_; }

 private:
  bool RequestComplete(const Request* request, const common_kesu::Response*, bool*) override {
    ++told_;
    REQUIRE(Delete(request));
    if (!may_act_ || depth_ > 3) return true;
    ++depth_;
    for (int i = Pick(4); i > 0; --i) Step(Pick(4) == 0);
    --depth_;
    return true;
  }

  int Pick(int count) { return std::uniform_int_distribution(0, count - 1)(random_); }

  /// False if the request is not one of those that wait for their outcome.
  bool Delete(const Request* request) {
    return std::erase_if(alive_, [&](const auto& entry) { return entry.get() == request; }) == 1;
  }

  void Step(bool may_end_posts) {
    switch (Pick(12)) {
      case 0:
      case 1:
        return mux_.mux()->Submit(New());
      case 2:
        return mux_.mux()->Submit(New(), true);
      case 3:
        return mux_.mux()->SubmitWithDelay(New(), Pick(200000), Pick(2) == 0);
      case 4:
        return CancelOne();
      case 5:
        return mux_.mux()->PauseAll();
      case 6:
        return mux_.mux()->ResumeAll();
      case 7:
        return mux_.mux()->FlushPendingRequests();
      case 8:
        mux_.transport.SetStartResult(Pick(8) == 0 ? 1 : 0);
        return mux_.transport.MakeNull(Pick(8) == 0);
      case 9:
        return mux_.Advance(Pick(300000));
      default:
        if (may_end_posts) EndSomePost();
    }
  }

  TestRequest* New() {
    alive_.push_back(std::make_unique<TestRequest>(
        this, std::string(static_cast<std::size_t>(Pick(20) == 0 ? Pick(40000) : Pick(9)), 'x')));
    return alive_.back().get();
  }

  void CancelOne() {
    if (alive_.empty()) return;
    const Request* request =
        alive_[static_cast<std::size_t>(Pick(static_cast<int>(alive_.size())))].get();
    mux_.mux()->Cancel(const_cast<Request*>(request));
    Delete(request);
  }

  bool EndSomePost() {
    std::vector<std::size_t> open;
    for (std::size_t i = first_open_; i < mux_.transport.count(); ++i) {
      const auto& exchange = mux_.transport.exchange(i);
      if (exchange.is_started && !exchange.has_ended) open.push_back(i);
    }
    first_open_ = open.empty() ? mux_.transport.count() : open[0];
    if (open.empty()) return false;
    const std::size_t index = open[static_cast<std::size_t>(Pick(static_cast<int>(open.size())))];
    switch (Pick(6)) {
      case 0:
        mux_.transport.Fail(index, 502);
        break;
      case 1:
        mux_.transport.Fail(index, 500);
        break;
      case 2:
        mux_.transport.Reply(index, kesu_test::kReplyStart, {});
        break;
      case 3:
        mux_.transport.Reply(index, "");
        break;
      default:
        mux_.transport.Reply(index, SomeReply(mux_.transport.exchange(index).body));
    }
    return true;
  }

  /// Most answers, in random order, some twice, some cut short.
  std::string SomeReply(const std::string& post) {
    auto posted = kesu_test::PostedRequests(post);
    std::shuffle(posted.begin(), posted.end(), random_);
    std::string reply = kesu_test::kReplyStart;
    for (const auto& request : posted) {
      for (int i = Pick(8) == 0 ? Pick(3) : 1; i > 0; --i) reply += ReplyBlock(request.id, "x");
    }
    if (Pick(8) == 0) reply.pop_back();
    return reply;
  }

  std::mt19937 random_;
  std::vector<std::unique_ptr<TestRequest>> alive_;
  bool may_act_ = true;
  int depth_ = 0;
  int told_ = 0;
  std::size_t first_open_ = 0;
  MuxFixture mux_;
};

}  // namespace

TEST_CASE("random histories") {
  int told = 0;
  for (unsigned seed = 0; seed < 100; ++seed) {
    CAPTURE(seed);
    History history(seed);
    history.Run(300);
    told += history.told();
  }
  CHECK(told > 1000);
}
