#ifndef GLIB_SYNC_WAIT_H_
#define GLIB_SYNC_WAIT_H_

#include <functional>

#include <gio/gio.h>

#include "client_state.h"

namespace kesu_glib {

/// Starts what is asynchronous with a callback and its data, and waits for its result, which comes
/// soon when `cancellable`, unless that is null, is cancelled. On any thread, whoever runs GLib's
/// default main context, on which the answer comes, or nobody.
ObjectPointer<GAsyncResult> WaitFor(
    GCancellable* cancellable,
    const std::function<void(GAsyncReadyCallback callback, gpointer user_data)>& start);

}  // namespace kesu_glib

#endif  // GLIB_SYNC_WAIT_H_
