#include "client/loop.h"

#include <atomic>
#include <deque>
#include <utility>

namespace kesu::detail {
namespace {

struct Posted {
  std::function<void()> action;
  /// Orders what was done before the posting before what the action does. GLib's lock does so too,
  /// where tools that look for races do not see it.
  std::atomic<bool> is_ready = false;
};

gboolean Run(void* data) noexcept {
  auto* posted = static_cast<Posted*>(data);
  if (posted->is_ready.load(std::memory_order_acquire)) posted->action();
  return G_SOURCE_REMOVE;
}

void Delete(void* data) {
  auto* posted = static_cast<Posted*>(data);
  static_cast<void>(posted->is_ready.load(std::memory_order_acquire));
  delete posted;
}

/// What waits for the default main context. All of it shares a source: making one, and its part in
/// an iteration of the loop, take more than most of the actions.
class Outbox {
 public:
  void Add(std::function<void()> action) {
    const std::lock_guard lock(mutex_);
    actions_.push_back(std::move(action));
    if (std::exchange(has_source_, true)) return;
    GSource* source = g_idle_source_new();
    g_source_set_priority(source, G_PRIORITY_DEFAULT);
    // An action may run the loop, which does what is left.
    g_source_set_can_recurse(source, TRUE);
    g_source_set_callback(source, &Outbox::Run, this, nullptr);
    g_source_attach(source, nullptr);
    g_source_unref(source);
  }

 private:
  static gboolean Run(void* self) noexcept { return static_cast<Outbox*>(self)->DoAll(); }

  /// What is added from inside is for the next iteration.
  gboolean DoAll() {
    std::unique_lock lock(mutex_);
    for (const auto end = taken_ + actions_.size(); taken_ < end && !actions_.empty();) {
      {
        // What goes with it may add another.
        const std::function<void()> action = std::move(actions_.front());
        actions_.pop_front();
        ++taken_;
        lock.unlock();
        action();
      }
      lock.lock();
    }
    has_source_ = !actions_.empty();
    return has_source_ ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
  }

  std::mutex mutex_;
  std::deque<std::function<void()>> actions_;
  /// How many have been done.
  unsigned long long taken_ = 0;
  bool has_source_ = false;
};

std::recursive_mutex& Moments() {
  static std::recursive_mutex mutex;
  return mutex;
}

}  // namespace

void PostTo(GMainContext* context, std::function<void()> action) {
  if (context == nullptr || context == g_main_context_default()) {
    // It stays: what it still holds when the process ends is nobody's to destroy.
    static Outbox& outbox = *new Outbox;
    return outbox.Add(std::move(action));
  }
  auto* posted = new Posted{std::move(action)};
  GSource* source = g_idle_source_new();
  g_source_set_priority(source, G_PRIORITY_DEFAULT);
  g_source_set_callback(source, Run, posted, Delete);
  posted->is_ready.store(true, std::memory_order_release);
  g_source_attach(source, context);
  g_source_unref(source);
}

LoopHold::LoopHold() : moment_(Moments()), is_held_(g_main_context_acquire(nullptr) != FALSE) {
  if (!is_held_) moment_.unlock();
  is_pushed_ = is_held_ && g_main_context_get_thread_default() != nullptr;
  if (is_pushed_) g_main_context_push_thread_default(nullptr);
}

LoopHold::~LoopHold() {
  if (is_pushed_) g_main_context_pop_thread_default(nullptr);
  if (is_held_) g_main_context_release(nullptr);
}

}  // namespace kesu::detail
