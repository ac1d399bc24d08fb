#ifndef CLIENT_LOOP_H_
#define CLIENT_LOOP_H_

#include <functional>
#include <memory>
#include <mutex>
#include <utility>

#include <glib.h>

/// On which thread things are done. The engine belongs to whoever owns GLib's default main context.
namespace kesu::detail {

struct ContextUnref {
  void operator()(GMainContext* context) const { g_main_context_unref(context); }
};
using ContextPointer = std::unique_ptr<GMainContext, ContextUnref>;

/// The one that is the default of the calling thread.
inline ContextPointer CallersContext() {
  return ContextPointer(g_main_context_ref_thread_default());
}

/// Runs `action` in an iteration of `context`, in the order of the calls. An action that throws
/// ends the process.
void PostTo(GMainContext* context, std::function<void()> action);

/// Makes the calling thread the owner of the default main context while it lives, and that the
/// thread's own default, unless another thread runs it. One that only holds it for a moment is
/// waited for: no loop would do what was posted then.
class LoopHold {
 public:
  LoopHold();
  LoopHold(const LoopHold&) = delete;
  LoopHold& operator=(const LoopHold&) = delete;
  ~LoopHold();

  bool is_held() const { return is_held_; }
  /// From now on, others need not wait for the end of this.
  void BecomeLong() {
    if (moment_.owns_lock()) moment_.unlock();
  }

 private:
  std::unique_lock<std::recursive_mutex> moment_;
  const bool is_held_;
  bool is_pushed_ = false;
};

/// Runs `action` with the default main context owned: at once, or where another thread owns it,
/// there.
template <typename Action>
void RunOnLoop(Action&& action) {
  const LoopHold hold;
  if (hold.is_held()) {
    action();
  } else {
    PostTo(nullptr, std::forward<Action>(action));
  }
}

}  // namespace kesu::detail

#endif  // CLIENT_LOOP_H_
