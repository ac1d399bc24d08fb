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
using namespace kesu_test;

namespace {

constexpr int kStepsPerHistory = 300;

class RealWorld final : public World {
 public:
  RealWorld(const Plans* plans, int first_id) : World(plans) {
    while (mux()->PeekRequestId() < first_id) mux()->NextRequestId();
    f_.transport.on_start = [this] { OnStart(f_.transport.count() - 1); };
    listener_.action = [this](const common_kesu::Request*) {
      const auto told = listener_.outcomes.back();
      Tell(std::stoi(told.name), told.status, told.http_status, told.payload);
    };
  }

 private:
  MobileServiceMux* mux() const { return f_.mux(); }

  void Perform(const Step& step) override {
    f_.transport.makes_null = step.transport == Step::kMakesNone;
    // What it yields does not matter where the POST has ended.
    const bool may_start = step.transport == Step::kEndsInsideStart && step.post % 2 == 0;
    f_.transport.start_result = step.transport == Step::kWorks || may_start ? 0 : 1;
    TestRequest* request = step.kind <= Step::kCancel ? RequestOf(step.request) : nullptr;
    if (step.kind == Step::kSubmit) mux()->Submit(request, step.send_now);
    if (step.kind == Step::kHoldBack) mux()->SubmitWithDelay(request, step.ticks, step.send_now);
    if (step.kind == Step::kCancel) mux()->Cancel(request);
    if (step.kind == Step::kPause) mux()->PauseAll();
    if (step.kind == Step::kResume) mux()->ResumeAll();
    if (step.kind == Step::kFlush) mux()->FlushPendingRequests();
    if (step.kind == Step::kAdvance) f_.Advance(step.ticks);
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

  std::vector<Place> PlacesOf(std::size_t post) const {
    std::vector<Place> places;
    for (const auto& posted : PostedRequests(f_.transport.exchange(post).body)) {
      places.push_back({std::stoi(posted.payload), posted.id});
    }
    return places;
  }

  void OnStart(std::size_t post) {
    WritePost(f_.clock.TickCount(), PlacesOf(post));
    if (transport().transport == Step::kEndsInsideStart) End(post, transport());
  }

  std::vector<std::size_t> OpenPosts() const override { return f_.transport.Open(); }

  void End(std::size_t post, const Step& step) override {
    const Reply reply(PlacesOf(post), step.reply_seed);
    const char* type = reply.has_right_type ? "application/binary" : "text/html";
    f_.transport.End(post, step.http_status, reply.bytes, {{"Content-Type", type}});
  }

  RecordingListener listener_;
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
    // Requests that come one close after the other, until the long delay ends it. Two of them just
    // fit into a POST, or just do not.
    if (depth == 0 && burst_ == 0 && Pick(100) == 0) burst_ = 40;
    if (depth == 0 && burst_ > 0) {
      if (--burst_ % 2 == 0) return {.kind = Step::kAdvance, .ticks = 50000 + 49999 * Pick(2)};
      return {Step::kSubmit, NewRequest(depth, kHalfPost + static_cast<int>(Pick(2)))};
    }
    static constexpr Step::Kind kKinds[] = {
        Step::kSubmit,  Step::kSubmit, Step::kSubmit, Step::kHoldBack, Step::kHoldBack,
        Step::kCancel,  Step::kCancel, Step::kCancel, Step::kEndPost,  Step::kEndPost,
        Step::kEndPost, Step::kResume, Step::kResume, Step::kPause,    Step::kFlush,
        Step::kAdvance, Step::kAdvance};
    Step step = {kKinds[Pick(std::size(kKinds))]};
    // Outside, the clock moves on more often.
    if (depth == 0 && Pick(4) == 0) step.kind = Step::kAdvance;
    const bool is_submission = step.kind == Step::kSubmit || step.kind == Step::kHoldBack;
    const bool is_new = is_submission && Pick(5) != 0;
    step.request = is_new ? NewRequest(depth, NextSize()) : OldRequest();
    step.send_now = Pick(2) == 0;
    step.ticks =
        PickFrom({0, 1, 10000, 50000, 99999, 100000, 200000, 400000, 500000, 1000000, 2000000});
    step.post = Pick(100);
    if (Pick(3) == 0) step.transport = Step::Transport(1 + Pick(3));
    if (Pick(3) == 0) step.http_status = PickFrom({0, 500, 501, 502, 502, 502, 550, 404});
    step.reply_seed = Pick(1000000);
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

  std::mt19937 random_;
  Plans* plans_;
  unsigned burst_ = 0;
};

void RunHistory(unsigned seed) {
  Plans plans;
  Generator generator(seed, &plans);
  const int first_id = generator.Pick(2) == 0 ? 0 : 65530 >> generator.Pick(2);
  MuxModel model(&plans, first_id);
  RealWorld real(&plans, first_id);
  // Every other history goes with all that is under way. In the rest each request is told in the
  // end.
  const Step ends[] = {
      {Step::kResume}, {.kind = Step::kAdvance, .ticks = 1000000}, {Step::kEndPost}};
  const int max_steps = seed % 2 == 0 ? 20 * kStepsPerHistory : kStepsPerHistory;
  for (int i = 0; i < kStepsPerHistory || (i < max_steps && real.HasLive()); ++i) {
    const Step step = i < kStepsPerHistory ? generator.NextStep() : ends[i % 3];
    model.Do(step);
    real.Do(step);
    const std::string expected = model.TakeTrace();
    REQUIRE(real.TakeTrace() == expected);
  }
  REQUIRE((seed % 2 != 0 || !real.HasLive()));
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
    RunHistory(seed);
  }
}
