#include "client/loop.h"

#include <atomic>

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

std::recursive_mutex& Moments() {
  static std::recursive_mutex mutex;
  return mutex;
}

}  // namespace

void PostTo(GMainContext* context, std::function<void()> action) {
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
