#ifndef SERVER_HTTP_DEADLINES_H_
#define SERVER_HTTP_DEADLINES_H_

#include <functional>
#include <set>
#include <utility>

#include <glib.h>

namespace kesu_server {

/// Calls back for whatever has not been done in time, on the default main context.
template <typename Item>
class Deadlines {
 public:
  /// `on_expired` is called once for each deadline that passes, which is not set any more then.
  explicit Deadlines(std::function<void(Item*)> on_expired) : on_expired_(std::move(on_expired)) {
    static GSourceFuncs functions = {nullptr, nullptr, Dispatch, nullptr, nullptr, nullptr};
    source_ = g_source_new(&functions, sizeof(Source));
    reinterpret_cast<Source*>(source_)->deadlines = this;
    g_source_attach(source_, nullptr);
  }
  Deadlines(const Deadlines&) = delete;
  Deadlines& operator=(const Deadlines&) = delete;
  ~Deadlines() {
    g_source_destroy(source_);
    g_source_unref(source_);
  }

  /// Replaces the deadline that `item` has in its member deadline_us, 0 standing for none.
  void Set(Item* item, unsigned seconds_from_now) {
    Clear(item);
    item->deadline_us = g_get_monotonic_time() + gint64{seconds_from_now} * G_USEC_PER_SEC;
    queue_.emplace(item->deadline_us, item);
    WakeForFirst();
  }
  void Clear(Item* item) {
    if (item->deadline_us == 0) return;
    queue_.erase({item->deadline_us, item});
    item->deadline_us = 0;
  }

 private:
  struct Source {
    GSource base;
    Deadlines* deadlines;
  };

  static gboolean Dispatch(GSource* source, GSourceFunc, void*) {
    reinterpret_cast<Source*>(source)->deadlines->Expire();
    return G_SOURCE_CONTINUE;
  }

  void Expire() {
    wake_us_ = -1;
    const gint64 now_us = g_get_monotonic_time();
    while (!queue_.empty() && queue_.begin()->first <= now_us) {
      Item* const item = queue_.begin()->second;
      Clear(item);
      on_expired_(item);
    }
    WakeForFirst();
  }

  /// Waking up too early is cheaper than setting the alarm with each deadline that is met.
  void WakeForFirst() {
    const gint64 first_us = queue_.empty() ? -1 : queue_.begin()->first;
    if (wake_us_ >= 0 && first_us >= wake_us_) return;
    wake_us_ = first_us;
    g_source_set_ready_time(source_, first_us);
  }

  std::function<void(Item*)> on_expired_;
  std::set<std::pair<gint64, Item*>> queue_;
  GSource* source_;
  /// When the source wakes up; -1 for never.
  gint64 wake_us_ = -1;
};

}  // namespace kesu_server

#endif  // SERVER_HTTP_DEADLINES_H_
