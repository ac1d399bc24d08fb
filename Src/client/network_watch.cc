#include "client/network_watch.h"

#include <utility>

#include "client/engine.h"
#include "client/loop.h"

namespace kesu::detail {
namespace {

constexpr guint16 kDefaultPort = 80;

GSocketConnectable* NewHost(const std::string& url) {
  return g_network_address_parse_uri(url.c_str(), kDefaultPort, nullptr);
}

}  // namespace

bool IsOnThisMachine(const std::string& url) {
  GSocketConnectable* host = NewHost(url);
  if (host == nullptr) return false;
  const std::string name = g_network_address_get_hostname(G_NETWORK_ADDRESS(host));
  g_object_unref(host);
  if (name == "localhost" || name.ends_with(".localhost")) return true;
  GInetAddress* address = g_inet_address_new_from_string(name.c_str());
  if (address == nullptr) return false;
  const bool is_loopback = g_inet_address_get_is_loopback(address) != FALSE;
  g_object_unref(address);
  return is_loopback;
}

std::unique_ptr<NetworkWatch> NetworkWatch::Make(const std::string& url) {
  if (IsOnThisMachine(url)) return nullptr;
  GSocketConnectable* host = NewHost(url);
  return host == nullptr ? nullptr : std::make_unique<NetworkWatch>(host);
}

NetworkWatch::NetworkWatch(GSocketConnectable* host)
    : monitor_(g_network_monitor_get_default()),
      host_(host),
      self_(std::make_shared<NetworkWatch*>(this)) {
  using Self = std::shared_ptr<NetworkWatch*>;
  // The monitor emits on the thread that was the first of the process to ask for it.
  const auto on_signal = +[](GNetworkMonitor*, gboolean, void* self) {
    PostTo(nullptr, [watch = *static_cast<Self*>(self)] {
      if (*watch != nullptr) (*watch)->OnChanged();
    });
  };
  const auto forget = +[](void* self, GClosure*) { delete static_cast<Self*>(self); };
  handler_ = g_signal_connect_data(monitor_, "network-changed", G_CALLBACK(on_signal),
                                   new Self(self_), forget, GConnectFlags{});
  AskForRoute();
}

NetworkWatch::~NetworkWatch() {
  *self_ = nullptr;
  g_signal_handler_disconnect(monitor_, handler_);
  if (question_ != nullptr) g_cancellable_cancel(question_);
  g_clear_object(&question_);
  g_object_unref(host_);
}

void NetworkWatch::OnChanged() {
  Engine::Get()->OnNetworkChanged();
  AskForRoute();
}

/// With a default route the way to the host is taken to be there. Without one it may be, in a
/// network that leads nowhere else.
void NetworkWatch::AskForRoute() {
  if (question_ != nullptr) g_cancellable_cancel(question_);
  g_clear_object(&question_);
  if (g_network_monitor_get_network_available(monitor_)) {
    Engine::Get()->OnRouteChanged(true);
    return;
  }
  question_ = g_cancellable_new();
  g_network_monitor_can_reach_async(monitor_, host_, question_, OnAnswer, this);
}

void NetworkWatch::OnAnswer(GObject* monitor, GAsyncResult* result, void* watch) {
  GError* error = nullptr;
  const bool is_there =
      g_network_monitor_can_reach_finish(G_NETWORK_MONITOR(monitor), result, &error) != FALSE;
  const bool is_cancelled = g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED) != FALSE;
  g_clear_error(&error);
  // The watch is gone, or has asked anew.
  if (is_cancelled) return;
  g_clear_object(&static_cast<NetworkWatch*>(watch)->question_);
  Engine::Get()->OnRouteChanged(is_there);
}

}  // namespace kesu::detail
