// The multiplexer against a model of its rules, through long random histories.
//
// KESU_MODEL_STEPS sets how many steps are done, KESU_MODEL_SEED the seed of the first history.
// Each history prints its seed: the last one before a failure, with 300 steps, shows it again.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <doctest/doctest.h>

#include "kesu/mux/mux_model.h"

using common_kesu::MobileServiceMux;
using kesu_test::Ending;
using kesu_test::MuxFixture;
using kesu_test::Plans;
using kesu_test::Step;
using kesu_test::TestRequest;

namespace {

constexpr int kStepsPerHistory = 300;

class RealWorld final : public kesu_test::World {
 public:
  RealWorld(const Plans* plans, int first_id) : World(plans) {
    while (mux()->PeekRequestId() < first_id) mux()->NextRequestId();
    f_.transport.on_start = [this] { OnStart(static_cast<int>(f_.transport.count()) - 1); };
    listener_.action = [this](const common_kesu::Request*) {
      const auto told = listener_.outcomes.back();
      Tell(std::stoi(told.name), told.status, told.http_status,
           told.is_error ? "!" : ' ' + told.payload);
    };
  }

 private:
  MobileServiceMux* mux() const { return f_.mux(); }

  void Perform(const Step& step) override {
    TestRequest* request = step.kind <= Step::kCancel ? RequestOf(step.request) : nullptr;
    if (step.kind == Step::kSubmit) mux()->Submit(request, step.send_now);
    if (step.kind == Step::kHoldBack) mux()->SubmitWithDelay(request, step.ticks, step.send_now);
    if (step.kind == Step::kCancel) mux()->Cancel(request);
    if (step.kind == Step::kPause) mux()->PauseAll();
    if (step.kind == Step::kResume) mux()->ResumeAll();
    if (step.kind == Step::kFlush) mux()->FlushPendingRequests();
    if (step.kind == Step::kAdvance) f_.Advance(step.ticks);
    if (step.kind == Step::kEndPost) End(OpenPosts()[step.post % OpenPosts().size()], step.ending);
    if (step.kind == Step::kSetTransport) {
      transport_ = step;
      f_.transport.MakeNull(step.transport == Step::kMakesNone);
      const bool may_start = step.transport == Step::kEndsInsideStart && step.post % 2 == 0;
      f_.transport.SetStartResult(step.transport == Step::kWorks || may_start ? 0 : 1);
    }
    if (step.kind == Step::kRemake) {
      MobileServiceMux::DeleteInstance();
      CHECK(f_.transport.open_count() == 0);
      f_.Initialize();
    }
  }

  std::vector<int> Numbers() const override {
    const auto open_count = static_cast<int>(OpenPosts().size());
    return {mux()->bytes_sent(), mux()->bytes_received(), mux()->PeekRequestId(),
            mux()->is_paused(), open_count};
  }

  TestRequest* RequestOf(int number) {
    auto& request = requests_[number];
    if (request == nullptr) {
      std::string payload = std::to_string(number);
      payload.resize(plan(number).payload_bytes, '.');
      request = std::make_unique<TestRequest>(&listener_, payload);
    }
    return request.get();
  }
  void Delete(int request) override { requests_.erase(request); }

  std::vector<int> IdsOf(int post, std::vector<int>* requests = nullptr) const {
    std::vector<int> ids;
    for (const auto& posted : kesu_test::PostedRequests(f_.transport.exchange(post).body)) {
      ids.push_back(posted.id);
      if (requests != nullptr) requests->push_back(std::stoi(posted.payload));
    }
    return ids;
  }

  void OnStart(int post) {
    std::vector<int> requests;
    const std::vector<int> ids = IdsOf(post, &requests);
    WritePost(f_.clock.TickCount(), requests, ids);
    if (transport_.transport == Step::kEndsInsideStart) End(post, transport_.ending);
  }

  std::vector<int> OpenPosts() const override {
    std::vector<int> open;
    for (int i = 0; i < static_cast<int>(f_.transport.count()); ++i) {
      const auto& exchange = f_.transport.exchange(i);
      if (exchange.request && exchange.is_started && !exchange.has_ended) open.push_back(i);
    }
    return open;
  }

  void End(int post, const Ending& ending) {
    if (ending.http_status != 200) return f_.transport.Fail(post, ending.http_status);
    const auto parts = kesu_test::PartsOf(IdsOf(post), ending.seed);
    const char* type = ending.has_right_type ? "application/binary" : "text/html";
    f_.transport.Reply(post, kesu_test::BytesOf(parts, ending.version), {{"Content-Type", type}});
  }

  Step transport_ = {Step::kSetTransport};
  kesu_test::RecordingListener listener_;
  std::map<int, std::unique_ptr<TestRequest>> requests_;
  MuxFixture f_;
};

/// Makes up what happens.
class Generator {
 public:
  Generator(unsigned seed, Plans* plans) : random_(seed), plans_(plans) {
    NewRequest(kMaxDepth, kSmall);
  }

  unsigned Pick(std::size_t count) { return static_cast<unsigned>(random_() % count); }

