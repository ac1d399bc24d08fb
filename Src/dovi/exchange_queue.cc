#include "dovi/exchange_queue.h"

#include <algorithm>
#include <limits>

#include <glib.h>

#include "dovi/deployment_settings.h"
#include "dovi/glibcurl.h"

namespace {

/// Well above what a service nearby takes to answer, and well below the way to one far off.
constexpr long long kPatience = 10 * G_TIME_SPAN_MILLISECOND;
constexpr long long kNever = std::numeric_limits<long long>::max();
/// What GLib takes for a source that has no time-out.
constexpr gint kForever = -1;

struct TurnSource {
  GSource source;
  void (*give_turns)();
};

GSource* turn_source = nullptr;

}  // namespace

QueuedExchange::List QueuedExchange::running_;
QueuedExchange::List QueuedExchange::waiting_;

bool QueuedExchange::MayBegin(long long now) {
  const int first_connections = GetDoviDeploymentSettings().first_connections;
  if (running_.length < static_cast<unsigned>(first_connections)) return true;
  if (running_.length >= kGlibcurlMaxConnections) return false;
  return now - running_.first->since_ >= kPatience || running_.length < glibcurl_connection_count();
}

/// kNever while nobody waits.
long long QueuedExchange::TimeOfNextTurn(long long now) {
  if (waiting_.length == 0) return kNever;
  if (MayBegin(now)) return now;
  const long long deadline = waiting_.first->deadline_;
  if (running_.length >= kGlibcurlMaxConnections) return deadline;
  return std::min(deadline, running_.first->since_ + kPatience);
}

/// Rounded up, so that the loop does not wake too early.
int QueuedExchange::MillisecondsToNextTurn() {
  const long long now = g_get_monotonic_time();
  const long long time = TimeOfNextTurn(now);
  if (time == kNever) return kForever;
  const long long milliseconds =
      (time - now + G_TIME_SPAN_MILLISECOND - 1) / G_TIME_SPAN_MILLISECOND;
  return static_cast<int>(std::clamp<long long>(milliseconds, 0, G_MAXINT));
}

void QueuedExchange::Join(List* list, long long now) {
  LeaveQueue();
  list_ = list;
  since_ = now;
  previous_ = list->last;
  next_ = nullptr;
  (previous_ == nullptr ? list->first : previous_->next_) = this;
  list->last = this;
  ++list->length;
}

void QueuedExchange::LeaveQueue() {
  if (list_ == nullptr) return;
  (previous_ == nullptr ? list_->first : previous_->next_) = next_;
  (next_ == nullptr ? list_->last : next_->previous_) = previous_;
  --list_->length;
  list_ = nullptr;
}

bool QueuedExchange::EnterQueue(int max_wait_ms) {
  const long long now = g_get_monotonic_time();
  const bool may_begin = waiting_.length == 0 && MayBegin(now);
  deadline_ = max_wait_ms == 0 ? kNever : now + max_wait_ms * G_TIME_SPAN_MILLISECOND;
  Join(may_begin ? &running_ : &waiting_, now);
  return may_begin;
}

void QueuedExchange::GiveTurns() {
  while (waiting_.length > 0) {
    const long long now = g_get_monotonic_time();
    if (TimeOfNextTurn(now) > now) return;
    QueuedExchange* const first = waiting_.first;
    const long long waited = now - first->since_;
    first->Join(&running_, now);
    first->OnTurn(static_cast<int>(waited / G_TIME_SPAN_MILLISECOND));
  }
}

void QueuedExchange::Open(void (*give_turns)()) {
  static const auto prepare = [](GSource*, gint* timeout) -> gboolean {
    *timeout = MillisecondsToNextTurn();
    return *timeout == 0;
  };
  static const auto check = [](GSource*) -> gboolean { return MillisecondsToNextTurn() == 0; };
  static const auto dispatch = [](GSource* source, GSourceFunc, gpointer) -> gboolean {
    reinterpret_cast<TurnSource*>(source)->give_turns();
    return G_SOURCE_CONTINUE;
  };
  static GSourceFuncs functions = {prepare, check, dispatch, nullptr, nullptr, nullptr};
  turn_source = g_source_new(&functions, sizeof(TurnSource));
  reinterpret_cast<TurnSource*>(turn_source)->give_turns = give_turns;
  g_source_set_priority(turn_source, kGlibcurlPriority);
  // A requester that is told may run the loop.
  g_source_set_can_recurse(turn_source, TRUE);
  g_source_attach(turn_source, nullptr);
}

void QueuedExchange::Close() {
  g_source_destroy(turn_source);
  g_source_unref(turn_source);
  turn_source = nullptr;
}
