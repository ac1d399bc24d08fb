#include "dovi/deferred_request_source.h"

#include <algorithm>

namespace {

using common_base::kTicksPerMillisecond;

struct QueueSource {
  GSource source;
  common_base::SimpleRequestQueue* queue;
  const common_base::ClockInterface* clock;
};

/// What GLib takes for a source that has no time-out.
constexpr gint kForever = -1;

/// Milliseconds until the next request is due, rounded up so that the loop does not wake too early.
gint MillisecondsToWait(const QueueSource& source) {
  if (!source.queue->HasPendingRequests()) return kForever;
  const long long ticks = source.queue->TimeOfNextRequest() - source.clock->TickCount();
  const long long milliseconds = ticks / kTicksPerMillisecond + (ticks % kTicksPerMillisecond > 0);
  return static_cast<gint>(std::clamp<long long>(milliseconds, 0, G_MAXINT));
}

gboolean Prepare(GSource* source, gint* timeout) {
  *timeout = MillisecondsToWait(*reinterpret_cast<QueueSource*>(source));
  return *timeout == 0;
}

gboolean Check(GSource* source) {
  gint timeout = kForever;
  return Prepare(source, &timeout);
}

/// A request may destroy the DeferredRequestSource, and it may run the main loop, so that this is
/// entered again from inside it. GLib keeps the source itself until the last of them returns.
gboolean Dispatch(GSource* source, GSourceFunc, gpointer) {
  reinterpret_cast<QueueSource*>(source)->queue->StartDeferredRequests();
  return G_SOURCE_CONTINUE;
}

GSourceFuncs queue_source_functions = {Prepare, Check, Dispatch, nullptr, nullptr, nullptr};

}  // namespace

DeferredRequestSource::DeferredRequestSource(common_base::SimpleRequestQueue* queue,
                                             const common_base::ClockInterface* clock)
    : source_(g_source_new(&queue_source_functions, sizeof(QueueSource))) {
  auto* queue_source = reinterpret_cast<QueueSource*>(source_);
  queue_source->queue = queue;
  queue_source->clock = clock;
  g_source_set_can_recurse(source_, TRUE);
  g_source_attach(source_, g_main_context_get_thread_default());
}

DeferredRequestSource::~DeferredRequestSource() {
  g_source_destroy(source_);
  g_source_unref(source_);
}
