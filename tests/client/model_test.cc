// Random histories of clients, against what is promised of every call: one outcome, or none after
// it was cancelled; never from inside the call; in the first iteration after its deadline at the
// latest. KESU_MODEL_SEED replays one, KESU_MODEL_STEPS lets them run longer.

#include <cstdlib>
#include <deque>
#include <random>
#include <utility>

#include "client/client_fixture.h"

namespace kesu_test {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

class History {
 public:
  explicit History(unsigned seed) : random_(seed) { MakeClient(); }

  void Run(int steps) {
    while (steps-- > 0) {
      Step();
      if (OneIn(2)) Iterate();
    }
    // Whatever still waits ends with its deadline, and nothing follows.
    depth_ = kMaxDepth;
    fixture_.clock.now += kLongestDeadline;
    Iterate();
    Iterate();
    for (const Entry& entry : entries_) CHECK((entry.is_told || entry.is_cancelled));
    const kesu::Counters counters = client_->counters();
    std::uint64_t outcomes = 0;
    for (const std::uint64_t outcome : counters.outcomes) outcomes += outcome;
    CHECK(outcomes == counters.calls);
    CHECK(counters.waiting + counters.in_flight == 0);
    told += entries_.size();
  }

  static inline std::size_t told = 0;

 private:
  static constexpr milliseconds kLongestDeadline{3000};
  static constexpr int kMaxDepth = 4;

  struct Entry {
    kesu::Call call;
    microseconds due;
    /// The iteration in which it is told at the latest, whatever its deadline is.
    long long last_iteration = 1LL << 60;
    unsigned client_number;
    bool is_being_made = true;
    bool is_cancelled = false;
    bool is_told = false;
  };

  int Below(int limit) { return static_cast<int>(random_() % static_cast<unsigned>(limit)); }
  bool OneIn(int count) { return Below(count) == 0; }

  void MakeClient() {
    // Those that are not answered are, as cancelled.
    for (Entry& entry : entries_) {
      if (entry.client_number == client_number_) ExpectSoon(&entry);
    }
    client_.reset();
    ++client_number_;
    kesu::Options options = fixture_.options();
    options.batch_wait = milliseconds(Below(3) * 100);
    options.deadline = milliseconds(1 + Below(3) * 700);
    options.cache_lifetime = milliseconds(Below(2) * 500);
    client_ = std::make_unique<kesu::Client>(options);
    REQUIRE(!client_->error());
    deadline_ = options.deadline;
  }

  void ExpectSoon(Entry* entry) {
    entry->last_iteration = std::min(entry->last_iteration, iteration_ + 1);
  }

  template <typename Outcome>
  auto Callback(Entry* entry) {
    return [this, entry](const Outcome&) {
      CHECK(!entry->is_being_made);
      CHECK(!entry->is_told);
      CHECK(!entry->is_cancelled);
      entry->is_told = true;
      if (OneIn(4)) entry->call = {};
      if (depth_ == kMaxDepth) return;
      ++depth_;
      for (int count = Below(3); count > 0; --count) Step();
      --depth_;
    };
  }

  void MakeCall() {
    Entry& entry = entries_.emplace_back();
    entry.client_number = client_number_;
    entry.due = fixture_.clock.now + deadline_;
    const auto places = Callback<std::vector<kesu::ReverseResult>>(&entry);
    switch (Below(5)) {
      case 0:
        entry.call = client_->Reverse({{1, 1}, {91, 0}, {2, 2.0 + Below(2)}}, places);
        break;
      case 1:
        entry.call = client_->CallBytes("own", "x", Callback<kesu::Result<std::string>>(&entry));
        break;
      case 2:
        entry.call = client_->Locate({}, Callback<kesu::LocateResult>(&entry));
        ExpectSoon(&entry);
        break;
      default:
        entry.call =
            client_->Locate(ClientFixture::Seen(Below(3)), Callback<kesu::LocateResult>(&entry));
    }
    entry.is_being_made = false;
    if (OneIn(4)) entry.call.Detach();
  }

  void CancelCall() {
    if (entries_.empty()) return;
    Entry& entry = entries_[random_() % entries_.size()];
    if (!entry.call.is_pending()) return;
    entry.is_cancelled = true;
    OneIn(2) ? entry.call.Cancel() : static_cast<void>(entry.call = {});
  }

  void EndPost() {
    const auto open = fixture_.transport.Open();
    if (open.empty()) return;
    const std::size_t post = open[random_() % open.size()];
    const std::string place = Field(2, Field(2, Field(1, LatLng(1, 1)) + Field(5, Field(1, "a"))));
    std::string body = kReplyStart;
    for (const PostedRequest& request : PostedRequests(fixture_.transport.exchange(post).body)) {
      if (!OneIn(6)) body += ReplyBlock(request.id, OneIn(6) ? "\x0A" : place + place + place);
    }
    constexpr int kStatuses[] = {200, 200, 200, 200, 502, 404, 0};
    fixture_.transport.End(post, kStatuses[Below(7)], body);
  }

  void Step() {
    kesu::detail::Engine* const engine = kesu::detail::Engine::Get();
    const int what = Below(20);
    if (what < 7) return MakeCall();
    if (what < 9) return CancelCall();
    if (what < 11) return client_->Resume();
    if (what < 12) return OneIn(4) ? MakeClient() : client_->Pause();
    if (what < 13) return engine->OnRouteChanged(!OneIn(3));
    if (what < 14) return engine->OnNetworkChanged();
    if (what < 15) {
      fixture_.transport.start_result = OneIn(4);
      fixture_.transport.makes_null = OneIn(8);
    } else if (what < 16) {
      fixture_.clock.now += milliseconds(Below(1000));
    } else if (depth_ == 0) {
      EndPost();
    } else {
      g_main_context_iteration(nullptr, FALSE);
    }
  }

  void Iterate() {
    ++iteration_;
    const microseconds now = fixture_.clock.now;
    g_main_context_iteration(nullptr, FALSE);
    for (const Entry& entry : entries_) {
      const bool is_due = entry.due <= now && entry.client_number == client_number_;
      const bool is_late = is_due || entry.last_iteration <= iteration_;
      if (is_late) CHECK((entry.is_told || entry.is_cancelled));
    }
  }

  ClientFixture fixture_;
  std::minstd_rand random_;
  std::deque<Entry> entries_;
  std::unique_ptr<kesu::Client> client_;
  unsigned client_number_ = 0;
  milliseconds deadline_{};
  long long iteration_ = 0;
  int depth_ = 0;
};

TEST_CASE("each call has one outcome in time, or none after it was cancelled") {
  const char* const seed = std::getenv("KESU_MODEL_SEED");
  const char* const steps = std::getenv("KESU_MODEL_STEPS");
  const unsigned first =
      seed == nullptr ? 1 : static_cast<unsigned>(std::strtoul(seed, nullptr, 10));
  for (unsigned i = first; i < first + (seed == nullptr ? 300 : 1); ++i) {
    INFO("KESU_MODEL_SEED=", i);
    History(i).Run(steps == nullptr ? 200 : static_cast<int>(std::strtol(steps, nullptr, 10)));
  }
  CHECK(History::told > (seed == nullptr ? 10'000 : 0));
}

}  // namespace
}  // namespace kesu_test
