#ifndef GLIB_TASK_CALL_H_
#define GLIB_TASK_CALL_H_

#include <functional>
#include <memory>
#include <mutex>

#include <gio/gio.h>

#include "client/client.h"

#include "cancel_watch.h"
#include "client_state.h"

namespace kesu_glib {

/// A call that a task stands for. The task returns once, on its own main context, where the call is
/// told its outcome and is cancelled. That context may be run by another thread than the one that
/// makes the call, and get ahead of it.
class TaskCall : public std::enable_shared_from_this<TaskCall> {
 public:
  /// Makes the call, whose callback holds `task` and ends with Succeed() or Fail().
  using Begin = kesu::Call(kesu::Client* client, const std::shared_ptr<TaskCall>& task);

  static void Start(ObjectPointer<GTask> task, const std::function<Begin>& begin);

  explicit TaskCall(ObjectPointer<GTask> task) : task_(std::move(task)) {}
  TaskCall(const TaskCall&) = delete;
  TaskCall& operator=(const TaskCall&) = delete;

  /// `last_location`, unless it is null, becomes the client's.
  void Succeed(gpointer answer, GDestroyNotify destroy, KesuLocation* last_location = nullptr);
  void Fail(GError* error);

 private:
  void Keep(kesu::Call call);
  void WatchCancellable();
  static void OnCancelled(GCancellable* cancellable, gpointer task_call);
  static void Release(gpointer task_call, GClosure* closure);
  void FailSoon();
  ObjectPointer<GTask> End();

  std::mutex mutex_;
  /// Null when it has returned.
  ObjectPointer<GTask> task_;
  kesu::Call call_;
  CancelWatch watch_;
};

}  // namespace kesu_glib

#endif  // GLIB_TASK_CALL_H_
