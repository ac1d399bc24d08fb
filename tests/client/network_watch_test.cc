// What GLib's network monitor tells a client, by a monitor of our own.
#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include <doctest/doctest.h>
#include <gio/gio.h>

#include "client/client.h"

namespace {

/// What the monitor says.
struct MonitorState {
  bool is_available = false;
  bool can_reach = false;
  int questions = 0;
  /// Those for the way to a host that are not answered yet, and what was true when they were asked.
  std::vector<std::pair<GTask*, bool>> open = {};
};
MonitorState state;

struct StubMonitor {
  GObject parent;
};
struct StubMonitorClass {
  GObjectClass parent;
};

enum Property { kAvailable = 1, kMetered, kConnectivity };

gboolean StartNothing(GInitable*, GCancellable*, GError**) {
  return TRUE;
}
void CanReachAsync(GNetworkMonitor* monitor, GSocketConnectable*, GCancellable* cancellable,
                   GAsyncReadyCallback callback, gpointer data) {
  ++state.questions;
  state.open.emplace_back(g_task_new(monitor, cancellable, callback, data), state.can_reach);
}
gboolean CanReachFinish(GNetworkMonitor*, GAsyncResult* result, GError** error) {
  return g_task_propagate_boolean(G_TASK(result), error);
}
void GetProperty(GObject*, guint id, GValue* value, GParamSpec*) {
  if (id == kAvailable) g_value_set_boolean(value, state.is_available);
}

GNetworkMonitor* Monitor() {
  static const bool is_registered = [] {
    const GTypeInfo info = {
        .class_size = sizeof(StubMonitorClass),
        .base_init = nullptr,
        .base_finalize = nullptr,
        .class_init =
            [](gpointer klass, gpointer) {
              G_OBJECT_CLASS(klass)->get_property = GetProperty;
              g_object_class_override_property(G_OBJECT_CLASS(klass), kAvailable,
                                               "network-available");
              g_object_class_override_property(G_OBJECT_CLASS(klass), kMetered, "network-metered");
              g_object_class_override_property(G_OBJECT_CLASS(klass), kConnectivity,
                                               "connectivity");
            },
        .class_finalize = nullptr,
        .class_data = nullptr,
        .instance_size = sizeof(StubMonitor),
        .n_preallocs = 0,
        .instance_init = nullptr,
        .value_table = nullptr,
    };
    const GType type = g_type_register_static(G_TYPE_OBJECT, "StubMonitor", &info, GTypeFlags{});
    const GInterfaceInfo initable = {
        [](gpointer iface, gpointer) { static_cast<GInitableIface*>(iface)->init = StartNothing; },
        nullptr, nullptr};
    const GInterfaceInfo monitor = {[](gpointer iface, gpointer) {
                                      auto* calls = static_cast<GNetworkMonitorInterface*>(iface);
                                      calls->can_reach_async = CanReachAsync;
                                      calls->can_reach_finish = CanReachFinish;
                                    },
                                    nullptr, nullptr};
    g_type_add_interface_static(type, G_TYPE_INITABLE, &initable);
    g_type_add_interface_static(type, G_TYPE_NETWORK_MONITOR, &monitor);
    g_io_extension_point_register(G_NETWORK_MONITOR_EXTENSION_POINT_NAME);
    // GLib takes the one of the highest priority.
    g_io_extension_point_implement(G_NETWORK_MONITOR_EXTENSION_POINT_NAME, type, "stub", 1000);
    return true;
  }();
  CHECK(is_registered);
  return g_network_monitor_get_default();
}

void Change(bool is_available, bool can_reach) {
  state.is_available = is_available;
  state.can_reach = can_reach;
  g_signal_emit_by_name(Monitor(), "network-changed", is_available ? TRUE : FALSE);
}

/// Until nothing is left to do at this moment. Of several questions the last is answered first.
void Iterate() {
  while (g_main_context_iteration(nullptr, FALSE) || !state.open.empty()) {
    if (state.open.empty()) continue;
    const auto [task, can_reach] = state.open.back();
    state.open.pop_back();
    g_task_return_boolean(task, can_reach ? TRUE : FALSE);
    g_object_unref(task);
  }
}

/// A call that is sent when it may be, and then ends at once, since nobody listens there.
struct Asking {
  explicit Asking(kesu::Client* client)
      : call(client->Locate({.cells = {{.mcc = 1, .mnc = 1, .area = 1, .cell = 7}}},
                            [this](const auto& answer) { error = answer.error().message; })) {}