  Step NextStep(int depth = 0) {
    // Requests that come one close after the other, until the long delay ends it. Of the large ones
    // two just fit into a POST, or just do not.
    if (depth == 0 && burst_ == 0 && Pick(100) == 0) burst_ = 40;
    if (depth == 0 && burst_ == 40) is_burst_large_ = Pick(2) == 0;
    if (depth == 0 && burst_ > 0) {
      if (--burst_ % 2 == 0) return {.kind = Step::kAdvance, .ticks = 50000 + 49999 * Pick(2)};
      const int bytes = is_burst_large_ ? kHalfPost + static_cast<int>(Pick(2)) : kSmall;
      return {Step::kSubmit, NewRequest(depth, bytes)};
    }
    static constexpr Step::Kind kKinds[] = {
        Step::kSubmit,  Step::kSubmit,  Step::kSubmit, Step::kHoldBack, Step::kHoldBack,
        Step::kEndPost, Step::kEndPost, Step::kCancel, Step::kCancel,   Step::kCancel,
        Step::kResume,  Step::kResume,  Step::kPause,  Step::kFlush,    Step::kSetTransport,
        Step::kEndPost, Step::kAdvance, Step::kAdvance};
    Step step = {kKinds[Pick(std::size(kKinds))]};
    // Outside, the clock moves on more often.
    if (depth == 0 && Pick(4) == 0) step.kind = Step::kAdvance;
    if (depth == 0 && Pick(80) == 0) step.kind = Step::kRemake;
    const bool is_submission = step.kind == Step::kSubmit || step.kind == Step::kHoldBack;
    const bool is_new = is_submission && Pick(5) != 0;
    step.request = is_new ? NewRequest(depth, NextSize()) : OldRequest();
    step.send_now = Pick(2) == 0;
    step.ticks =
        PickFrom({0, 1, 10000, 50000, 99999, 100000, 200000, 400000, 500000, 1000000, 2000000});
    step.post = Pick(100);
    step.ending = NextEnding();
    step.transport = Pick(2) == 0 ? Step::kWorks : Step::Transport(1 + Pick(3));
    return step;
  }

 private:
  static constexpr int kMaxDepth = 3;
  static constexpr int kBlockBytes = 17;
  static constexpr int kSmall = 25;
  /// The blocks of a POST take 32768 bytes but for the header and two.
  static constexpr int kHalfPost = (32768 - MuxFixture::kHeaderBytes - 2) / 2;

  int PickFrom(std::initializer_list<int> values) { return values.begin()[Pick(values.size())]; }
  int OldRequest() {
    const std::size_t count = plans_->size();
    return static_cast<int>(count - 1 - Pick(std::min<std::size_t>(count, 10)));
  }
  int NextSize() {
    if (Pick(8) != 0) return kSmall + static_cast<int>(Pick(9));
    return PickFrom({kHalfPost / 2, kHalfPost, 2 * kHalfPost, 2 * kHalfPost + 1, 40000});
  }
  int NewRequest(int depth, int block_bytes) {
    std::vector<Step> inside;
    for (unsigned i = depth < kMaxDepth && Pick(3) == 0 ? 1 + Pick(3) : 0; i > 0; --i) {
      inside.push_back(NextStep(depth + 1));
    }
    const int request = static_cast<int>(plans_->size());
    for (Step& step : inside) {
      if (Pick(3) == 0) step.request = request;
    }
    plans_->push_back({block_bytes - kBlockBytes, Pick(4) == 0, inside});
    return request;
  }
  Ending NextEnding() {
    const int failure = PickFrom({0, 500, 501, 502, 502, 502, 550, 404});
    const int version = Pick(8) == 0 ? PickFrom({0, 2}) : 1;
    return {Pick(3) == 0 ? failure : 200, Pick(8) != 0, version, Pick(1000000)};
  }

  std::mt19937 random_;
  Plans* plans_;
  unsigned burst_ = 0;
  bool is_burst_large_ = false;
};

/// False where the two do not do the same.
bool DoAlike(const Step& step, kesu_test::World* model, kesu_test::World* real) {
  model->Do(step);
  real->Do(step);
  const std::string expected = model->TakeTrace();
  const std::string found = real->TakeTrace();
  if (found != expected) CHECK(found == expected);
  return found == expected;
}

bool RunHistory(unsigned seed) {
  Plans plans;
  Generator generator(seed, &plans);
  const int first_id = generator.Pick(2) == 0 ? 0 : 65530 >> generator.Pick(2);
  kesu_test::MuxModel model(&plans, first_id);
  RealWorld real(&plans, first_id);
  for (int i = 0; i < kStepsPerHistory; ++i) {
    if (!DoAlike(generator.NextStep(), &model, &real)) return false;
  }
  // Every other history goes with all that is under way. In the rest each request is told in the
  // end.
  for (int i = 0; i < 4000 && seed % 2 == 0 && real.HasLive(); ++i) {
    const Step ends[] = {{Step::kSetTransport},
                         {Step::kResume},
                         {.kind = Step::kAdvance, .ticks = 1000000},
                         {Step::kEndPost}};
    if (!DoAlike(ends[i % 4], &model, &real)) return false;
  }
  return seed % 2 != 0 || !real.HasLive();
}

unsigned FromEnvironment(const char* name, unsigned otherwise) {
  const char* text = std::getenv(name);
  return text == nullptr ? otherwise : static_cast<unsigned>(std::strtoul(text, nullptr, 10));
}

}  // namespace

TEST_CASE("the multiplexer does as the model does") {
  const unsigned steps = FromEnvironment("KESU_MODEL_STEPS", 30000);
  unsigned seed = FromEnvironment("KESU_MODEL_SEED", 1);
  for (unsigned done = 0; done < steps; done += kStepsPerHistory, ++seed) {
    // A sanitizer that ends the program names no seed.
    std::fprintf(stderr, "history %u\n", seed);
    REQUIRE(RunHistory(seed));
  }
}
