#ifndef GLIB_CLIENT_STATE_H_
#define GLIB_CLIENT_STATE_H_

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <glib-object.h>

#include "client/client.h"

#include "conversions.h"
#include "kesu-client.h"

namespace kesu_glib {

struct ObjectUnref {
  void operator()(void* object) const { g_object_unref(object); }
};
template <typename Object>
using ObjectPointer = std::unique_ptr<Object, ObjectUnref>;

struct ContextUnref {
  void operator()(GMainContext* context) const { g_main_context_unref(context); }
};
using ContextPointer = std::unique_ptr<GMainContext, ContextUnref>;

struct SourceDestroy {
  void operator()(GSource* source) const {
    g_source_destroy(source);
    g_source_unref(source);
  }
};
using SourcePointer = std::unique_ptr<GSource, SourceDestroy>;

/// A counter of the clients, as a property.
struct CounterProperty {
  const char* name;
  const char* description;
  std::uint64_t (*read)(const kesu::Counters& counters);
};
extern const std::vector<CounterProperty> kCounterProperties;

/// What a KesuClient consists of. For any thread, but for `options` while it is under construction.
class ClientState {
 public:
  ClientState() : context_(g_main_context_ref_thread_default()) {}
  ClientState(const ClientState&) = delete;
  ClientState& operator=(const ClientState&) = delete;

  /// Settled when the client opens.
  kesu::Options options;

  void Open();
  /// The calls that are under way end as cancelled.
  void Close();
  /// Null when it is closed. To be let go of soon: a client lives as long as somebody has it.
  std::shared_ptr<kesu::Client> client() const;

  std::string platform_key() const;
  void set_platform_key(std::string key);

  void set_paused(bool is_paused);
  bool is_paused() const;

  void set_last_location(KesuLocation* location);
  ObjectPointer<KesuLocation> last_location() const;

  /// Has `owner` notify soon, on the main context of its construction, of the properties that have
  /// changed by themselves.
  void NotifySoon(KesuClient* owner);

 private:
  static gboolean Notify(gpointer notifier);
  /// Starts afresh; returns the names of what has changed since the last time.
  std::vector<const char*> TakeChanges();

  const ContextPointer context_;
  mutable std::mutex mutex_;
  std::shared_ptr<kesu::Client> client_;
  ObjectPointer<KesuLocation> last_location_;
  bool is_paused_ = false;
  std::atomic<bool> is_notifying_soon_ = false;
  /// As they were notified last.
  kesu::Counters notified_counters_;
  std::string notified_platform_key_;
  bool has_new_location_ = false;
};

/// What a client that is closed says.
kesu::Error ClosedError();

/// That of a client.
ClientState& StateOf(KesuClient* client);

}  // namespace kesu_glib

#endif  // GLIB_CLIENT_STATE_H_
