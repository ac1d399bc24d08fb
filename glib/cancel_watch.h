#ifndef GLIB_CANCEL_WATCH_H_
#define GLIB_CANCEL_WATCH_H_

#include <utility>

#include <gio/gio.h>

namespace kesu_glib {

/// Has a function called, on whatever thread, when a cancellable is cancelled while this lives, or
/// just has. In place of GLib's source for it, which is lost when it is destroyed during a
/// cancellation by another thread, and of g_cancellable_disconnect(), which waits for that.
class CancelWatch {
 public:
  CancelWatch() = default;
  /// `data` is released when it is not needed any more.
  CancelWatch(GCancellable* cancellable, GCallback on_cancelled, gpointer data,
              GClosureNotify release)
      : cancellable_(G_CANCELLABLE(g_object_ref(cancellable))),
        handler_(g_signal_connect_data(cancellable, "cancelled", on_cancelled, data, release,
                                       GConnectFlags{})) {}
  CancelWatch(CancelWatch&& other) noexcept
      : cancellable_(std::exchange(other.cancellable_, nullptr)), handler_(other.handler_) {}
  CancelWatch& operator=(CancelWatch&& other) noexcept {
    std::swap(cancellable_, other.cancellable_);
    std::swap(handler_, other.handler_);
    return *this;
  }
  ~CancelWatch() {
    if (cancellable_ == nullptr) return;
    g_signal_handler_disconnect(cancellable_, handler_);
    g_object_unref(cancellable_);
  }

 private:
  GCancellable* cancellable_ = nullptr;
  gulong handler_ = 0;
};

}  // namespace kesu_glib

#endif  // GLIB_CANCEL_WATCH_H_
