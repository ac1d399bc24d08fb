// The calls of a KesuClient.

#include <algorithm>
#include <utility>
#include <vector>

#include "client_state.h"
#include "conversions.h"
#include "kesu-client.h"
#include "sync_wait.h"
#include "task_call.h"

namespace {

using kesu_glib::NewError;
using kesu_glib::ObjectPointer;
using kesu_glib::TaskCall;
using kesu_glib::WaitFor;
using TaskPointer = std::shared_ptr<TaskCall>;

/// `tag` is the function that makes the call.
void StartCall(KesuClient* client, gpointer tag, GCancellable* cancellable,
               GAsyncReadyCallback callback, gpointer user_data,
               const std::function<TaskCall::Begin>& begin) {
  ObjectPointer<GTask> task(g_task_new(client, cancellable, callback, user_data));
  g_task_set_source_tag(task.get(), tag);
  TaskCall::Start(std::move(task), begin);
}

bool IsResultOf(GAsyncResult* result, KesuClient* client, gpointer tag) {
  return g_task_is_valid(result, client) && g_async_result_is_tagged(result, tag);
}

template <typename Answer>
Answer* TakeAnswer(GAsyncResult* result, GError** error) {
  return static_cast<Answer*>(g_task_propagate_pointer(G_TASK(result), error));
}

/// Why the service answered for none of the points; null where it did.
GError* ErrorOf(const std::vector<kesu::ReverseResult>& places) {
  const kesu::Error* error = nullptr;
  for (const kesu::ReverseResult& place : places) {
    const kesu::ErrorKind kind = place.error().kind;
    if (place || kind == kesu::ErrorKind::kNotFound) return nullptr;
    // Points that are not on earth do not say why the others have no answer.
    if (error == nullptr || error->kind == kesu::ErrorKind::kMisuse) error = &place.error();
  }
  return error == nullptr ? nullptr : NewError(*error);
}

GPtrArray* NewPlaces(const std::vector<kesu::ReverseResult>& places) {
  GPtrArray* array = g_ptr_array_new_with_free_func(g_object_unref);
  for (const kesu::ReverseResult& place : places)
    g_ptr_array_add(array, kesu_glib::NewPlace(place));
  return array;
}

void DestroyArray(gpointer array) {
  g_ptr_array_unref(static_cast<GPtrArray*>(array));
}

bool IsCancellable(GCancellable* cancellable) {
  return cancellable == nullptr || G_IS_CANCELLABLE(cancellable);
}

bool ArePoints(KesuPoint** points, gsize n_points) {
  if (points == nullptr) return n_points == 0;
  return std::all_of(points, points + n_points, [](KesuPoint* p) { return KESU_IS_POINT(p); });
}

// What tells the results of one kind of call from those of another.
void* const kLocateTag = reinterpret_cast<void*>(&kesu_client_locate_async);
void* const kReverseTag = reinterpret_cast<void*>(&kesu_client_reverse_async);
void* const kReverseManyTag = reinterpret_cast<void*>(&kesu_client_reverse_many_async);

}  // namespace

void kesu_client_locate_async(KesuClient* self, KesuObservation* observation,
                              GCancellable* cancellable, GAsyncReadyCallback callback,
                              gpointer user_data) {
  g_return_if_fail(KESU_IS_CLIENT(self));
  g_return_if_fail(KESU_IS_OBSERVATION(observation));
  g_return_if_fail(IsCancellable(cancellable));
  const auto begin = [observation](kesu::Client* client, const TaskPointer& task) {
    return client->Locate(
        kesu_glib::ContentOf(observation), [task](const kesu::LocateResult& where) {
          if (!where) return task->Fail(NewError(where.error()));
          KesuLocation* const location = kesu_glib::NewLocation(*where);
          task->Succeed(location, g_object_unref, where->is_from_cache ? nullptr : location);
        });
  };
  StartCall(self, kLocateTag, cancellable, callback, user_data, begin);
}

KesuLocation* kesu_client_locate_finish(KesuClient* self, GAsyncResult* result, GError** error) {
  g_return_val_if_fail(IsResultOf(result, self, kLocateTag), nullptr);
  g_return_val_if_fail(error == nullptr || *error == nullptr, nullptr);
  return TakeAnswer<KesuLocation>(result, error);
}

