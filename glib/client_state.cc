#include "client_state.h"

#include <utility>

namespace kesu_glib {
namespace {

using kesu::Counters;

/// Whoever is to notify, unless it is gone by then.
struct Notifier {
  explicit Notifier(KesuClient* object) { g_weak_ref_init(&owner, object); }
  Notifier(const Notifier&) = delete;
  Notifier& operator=(const Notifier&) = delete;
  ~Notifier() { g_weak_ref_clear(&owner); }

  GWeakRef owner;
};

}  // namespace

const std::vector<CounterProperty> kCounterProperties = {
    {"calls", "Calls that were made", [](const Counters& c) { return c.calls; }},
    {"successes", "Calls that were answered",
     [](const Counters& c) { return c.outcome(kesu::ErrorKind::kNone); }},
    {"cancellations", "Calls that were cancelled",
     [](const Counters& c) { return c.outcome(kesu::ErrorKind::kCancelled); }},
    {"cache-hits", "Questions answered from the cache",
     [](const Counters& c) { return c.cache_hits; }},
    {"requests", "Requests that were made", [](const Counters& c) { return c.requests; }},
    {"retries", "How often a request was sent again", [](const Counters& c) { return c.retries; }},
    {"waiting", "Requests that wait", [](const Counters& c) { return c.waiting; }},
    {"in-flight", "Requests that are in a POST", [](const Counters& c) { return c.in_flight; }},
    {"posts", "POSTs", [](const Counters& c) { return c.posts; }},
    {"bytes-out", "Bytes of bodies sent", [](const Counters& c) { return c.bytes_out; }},
    {"bytes-in", "Bytes of bodies received", [](const Counters& c) { return c.bytes_in; }},
};

kesu::Error ClosedError() {
  return {kesu::ErrorKind::kMisuse, "the client is closed"};
}

void ClientState::Open() {
  auto client = std::make_shared<kesu::Client>(options);
  const std::lock_guard lock(mutex_);
  client_ = std::move(client);
}

void ClientState::Close() {
  std::unique_lock lock(mutex_);
  const auto client = std::exchange(client_, nullptr);
  const auto last_location = std::exchange(last_location_, nullptr);
  // Both may end here, and tell others.
  lock.unlock();
}

std::shared_ptr<kesu::Client> ClientState::client() const {
  const std::lock_guard lock(mutex_);
  return client_;
}

std::string ClientState::platform_key() const {
  const auto open = client();
  return open == nullptr ? std::string() : open->platform_key();
}

void ClientState::set_platform_key(std::string key) {
  if (const auto open = client()) open->set_platform_key(std::move(key));
}

void ClientState::set_paused(bool is_paused) {
  std::unique_lock lock(mutex_);
  is_paused_ = is_paused;
  const auto client = client_;
  lock.unlock();
  if (client != nullptr) is_paused ? client->Pause() : client->Resume();
}

bool ClientState::is_paused() const {
  const std::lock_guard lock(mutex_);
  return is_paused_;
}

void ClientState::set_last_location(KesuLocation* location) {
  ObjectPointer<KesuLocation> last(KESU_LOCATION(g_object_ref(location)));
  const std::lock_guard lock(mutex_);
  if (client_ == nullptr) return;
  last_location_.swap(last);
  has_new_location_ = true;
}

ObjectPointer<KesuLocation> ClientState::last_location() const {
  const std::lock_guard lock(mutex_);
  if (last_location_ == nullptr) return nullptr;
  return ObjectPointer<KesuLocation>(KESU_LOCATION(g_object_ref(last_location_.get())));
}

void ClientState::NotifySoon(KesuClient* owner) {
  if (is_notifying_soon_.exchange(true)) return;
  GSource* const source = g_idle_source_new();
  g_source_set_priority(source, G_PRIORITY_DEFAULT);
  g_source_set_callback(source, Notify, new Notifier(owner),
                        [](gpointer notifier) { delete static_cast<Notifier*>(notifier); });
  g_source_attach(source, context_.get());
  g_source_unref(source);
}

gboolean ClientState::Notify(gpointer notifier) {
  GWeakRef* const owner = &static_cast<Notifier*>(notifier)->owner;
  const ObjectPointer<GObject> object(static_cast<GObject*>(g_weak_ref_get(owner)));
  if (object == nullptr) return G_SOURCE_REMOVE;
  g_object_freeze_notify(object.get());
  for (const char* name : StateOf(KESU_CLIENT(object.get())).TakeChanges()) {
    g_object_notify(object.get(), name);
  }
  g_object_thaw_notify(object.get());
  return G_SOURCE_REMOVE;
}

std::vector<const char*> ClientState::TakeChanges() {
  std::vector<const char*> changes;
  // What changes from now on is told of once more.
  is_notifying_soon_ = false;
  const std::lock_guard lock(mutex_);
  if (client_ == nullptr) return changes;
  const kesu::Counters counters = client_->counters();
  std::string platform_key = client_->platform_key();
  for (const CounterProperty& property : kCounterProperties) {
    if (property.read(counters) != property.read(notified_counters_)) {
      changes.push_back(property.name);
    }
  }
  if (platform_key != notified_platform_key_) changes.push_back("platform-key");
  if (std::exchange(has_new_location_, false)) changes.push_back("last-location");
  notified_counters_ = counters;
  notified_platform_key_ = std::move(platform_key);
  return changes;
}

}  // namespace kesu_glib
