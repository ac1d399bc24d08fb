#ifndef TESTS_KESU_MUX_MUX_MODEL_H_
#define TESTS_KESU_MUX_MUX_MODEL_H_

#include <algorithm>
#include <deque>
#include <functional>
#include <map>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "kesu/mux/mux_fixture.h"

namespace kesu_test {

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
  /// The step that says what the transport does.
  const Step& transport() const { return transport_; }
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

 private:
  void Forget(int request) {
    live_.erase(request);
    if (!plan(request).is_kept) Delete(request);
  }

  const Plans* plans_;
  std::set<int> live_;
  std::set<int> has_acted_;
  Step transport_ = {Step::kAdvance};
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
    const Step::Transport transport = this->transport().transport;
    if (transport != Step::kMakesNone) WritePost(now_, posts_[post]);
    if (transport == Step::kEndsInsideStart) return End(post, this->transport());
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

}  // namespace kesu_test

#endif  // TESTS_KESU_MUX_MUX_MODEL_H_
