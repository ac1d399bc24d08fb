#ifndef TESTS_KESU_MUX_MUX_MODEL_H_
#define TESTS_KESU_MUX_MUX_MODEL_H_

#include <algorithm>
#include <deque>
#include <map>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "kesu/mux/mux_fixture.h"

namespace kesu_test {

/// How a POST ends.
struct Ending {
  int http_status = 200;
  bool has_right_type = true;
  /// Of the reply, whose body is empty for 0.
  int version = 1;
  /// Decides what the reply holds; 0: each request is answered, in order.
  unsigned seed = 0;
};

/// Something that is done to the multiplexer, from outside or from inside a listener.
struct Step {
  enum Kind {
    kSubmit,
    kHoldBack,
    kCancel,
    kPause,
    kResume,
    kFlush,
    kAdvance,
    kEndPost,
    kRemake,
    kSetTransport
  };
  enum Transport { kWorks, kEndsInsideStart, kDoesNotStart, kMakesNone };

  Kind kind;
  int request = 0;
  bool send_now = false;
  /// A delay, or how far the clock goes.
  long long ticks = 0;
  /// Which of the POSTs that are under way, counted round.
  unsigned post = 0;
  Ending ending = {};
  Transport transport = kWorks;
};

/// A request, by its number.
struct RequestPlan {
  int payload_bytes;
  /// Whether it may be submitted again when it has ended; otherwise it is deleted at once.
  bool is_kept;
  /// What its listener does the first time it is told.
  std::vector<Step> inside;
};
using Plans = std::deque<RequestPlan>;

/// A block of a reply.
struct ReplyPart {
  enum Kind { kAnswer, kUnknownType, kUndecodable, kCut };
  Kind kind;
  int id;
  int status;
  std::string payload;
};

/// The reply to a POST with these ids.
inline std::vector<ReplyPart> PartsOf(std::vector<int> ids, unsigned seed) {
  std::minstd_rand random(seed);
  const auto one_in = [&](unsigned count) { return seed != 0 && random() % count == 0; };
  std::vector<ReplyPart> parts;
  const auto add = [&](ReplyPart::Kind kind, int id) {
    parts.push_back({kind, id, one_in(4) ? 550 : 200, std::to_string(parts.size())});
  };
  if (one_in(2)) std::shuffle(ids.begin(), ids.end(), random);
  for (const int id : ids) {
    if (one_in(12)) add(ReplyPart::kUnknownType, id);
    if (one_in(12)) add(ReplyPart::kAnswer, id + 3000);
    if (one_in(12)) add(ReplyPart::kUndecodable, id);
    if (one_in(8)) continue;
    add(ReplyPart::kAnswer, id);
    if (one_in(8)) add(ReplyPart::kAnswer, id);
  }
  if (one_in(8)) add(ReplyPart::kCut, ids[0]);
  return parts;
}

inline std::string BytesOf(const std::vector<ReplyPart>& parts, int version) {
  if (version == 0) return "";
  std::string bytes = BigEndian(version, 2);
  for (const ReplyPart& part : parts) {
    const char* encodings = part.kind == ReplyPart::kUndecodable ? "n,x" : "";
    std::string block = ReplyBlock(part.id, part.payload, part.status, encodings);
    if (part.kind == ReplyPart::kUnknownType) block[5] = 1;
    if (part.kind == ReplyPart::kCut) block.pop_back();
    bytes += block;
  }
  return bytes;
}

/// What steps are done to, the multiplexer or the model: writes down each POST and each outcome.
class World {
 public:
  explicit World(const Plans* plans) : plans_(plans) {}
  World(const World&) = delete;
  World& operator=(const World&) = delete;
  virtual ~World() = default;

  /// Does nothing where the owner of the request may not do such a thing.
  void Do(const Step& step) {
    const int request = step.request;
    const bool is_idle = !live_.contains(request) && plan(request).is_kept;
    if (step.kind == Step::kSubmit || step.kind == Step::kHoldBack) {
      if (!is_idle && used_.contains(request)) return;
      used_.insert(request);
      live_.insert(request);
    }
    if (step.kind == Step::kCancel && !live_.contains(request)) return;
    if (step.kind == Step::kEndPost && OpenPosts().empty()) return;
    Perform(step);
    if (step.kind == Step::kCancel) Forget(request);
    while (step.kind == Step::kRemake && !live_.empty()) Forget(*live_.begin());
  }

