#include "task_call.h"

#include <utility>

namespace kesu_glib {
namespace {

KesuClient* ClientOf(GTask* task) {
  return static_cast<KesuClient*>(g_task_get_source_object(task));
}

}  // namespace

void TaskCall::Start(ObjectPointer<GTask> task, const std::function<Begin>& begin) {
  if (g_task_return_error_if_cancelled(task.get())) return;
  const auto client = StateOf(ClientOf(task.get())).client();
  if (client == nullptr) {
    g_task_return_error(task.get(), NewError(ClosedError()));
    return;
  }
  const auto call =
      std::make_shared<TaskCall>(ObjectPointer<GTask>(G_TASK(g_object_ref(task.get()))));
  call->WatchCancellable();
  call->Keep(begin(client.get(), call));
  StateOf(ClientOf(task.get())).NotifySoon(ClientOf(task.get()));
}

void TaskCall::Keep(kesu::Call call) {
  const std::lock_guard lock(mutex_);
  if (task_ != nullptr) std::swap(call_, call);
}

void TaskCall::WatchCancellable() {
  GCancellable* const cancellable = g_task_get_cancellable(task_.get());
  if (cancellable == nullptr) return;
  CancelWatch watch(cancellable, G_CALLBACK(OnCancelled),
                    new std::shared_ptr<TaskCall>(shared_from_this()), Release);
  {
    // It may have ended already.
    const std::lock_guard lock(mutex_);
    if (task_ != nullptr) watch_ = std::move(watch);
  }
  if (g_cancellable_is_cancelled(cancellable)) FailSoon();
}

void TaskCall::OnCancelled(GCancellable*, gpointer task_call) {
  (*static_cast<std::shared_ptr<TaskCall>*>(task_call))->FailSoon();
}

void TaskCall::Release(gpointer task_call, GClosure*) {
  delete static_cast<std::shared_ptr<TaskCall>*>(task_call);
}

/// On whatever thread somebody cancels: the call ends where its task returns.
void TaskCall::FailSoon() {
  const std::lock_guard lock(mutex_);
  if (task_ == nullptr) return;
  const auto fail = [](gpointer task_call) {
    (*static_cast<std::shared_ptr<TaskCall>*>(task_call))
        ->Fail(g_error_new_literal(G_IO_ERROR, G_IO_ERROR_CANCELLED, "the call was cancelled"));
    return G_SOURCE_REMOVE;
  };
  GSource* const source = g_idle_source_new();
  g_source_set_priority(source, G_PRIORITY_DEFAULT);
  g_source_set_callback(source, fail, new std::shared_ptr<TaskCall>(shared_from_this()),
                        [](gpointer task_call) { Release(task_call, nullptr); });
  g_source_attach(source, g_task_get_context(task_.get()));
  g_source_unref(source);
}

void TaskCall::Succeed(gpointer answer, GDestroyNotify destroy, KesuLocation* last_location) {
  if (const auto task = End()) {
    if (last_location != nullptr) StateOf(ClientOf(task.get())).set_last_location(last_location);
    g_task_return_pointer(task.get(), answer, destroy);
  } else {
    destroy(answer);
  }
}

void TaskCall::Fail(GError* error) {
  if (const auto task = End()) {
    g_task_return_error(task.get(), error);
  } else {
    g_error_free(error);
  }
}

/// The task, for whoever ends the call; null for those who come later.
ObjectPointer<GTask> TaskCall::End() {
  std::unique_lock lock(mutex_);
  auto task = std::move(task_);
  kesu::Call call = std::move(call_);
  const CancelWatch watch = std::move(watch_);
  lock.unlock();
  call.Cancel();
  if (task != nullptr) StateOf(ClientOf(task.get())).NotifySoon(ClientOf(task.get()));
  return task;
}

}  // namespace kesu_glib