KesuLocation* kesu_client_locate(KesuClient* self, KesuObservation* observation,
                                 GCancellable* cancellable, GError** error) {
  g_return_val_if_fail(KESU_IS_CLIENT(self), nullptr);
  g_return_val_if_fail(KESU_IS_OBSERVATION(observation), nullptr);
  g_return_val_if_fail(IsCancellable(cancellable), nullptr);
  g_return_val_if_fail(error == nullptr || *error == nullptr, nullptr);
  const auto result = WaitFor(cancellable, [&](GAsyncReadyCallback callback, gpointer user_data) {
    kesu_client_locate_async(self, observation, cancellable, callback, user_data);
  });
  return kesu_client_locate_finish(self, result.get(), error);
}

void kesu_client_reverse_async(KesuClient* self, gdouble latitude, gdouble longitude,
                               GCancellable* cancellable, GAsyncReadyCallback callback,
                               gpointer user_data) {
  g_return_if_fail(KESU_IS_CLIENT(self));
  g_return_if_fail(IsCancellable(cancellable));
  const auto begin = [latitude, longitude](kesu::Client* client, const TaskPointer& task) {
    const auto on_place = [task](const kesu::ReverseResult& place) {
      if (!place) return task->Fail(NewError(place.error()));
      task->Succeed(kesu_glib::NewPlace(place), g_object_unref);
    };
    return client->Reverse({latitude, longitude}, on_place);
  };
  StartCall(self, kReverseTag, cancellable, callback, user_data, begin);
}

KesuPlace* kesu_client_reverse_finish(KesuClient* self, GAsyncResult* result, GError** error) {
  g_return_val_if_fail(IsResultOf(result, self, kReverseTag), nullptr);
  g_return_val_if_fail(error == nullptr || *error == nullptr, nullptr);
  return TakeAnswer<KesuPlace>(result, error);
}

KesuPlace* kesu_client_reverse(KesuClient* self, gdouble latitude, gdouble longitude,
                               GCancellable* cancellable, GError** error) {
  g_return_val_if_fail(KESU_IS_CLIENT(self), nullptr);
  g_return_val_if_fail(IsCancellable(cancellable), nullptr);
  g_return_val_if_fail(error == nullptr || *error == nullptr, nullptr);
  const auto result = WaitFor(cancellable, [&](GAsyncReadyCallback callback, gpointer user_data) {
    kesu_client_reverse_async(self, latitude, longitude, cancellable, callback, user_data);
  });
  return kesu_client_reverse_finish(self, result.get(), error);
}

void kesu_client_reverse_many_async(KesuClient* self, KesuPoint** points, gsize n_points,
                                    GCancellable* cancellable, GAsyncReadyCallback callback,
                                    gpointer user_data) {
  g_return_if_fail(KESU_IS_CLIENT(self));
  g_return_if_fail(ArePoints(points, n_points));
  g_return_if_fail(IsCancellable(cancellable));
  std::vector<kesu::Point> copy;
  for (gsize i = 0; i < n_points; ++i) copy.push_back(kesu_glib::ContentOf(points[i]));
  const auto begin = [&copy](kesu::Client* client, const TaskPointer& task) {
    return client->Reverse(copy, [task](const std::vector<kesu::ReverseResult>& places) {
      if (GError* error = ErrorOf(places)) return task->Fail(error);
      task->Succeed(NewPlaces(places), DestroyArray);
    });
  };
  StartCall(self, kReverseManyTag, cancellable, callback, user_data, begin);
}

GPtrArray* kesu_client_reverse_many_finish(KesuClient* self, GAsyncResult* result, GError** error) {
  g_return_val_if_fail(IsResultOf(result, self, kReverseManyTag), nullptr);
  g_return_val_if_fail(error == nullptr || *error == nullptr, nullptr);
  return TakeAnswer<GPtrArray>(result, error);
}

GPtrArray* kesu_client_reverse_many(KesuClient* self, KesuPoint** points, gsize n_points,
                                    GCancellable* cancellable, GError** error) {
  g_return_val_if_fail(KESU_IS_CLIENT(self), nullptr);
  g_return_val_if_fail(ArePoints(points, n_points), nullptr);
  g_return_val_if_fail(IsCancellable(cancellable), nullptr);
  g_return_val_if_fail(error == nullptr || *error == nullptr, nullptr);
  const auto result = WaitFor(cancellable, [&](GAsyncReadyCallback callback, gpointer user_data) {
    kesu_client_reverse_many_async(self, points, n_points, cancellable, callback, user_data);
  });
  return kesu_client_reverse_many_finish(self, result.get(), error);
}
