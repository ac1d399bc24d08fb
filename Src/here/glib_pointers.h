#ifndef HERE_GLIB_POINTERS_H_
#define HERE_GLIB_POINTERS_H_

#include <memory>

#include <gio/gio.h>

/// GLib's objects in C++: who owns them, and who is called back.
namespace kesu::here::detail {

struct Unref {
  void operator()(void* object) const { g_object_unref(object); }
  void operator()(GVariant* value) const { g_variant_unref(value); }
};

template <typename T>
using ObjectPointer = std::unique_ptr<T, Unref>;
using VariantPointer = std::unique_ptr<GVariant, Unref>;

struct ErrorFree {
  void operator()(GError* error) const { g_error_free(error); }
};
using ErrorPointer = std::unique_ptr<GError, ErrorFree>;

/// What GIO hands to a callback, for an object that may be gone by then.
template <typename T>
void* Asker(const std::shared_ptr<T>& self) {
  return new std::weak_ptr<T>(self);
}

/// To be called by that callback, once. Null where the object is gone.
template <typename T>
std::shared_ptr<T> TakeAsker(void* asker) {
  const std::unique_ptr<std::weak_ptr<T>> self(static_cast<std::weak_ptr<T>*>(asker));
  return self->lock();
}

/// A source of the default main context that goes with this.
class Timer {
 public:
  Timer() = default;
  Timer(const Timer&) = delete;
  Timer& operator=(const Timer&) = delete;
  ~Timer() { Stop(); }

  /// Calls `function` once, which may delete the timer.
  void Start(guint milliseconds, GSourceFunc function, void* data) {
    Stop();
    source_ = g_timeout_source_new(milliseconds);
    g_source_set_priority(source_, G_PRIORITY_DEFAULT);
    g_source_set_callback(source_, function, data, nullptr);
    g_source_attach(source_, nullptr);
  }

  void Stop() {
    if (source_ == nullptr) return;
    g_source_destroy(source_);
    g_source_unref(source_);
    source_ = nullptr;
  }

 private:
  GSource* source_ = nullptr;
};

}  // namespace kesu::here::detail

#endif  // HERE_GLIB_POINTERS_H_
