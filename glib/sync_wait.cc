#include "sync_wait.h"

#include <utility>

#include <unistd.h>

#include "cancel_watch.h"

namespace kesu_glib {
namespace {

/// How long this thread leaves the default main context to others before it looks again.
constexpr guint kLookMs = 10;

/// Makes the calling thread the owner of the default main context while it lives, and that the
/// thread's own default, unless another thread owns it.
class DefaultContextHold {
 public:
  DefaultContextHold() : is_held_(g_main_context_acquire(nullptr) != FALSE) {
    if (is_held_) g_main_context_push_thread_default(nullptr);
  }
  DefaultContextHold(const DefaultContextHold&) = delete;
  DefaultContextHold& operator=(const DefaultContextHold&) = delete;
  ~DefaultContextHold() {
    if (!is_held_) return;
    g_main_context_pop_thread_default(nullptr);
    g_main_context_release(nullptr);
  }

  bool is_held() const { return is_held_; }

 private:
  const bool is_held_;
};

/// On a main context of its own, which the task returns on.
class Wait {
 public:
  explicit Wait(GCancellable* cancellable)
      : own_(g_main_context_new()), cancellable_(cancellable) {}
  Wait(const Wait&) = delete;
  Wait& operator=(const Wait&) = delete;

  ObjectPointer<GAsyncResult> For(const std::function<void(GAsyncReadyCallback, gpointer)>& start) {
    g_main_context_push_thread_default(own_.get());
    start(OnReady, &result_);
    g_main_context_pop_thread_default(own_.get());
    while (!IsReady()) {
      if (!RunLoopIfFree()) LetOthersRunIt();
    }
    return std::move(result_);
  }

 private:
  static void OnReady(GObject*, GAsyncResult* result, gpointer place) {
    auto* const pointer = static_cast<ObjectPointer<GAsyncResult>*>(place);
    pointer->reset(G_ASYNC_RESULT(g_object_ref(result)));
  }

  bool IsReady() const {
    while (g_main_context_iteration(own_.get(), FALSE)) {
    }
    return result_ != nullptr;
  }

  /// Runs the default main context until the result is there, unless another thread runs it or may
  /// be about to: what is attached to it may be made for that thread. So it has to be free twice,
  /// except on the main thread, which runs it if anybody does.
  bool RunLoopIfFree() {
    const bool is_loop_thread =
        getpid() == gettid() || g_main_context_is_owner(g_main_context_default()) != FALSE;
    const DefaultContextHold hold;
    const bool was_free = std::exchange(is_free_, hold.is_held());
    if (!hold.is_held() || !(is_loop_thread || was_free)) return false;
    const CancelWatch alarm = NewAlarm();
    // Whoever ran it before may have left the result behind.
    while (!IsReady()) g_main_context_iteration(nullptr, TRUE);
    return true;
  }

  /// Ends an iteration of the default main context when the call is cancelled, which is noticed on
  /// this thread's own.
  CancelWatch NewAlarm() const {
    if (cancellable_ == nullptr) return {};
    const auto ring = [](GCancellable*, gpointer) { g_main_context_wakeup(nullptr); };
    return CancelWatch(cancellable_, G_CALLBACK(+ring), nullptr, nullptr);
  }

  void LetOthersRunIt() const {
    const SourcePointer look(g_timeout_source_new(kLookMs));
    g_source_set_callback(
        look.get(), [](gpointer) { return G_SOURCE_REMOVE; }, nullptr, nullptr);
    g_source_attach(look.get(), own_.get());
    g_main_context_iteration(own_.get(), TRUE);
  }

  const ContextPointer own_;
  GCancellable* const cancellable_;
  ObjectPointer<GAsyncResult> result_;
  bool is_free_ = false;
};

}  // namespace

ObjectPointer<GAsyncResult> WaitFor(
    GCancellable* cancellable,
    const std::function<void(GAsyncReadyCallback callback, gpointer user_data)>& start) {
  return Wait(cancellable).For(start);
}

}  // namespace kesu_glib
