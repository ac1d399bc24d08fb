// The multiplexer against a model of its rules, through long random histories.
//
// KESU_MODEL_STEPS sets how many steps are done, KESU_MODEL_SEED the seed of the first history.
// Each history prints its seed: the last one before a failure, with 300 steps, shows it again.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <doctest/doctest.h>

#include "kesu/mux/mux_fixture.h"

using namespace kesu_test;

namespace {

/// Something that is done to the multiplexer, from outside or from inside a listener.
struct Step {
  enum Kind { kSubmit, kHoldBack, kCancel, kPause, kResume, kFlush, kAdvance, kEndPost };
  enum Transport { kWorks, kEndsInsideStart, kDoesNotStart, kMakesNone };

  Kind kind;
  int request = 0;
  bool send_now = false;
  /// A delay, or how far the clock goes.
  long long ticks = 0;
  /// Which of the POSTs that are under way, counted round.
  unsigned post = 0;
  /// What the transport does from this step on.
  Transport transport = kWorks;
  /// How the POST ends, or those that end inside Start().
  int http_status = 200;
  unsigned reply_seed = 0;
};

/// A request, by its number.
struct RequestPlan {
  int payload_bytes;
  /// Whether it stays when it has ended; otherwise it is deleted, and made anew when it is wanted.
  bool is_kept;
  /// What its listener does the first time it is told.
  std::vector<Step> inside;
};
using Plans = std::deque<RequestPlan>;

/// A place in a POST.
struct Place {
  int request;
  int id;
};

/// The reply to a POST. With the seed 0 each request is answered, in order.
struct Reply {
  struct Answer {
    int id;
    int status;
    std::string payload;
  };

  Reply(std::vector<Place> places, unsigned seed) {
    std::minstd_rand random(seed);
    const auto one_in = [&](unsigned count) { return seed != 0 && random() % count == 0; };
    const bool is_other_version = one_in(8);
    has_right_type = !one_in(8);
    if (is_other_version && has_right_type) status_of_rest = 2;
    bytes = is_other_version ? std::string("\0\2", 2) : kReplyStart;
    bool is_readable = has_right_type && !is_other_version;
    const auto add = [&](int id, bool is_answer = true, const char* encodings = "") {
      const Answer answer = {id, one_in(4) ? 550 : 200, std::to_string(bytes.size())};
      std::string block = ReplyBlock(id, answer.payload, answer.status, encodings);
      if (!is_answer) block[5] = 1;
      bytes += block;
      is_readable = is_readable && *encodings == '\0';
      if (is_readable && is_answer) answers.push_back(answer);
    };
    if (one_in(2)) std::shuffle(places.begin(), places.end(), random);
    for (const Place& place : places) {
      if (one_in(12)) add(place.id, false);
      if (one_in(12)) add(place.id + 3000);
      if (one_in(12)) add(place.id, true, "n,x");
      if (one_in(8)) continue;
      add(place.id);
      if (one_in(8)) add(place.id);
    }
  }

  bool has_right_type;
  std::string bytes;
  /// Those that are read.
  std::vector<Answer> answers;
  /// -3 where the other requests may be sent again.
  int status_of_rest = -3;
};

/// What steps are done to, the multiplexer or the model: writes down each POST and each outcome.
class World {
 public:
  explicit World(const Plans* plans) : plans_(plans) {}
  virtual ~World() = default;

  /// Does nothing where the owner of the request may not do such a thing.
  void Do(const Step& step) {
    const bool is_submission = step.kind == Step::kSubmit || step.kind == Step::kHoldBack;
    if (is_submission && !live_.insert(step.request).second) return;
    if (step.kind == Step::kCancel && !live_.contains(step.request)) return;
    transport_ = step;
    Perform(step);
    if (step.kind == Step::kCancel) Forget(step.request);
    const auto open = OpenPosts();
    if (step.kind == Step::kEndPost && !open.empty()) End(open[step.post % open.size()], step);
  }

  /// What has been written down since the last time.
  std::string TakeTrace() { return std::exchange(trace_, ""); }
  /// Whether a request waits for its outcome.
  bool HasLive() const { return !live_.empty(); }

 protected:
  const RequestPlan& plan(int request) const { return (*plans_)[request]; }
  /// All but the end of a POST.
  virtual void Perform(const Step& step) = 0;
  virtual void End(std::size_t post, const Step& step) = 0;
  virtual void Delete(int request) = 0;
  virtual std::vector<std::size_t> OpenPosts() const = 0;

  void WritePost(long long now, const std::vector<Place>& places) {
    trace_ += "POST at " + std::to_string(now) + ':';
    for (const Place& place : places) {
      trace_ += ' ' + std::to_string(place.request) + '#' + std::to_string(place.id);
    }
    trace_ += "; ";
  }
  void Tell(int request, int status, int http_status, const std::string& payload) {
    trace_ += std::to_string(request) + (live_.contains(request) ? " told " : " TOLD AGAIN ") +
              std::to_string(status) + '/' + std::to_string(http_status) + payload + "; ";
    Forget(request);
    if (!has_acted_.insert(request).second) return;
    for (const Step& step : plan(request).inside) Do(step);
  }

  /// The step that says what the transport does.
  Step transport_ = {Step::kAdvance};

 private:
  void Forget(int request) {
    live_.erase(request);
    if (!plan(request).is_kept) Delete(request);
  }

  const Plans* plans_;
  std::set<int> live_;
  std::set<int> has_acted_;
  std::string trace_;
};

/// The rules of the multiplexer and its scheduler, said as plainly as possible. A request is in one
/// place at a time: gathered, held back, pending, or in a POST.
class MuxModel final : public World {
 public:
  MuxModel(const Plans* plans, int first_id) : World(plans), next_id_(first_id) {}

