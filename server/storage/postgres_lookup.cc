#include "server/storage/postgres_lookup.h"

#include <algorithm>
#include <ctime>
#include <utility>

#include "server/storage/postgres_statements.h"

namespace kesu_server {
namespace {

constexpr unsigned kTickMs = 50;
/// So many jobs are under way on a connection, of which one that has taken longer than this lets
/// others go elsewhere.
constexpr std::size_t kMostJobs = 8;
constexpr std::int64_t kSlowUs = 20'000;
constexpr int kMostTries = 3;
constexpr std::int64_t kFirstPauseUs = 100'000;
constexpr std::int64_t kLongestPauseUs = 5'000'000;

std::vector<std::string> SettingsOf(const PostgresLookup::Limits& limits) {
  std::vector<std::string> settings = LookupSettings();
  // A statement that nobody waits for any more ends some time.
  settings.push_back("SET statement_timeout = '" + std::to_string(limits.seconds + 1) + "s'");
  settings.emplace_back("SET client_connection_check_interval = '1s'");
  return settings;
}

}  // namespace

struct PostgresLookup::Question final : PostgresChannel::Job {
  Question(Inquiry asked, Done answer, std::int64_t deadline)
      : Job(std::move(asked)), done(std::move(answer)), deadline_us(deadline) {}

  /// Empty when it has been called.
  Done done;
  std::int64_t deadline_us;
  int tries = 1;
};

struct PostgresLookup::Slot {
  std::unique_ptr<PostgresChannel> channel;
  bool is_wanted = false;
  std::int64_t pause_us = 0;
  std::int64_t connect_at_us = 0;
};

PostgresLookup::PostgresLookup(PostgresTarget target, Limits limits, Report report)
    : target_(std::move(target)), limits_(limits), report_(std::move(report)) {
  for (std::size_t i = 0; i < limits_.connections; ++i) {
    Slot* const slot = slots_.emplace_back(std::make_unique<Slot>()).get();
    slot->channel =
        std::make_unique<PostgresChannel>(&target_, SettingsOf(limits_), EventsOf(slot));
  }
  OpenAnother();
}

PostgresLookup::~PostgresLookup() {
  if (timer_ != 0) g_source_remove(timer_);
}

PostgresChannel::Events PostgresLookup::EventsOf(Slot* slot) {
  return {[this, slot] { OnReady(slot); },
          [this](const std::shared_ptr<PostgresChannel::Job>& job) { OnDone(job); },
          [this, slot](std::vector<std::shared_ptr<PostgresChannel::Job>> jobs,
                       const std::string& error) { OnLost(slot, std::move(jobs), error); }};
}

void PostgresLookup::Ask(Inquiry inquiry, Done done) {
  const std::int64_t deadline_us =
      g_get_monotonic_time() + std::int64_t{limits_.seconds} * G_USEC_PER_SEC;
  waiting_.push_back(std::make_shared<Question>(std::move(inquiry), std::move(done), deadline_us));
  asked_.push_back(waiting_.back());
  StartTicking();
  Dispatch();
}

void PostgresLookup::Dispatch() {
  while (!waiting_.empty()) {
    const std::shared_ptr<Question> question = waiting_.front();
    if (question->done) {
      PostgresChannel* const channel = ChooseChannel();
      if (channel == nullptr || channel->jobs() > 0) OpenAnother();
      if (channel == nullptr) return;
      channel->Send(question);
    }
    waiting_.pop_front();
  }
}

PostgresChannel* PostgresLookup::ChooseChannel() {
  const std::int64_t now_us = g_get_monotonic_time();
  PostgresChannel* best = nullptr;
  for (const std::unique_ptr<Slot>& slot : slots_) {
    PostgresChannel* const channel = slot->channel.get();
    if (channel->state() != PostgresChannel::State::kReady || channel->jobs() >= kMostJobs)
      continue;
    if (channel->jobs() > 0 && now_us - channel->busy_since_us() > kSlowUs) continue;
    if (best == nullptr || channel->jobs() < best->jobs()) best = channel;
  }
  return best;
}

void PostgresLookup::OpenAnother() {
  const bool is_one_coming =
      std::any_of(slots_.begin(), slots_.end(), [](const std::unique_ptr<Slot>& slot) {
        return slot->is_wanted && slot->channel->state() != PostgresChannel::State::kReady;
      });
  if (is_one_coming) return;
  for (const std::unique_ptr<Slot>& slot : slots_) {
    if (slot->is_wanted) continue;
    slot->is_wanted = true;
    slot->channel->Connect();
    return StartTicking();
  }
}

void PostgresLookup::Finish(Question* question, std::optional<Findings> findings) {
  const Done done = std::exchange(question->done, nullptr);
  if (done) done(std::move(findings));
}

void PostgresLookup::OnReady(Slot* slot) {
  slot->pause_us = 0;
  if (!trouble_.empty()) report_("the database answers again");
  trouble_.clear();
  Dispatch();
}

void PostgresLookup::OnDone(const std::shared_ptr<PostgresChannel::Job>& job) {
  const auto question = std::static_pointer_cast<Question>(job);
  if (question->error.empty()) {
    Finish(question.get(), question->inquiry.Finish(std::time(nullptr)));
  } else {
    Note(question->error);
    if (question->tries++ < kMostTries) {
      waiting_.push_front(question);
    } else {
      Finish(question.get(), std::nullopt);
    }
  }
  Dispatch();
}

void PostgresLookup::OnLost(Slot* slot, std::vector<std::shared_ptr<PostgresChannel::Job>> jobs,
                            const std::string& error) {
  Note(error);
  for (auto job = jobs.rbegin(); job != jobs.rend(); ++job) {
    waiting_.push_front(std::static_pointer_cast<Question>(*job));
  }
  // The first time at once.
  slot->connect_at_us = g_get_monotonic_time() + slot->pause_us;
  slot->pause_us = std::clamp(slot->pause_us * 2, kFirstPauseUs, kLongestPauseUs);
  StartTicking();
  Dispatch();
}

void PostgresLookup::Note(const std::string& error) {
  if (!trouble_.empty()) return;
  trouble_ = error;
  report_("the database: " + error);
}

void PostgresLookup::StartTicking() {
  if (timer_ != 0) return;
  const auto tick = [](void* lookup) -> gboolean {
    auto* const self = static_cast<PostgresLookup*>(lookup);
    if (self->Tick()) return G_SOURCE_CONTINUE;
    self->timer_ = 0;
    return G_SOURCE_REMOVE;
  };
  timer_ = g_timeout_add(kTickMs, tick, this);
}

bool PostgresLookup::Tick() {
  const std::int64_t now_us = g_get_monotonic_time();
  while (!asked_.empty()) {
    const std::shared_ptr<Question> question = asked_.front().lock();
    if (question && question->done && question->deadline_us > now_us) break;
    asked_.pop_front();
    if (question) Finish(question.get(), std::nullopt);
  }
  bool is_all_ready = true;
  for (const std::unique_ptr<Slot>& slot : slots_) {
    if (!slot->is_wanted) continue;
    PostgresChannel* const channel = slot->channel.get();
    channel->CheckTime(now_us, std::int64_t{limits_.seconds} * G_USEC_PER_SEC);
    if (channel->state() == PostgresChannel::State::kClosed && slot->connect_at_us <= now_us) {
      slot->connect_at_us = G_MAXINT64;
      channel->Connect();
    }
    is_all_ready = is_all_ready && channel->state() == PostgresChannel::State::kReady;
  }
  Dispatch();
  return !is_all_ready || !asked_.empty();
}

}  // namespace kesu_server