  /// Whether it was sent: waits for the end that it then has.
  bool IsSent() const {
    const gint64 deadline_us = g_get_monotonic_time() + 10 * gint64{G_USEC_PER_SEC};
    while (error.empty() && g_get_monotonic_time() < deadline_us) {
      Iterate();
      g_usleep(100);
    }
    return error.find("refused") != std::string::npos;
  }

  std::string error;
  kesu::Call call;
};

}  // namespace

TEST_CASE("a client waits for a way to its server, as the network monitor tells of one") {
  REQUIRE(G_OBJECT_TYPE_NAME(Monitor()) == std::string("StubMonitor"));
  using std::chrono::milliseconds;
  const kesu::Options elsewhere = {.server = "http://0.0.0.0:1", .batch_wait = milliseconds(0)};
  struct Row {
    const char* what;
    bool is_available;
    bool can_reach;
    int questions;
    bool is_sent;
  };
  const Row rows[] = {
      {"no default route, and no other", false, false, 1, false},
      {"a route to the server alone", false, true, 1, true},
      {"a default route is believed", true, false, 0, true},
  };
  for (const Row& row : rows) {
    CAPTURE(std::string(row.what));
    state.is_available = row.is_available;
    state.can_reach = row.can_reach;
    state.questions = 0;
    kesu::Client client(elsewhere);
    Iterate();
    CHECK(state.questions == row.questions);
    Asking asking(&client);
    Iterate();
    CHECK(client.counters().waiting == (row.is_sent ? 0U : 1U));
    if (row.is_sent) CHECK(asking.IsSent());
    Change(false, false);
    Iterate();
    Asking later(&client);
    Iterate();
    CHECK(client.counters().waiting == (row.is_sent ? 1U : 2U));
    // The way is there before the monitor has answered that it is gone.
    Change(false, false);
    while (g_main_context_iteration(nullptr, FALSE)) {
    }
    Change(false, true);
    CHECK((later.IsSent() && asking.IsSent()));
    CHECK(Asking(&client).IsSent());
    // A question is open when the client goes, and answered later.
    Change(false, false);
    while (g_main_context_iteration(nullptr, FALSE)) {
    }
    CHECK(state.open.size() == 1);
  }
  Iterate();
}

TEST_CASE("who does not want to wait, or asks this machine, is not kept from it") {
  Monitor();
  struct Row {
    const char* server;
    bool pause;
    bool reconnect;
    int questions;
  };
  const Row rows[] = {{"http://0.0.0.0:1", true, false, 1},   {"http://0.0.0.0:1", false, true, 1},
                      {"http://0.0.0.0:1", false, false, 0},  {"http://127.0.0.1:1", true, true, 0},
                      {"http://[::1]:1", true, true, 0},      {"http://localhost:1", true, true, 0},
                      {"http://a.localhost:1", true, true, 0}};
  for (const Row& row : rows) {
    CAPTURE(std::string(row.server));
    state = {};
    kesu::Client client({.server = row.server,
                         .batch_wait = std::chrono::milliseconds(0),
                         .pause_without_network = row.pause,
                         .reconnect_on_network_change = row.reconnect});
    Iterate();
    CHECK(state.questions == row.questions);
    Asking asking(&client);
    Iterate();
    CHECK(client.counters().waiting == (row.questions == 1 && row.pause ? 1U : 0U));
  }
}