  /// What has been written down since the last time, and numbers that count too.
  std::string TakeTrace() {
    std::string trace = std::exchange(trace_, "");
    for (const auto number : Numbers()) trace += ' ' + std::to_string(number);
    return trace;
  }
  /// Whether a request waits for its outcome.
  bool HasLive() const { return !live_.empty(); }

 protected:
  const RequestPlan& plan(int request) const { return (*plans_)[request]; }
  virtual void Perform(const Step& step) = 0;
  virtual void Delete(int) {}
  virtual std::vector<int> OpenPosts() const = 0;
  virtual std::vector<int> Numbers() const = 0;

  void WritePost(long long now, const std::vector<int>& requests, const std::vector<int>& ids) {
    trace_ += "POST at " + std::to_string(now) + ':';
    for (std::size_t i = 0; i < ids.size(); ++i) {
      trace_ += ' ' + std::to_string(requests[i]) + '#' + std::to_string(ids[i]);
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

 private:
  void Forget(int request) {
    live_.erase(request);
    if (!plan(request).is_kept) Delete(request);
  }

  const Plans* plans_;
  std::set<int> used_;
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
  static constexpr int kNobody = -1;
  struct Post {
    /// kNobody where the request has been cancelled or told.
    std::vector<int> requests;
    std::vector<int> ids;
    bool is_open = false;
  };
  struct Wait {
    enum Kind { kForBatch, kHeldBack, kNotStarted };
    Kind kind;
    int request = kNobody;
    bool send_now = false;
    int post = 0;
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
    if (step.kind == Step::kEndPost) End(OpenPosts()[step.post % OpenPosts().size()], step.ending);
    if (step.kind == Step::kSetTransport) transport_ = step;
    if (step.kind == Step::kRemake) Remake();
  }

  std::vector<int> Numbers() const override {
    const auto open_count = static_cast<int>(OpenPosts().size());
    return {sent_, received_, next_id_, is_paused_, open_count};
  }

  void Submit(int request, bool send_now) {
    gathered_.push_back(request);
    if (send_now) return SendGathered();
    soft_deadline_ = now_ + 100000;
    if (is_gathering_) return;
    is_gathering_ = true;
    hard_deadline_ = now_ + 1000000;
    waits_.insert({soft_deadline_, {Wait::kForBatch}});
  }

  void HoldBack(int request, long long ticks, bool send_now) {
    waits_.insert({now_ + ticks, {Wait::kHeldBack, request, send_now}});
  }

  void Advance(long long ticks) {
    // What is done meanwhile may move the clock further: what is due only then waits.
    const long long now = now_ += ticks;
    while (!waits_.empty() && waits_.begin()->first <= now) {
      const Wait wait = waits_.extract(waits_.begin()).mapped();
      if (wait.kind == Wait::kHeldBack) Submit(wait.request, wait.send_now);
      if (wait.kind == Wait::kNotStarted) End(wait.post, {.http_status = 0});
      const long long deadline = std::min(soft_deadline_, hard_deadline_);
      if (wait.kind == Wait::kForBatch && deadline <= now_) SendGathered();
      if (wait.kind == Wait::kForBatch && deadline > now_) waits_.insert({deadline, wait});
    }
  }

  void SendGathered() {
    std::erase_if(waits_, [](const auto& wait) { return wait.second.kind == Wait::kForBatch; });
    is_gathering_ = false;
    pending_.insert(pending_.end(), gathered_.begin(), gathered_.end());
    gathered_.clear();
    if (!is_paused_) SendPending();
  }

  void SendPending() {
    while (!pending_.empty()) {
      Post post;
      int bytes = MuxFixture::kHeaderBytes;
      for (; !pending_.empty(); pending_.pop_front()) {
        const int block_bytes = 17 + plan(pending_.front()).payload_bytes;
        if (!post.requests.empty() && bytes + block_bytes + 2 > 32768) break;
        bytes += block_bytes;
        post.requests.push_back(pending_.front());
        post.ids.push_back(static_cast<short>(next_id_++));
      }
      sent_ += bytes;
      posts_.insert({++last_post_, post});
      Start(last_post_);
    }
  }

  void Start(int number) {
    Post& post = posts_[number];
    if (transport_.transport != Step::kMakesNone) WritePost(now_, post.requests, post.ids);
    if (transport_.transport == Step::kEndsInsideStart) return End(number, transport_.ending);
    post.is_open = transport_.transport == Step::kWorks;
    if (!post.is_open) waits_.insert({now_, {Wait::kNotStarted, kNobody, false, number}});
  }

  std::vector<int> OpenPosts() const override {
    std::vector<int> open;
    for (const auto& [number, post] : posts_) {
      if (post.is_open) open.push_back(number);
    }
    return open;
  }

  void End(int number, const Ending& ending) {
    Post& post = posts_[number];
    post.is_open = false;
    const int status = ending.http_status;
    if (status == 200 && ending.has_right_type) {
      HandleReply(&post, ending);
    } else if (status == 200 || status == 502) {
      SendAgain(&post, status);
    } else {
      Fail(&post, status, status);
    }
    posts_.erase(number);
  }

  void HandleReply(Post* post, const Ending& ending) {
    const auto parts = PartsOf(post->ids, ending.seed);
    received_ += static_cast<int>(BytesOf(parts, ending.version).size());
    if (ending.version != 1) return Fail(post, 2, 200);
    for (const ReplyPart& part : parts) {
      if (part.kind == ReplyPart::kUnknownType) continue;
      if (part.kind != ReplyPart::kAnswer) break;
      const auto id = std::find(post->ids.begin(), post->ids.end(), static_cast<short>(part.id));
      if (id == post->ids.end()) continue;
      const int request = std::exchange(post->requests[id - post->ids.begin()], kNobody);
      if (request != kNobody) Tell(request, part.status, 200, ' ' + part.payload);
    }
    SendAgain(post, 200);
  }

  void Fail(Post* post, int status, int http_status) {
    for (int& entry : post->requests) {
      const int request = std::exchange(entry, kNobody);
      if (request != kNobody) Tell(request, status, http_status, "!");
    }
  }

  void SendAgain(Post* post, int http_status) {
    for (int& entry : post->requests) {
      const int request = std::exchange(entry, kNobody);
      if (request == kNobody) continue;
      // Once in all its life.
      const bool may_retry = was_sent_again_.insert(request).second;
      may_retry ? HoldBack(request, 500000, true) : Tell(request, -3, http_status, "!");
    }
  }

  void Cancel(int request) {
    std::erase_if(waits_, [&](const auto& wait) { return wait.second.request == request; });
    std::erase(gathered_, request);
    std::erase(pending_, request);
    for (auto& [number, post] : posts_) {
      std::replace(post.requests.begin(), post.requests.end(), request, kNobody);
    }
  }

  void Remake() {
    waits_.clear();
    gathered_.clear();
    pending_.clear();
    posts_.clear();
    is_gathering_ = is_paused_ = false;
    sent_ = received_ = next_id_ = 0;
  }

  long long now_ = 777;
  long long soft_deadline_ = 0;
  long long hard_deadline_ = 0;
  bool is_gathering_ = false;
  bool is_paused_ = false;
  int sent_ = 0;
  int received_ = 0;
  int next_id_;
  int last_post_ = 0;
  Step transport_ = {Step::kSetTransport};
  /// By the tick they end at; those of one tick in the order they began.
  std::multimap<long long, Wait> waits_;
  std::vector<int> gathered_;
  std::deque<int> pending_;
  std::map<int, Post> posts_;
  std::set<int> was_sent_again_;
};

}  // namespace kesu_test

#endif  // TESTS_KESU_MUX_MUX_MODEL_H_