 private:
  /// In place of a request that has been cancelled or told, or of none.
  static constexpr int kNobody = -1;
  static constexpr int kBatch = -2;
  struct Wait {
    int request;
    std::function<void()> end;
  };

  void Perform(const Step& step) override {
    if (step.kind == Step::kSubmit) Submit(step.request, step.send_now);
    if (step.kind == Step::kHoldBack) HoldBack(step.request, step.ticks, step.send_now);
    if (step.kind == Step::kCancel) Cancel(step.request);
    if (step.kind == Step::kPause) is_paused_ = true;
    if (step.kind == Step::kResume) is_paused_ = false;
    if (step.kind == Step::kResume) SendPending();
    if (step.kind == Step::kFlush) SendGathered();
    if (step.kind == Step::kAdvance) Advance(step.ticks);
  }

  void Delete(int request) override { was_sent_again_.erase(request); }
  std::vector<std::size_t> OpenPosts() const override { return {open_.begin(), open_.end()}; }

  void Submit(int request, bool send_now) {
    gathered_.push_back(request);
    if (send_now) return SendGathered();
    soft_deadline_ = now_ + 100000;
    if (is_gathering_) return;
    is_gathering_ = true;
    hard_deadline_ = now_ + 1000000;
    WaitForBatch();
  }

  void WaitForBatch() {
    const long long deadline = std::min(soft_deadline_, hard_deadline_);
    if (deadline <= now_) return SendGathered();
    waits_.insert({deadline, {kBatch, [this] { WaitForBatch(); }}});
  }

  void HoldBack(int request, long long ticks, bool send_now) {
    waits_.insert({now_ + ticks, {request, [=, this] { Submit(request, send_now); }}});
  }

  void EndWaitOf(int request) {
    std::erase_if(waits_, [&](const auto& wait) { return wait.second.request == request; });
  }

  void Advance(long long ticks) {
    // What is done meanwhile may move the clock further: what is due only then waits.
    const long long now = now_ += ticks;
    while (!waits_.empty() && waits_.begin()->first <= now) {
      waits_.extract(waits_.begin()).mapped().end();
    }
  }

  void SendGathered() {
    EndWaitOf(kBatch);
    is_gathering_ = false;
    pending_.insert(pending_.end(), gathered_.begin(), gathered_.end());
    gathered_.clear();
    if (!is_paused_) SendPending();
  }

  void SendPending() {
    while (!pending_.empty()) {
      std::vector<Place> places;
      int bytes = MuxFixture::kHeaderBytes;
      for (; !pending_.empty(); pending_.pop_front()) {
        const int block_bytes = 17 + plan(pending_.front()).payload_bytes;
        if (!places.empty() && bytes + block_bytes + 2 > 32768) break;
        bytes += block_bytes;
        places.push_back({pending_.front(), static_cast<short>(next_id_++)});
      }
      posts_[++last_post_] = places;
      Start(last_post_);
    }
  }

  void Start(std::size_t post) {
    const Step::Transport transport = transport_.transport;
    if (transport != Step::kMakesNone) WritePost(now_, posts_[post]);
    if (transport == Step::kEndsInsideStart) return End(post, transport_);
    if (transport == Step::kWorks) {
      open_.insert(post);
    } else {
      const Step failure = {.kind = Step::kEndPost, .http_status = 0};
      waits_.insert({now_, {kNobody, [=, this] { End(post, failure); }}});
    }
  }

  void End(std::size_t post, const Step& step) override {
    open_.erase(post);
    std::vector<Place>* places = &posts_[post];
    if (step.http_status == 200) {
      HandleReply(Reply(*places, step.reply_seed), places);
    } else {
      EndRest(step.http_status == 502 ? -3 : step.http_status, step.http_status, places);
    }
    posts_.erase(post);
  }

  void HandleReply(const Reply& reply, std::vector<Place>* places) {
    for (const Reply::Answer& answer : reply.answers) {
      for (Place& place : *places) {
        if (place.id != static_cast<short>(answer.id)) continue;
        const int request = std::exchange(place.request, kNobody);
        if (request != kNobody) Tell(request, answer.status, 200, ' ' + answer.payload);
      }
    }
    EndRest(reply.status_of_rest, 200, places);
  }

  void EndRest(int status, int http_status, std::vector<Place>* places) {
    for (Place& place : *places) {
      const int request = std::exchange(place.request, kNobody);
      if (request == kNobody) continue;
      // Once in all its life.
      if (status == -3 && was_sent_again_.insert(request).second) {
        HoldBack(request, 500000, true);
      } else {
        Tell(request, status, http_status, "!");
      }
    }
  }

  void Cancel(int request) {
    EndWaitOf(request);
    std::erase(gathered_, request);
    std::erase(pending_, request);
    for (auto& [post, places] : posts_) {
      for (Place& place : places) {
        if (place.request == request) place.request = kNobody;
      }
    }
  }

  long long now_ = 777;
  long long soft_deadline_ = 0;
  long long hard_deadline_ = 0;
  bool is_gathering_ = false;
  bool is_paused_ = false;
  int next_id_;
  std::size_t last_post_ = 0;
  /// By the tick they end at; those of one tick in the order they began.
  std::multimap<long long, Wait> waits_;
  std::vector<int> gathered_;
  std::deque<int> pending_;
  std::map<std::size_t, std::vector<Place>> posts_;
  std::set<std::size_t> open_;
  std::set<int> was_sent_again_;
};

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
  common_kesu::MobileServiceMux* mux() const { return f_.mux(); }

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
    if (transport_.transport == Step::kEndsInsideStart) End(post, transport_);
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
