#ifndef CLIENT_NETWORK_WATCH_H_
#define CLIENT_NETWORK_WATCH_H_

#include <memory>
#include <string>

#include <gio/gio.h>

namespace kesu::detail {

/// Tells the engine what GLib's network monitor knows of the way to one host. On the thread of the
/// loop.
class NetworkWatch {
 public:
  /// Null for a host on this machine, and for what is no URL.
  static std::unique_ptr<NetworkWatch> Make(const std::string& url);

  explicit NetworkWatch(GSocketConnectable* host);
  NetworkWatch(const NetworkWatch&) = delete;
  NetworkWatch& operator=(const NetworkWatch&) = delete;
  ~NetworkWatch();

 private:
  void OnChanged();
  void AskForRoute();
  static void OnAnswer(GObject* monitor, GAsyncResult* result, void* watch);

  GNetworkMonitor* monitor_;
  GSocketConnectable* host_;
  GCancellable* question_ = nullptr;
  /// Of the signal. Whoever emits it, on whatever thread, finds the watch through this or not.
  std::shared_ptr<NetworkWatch*> self_;
  gulong handler_ = 0;
};

/// Whether a URL names a host on this machine: localhost, 127.0.0.0/8 or ::1.
bool IsOnThisMachine(const std::string& url);

}  // namespace kesu::detail

#endif  // CLIENT_NETWORK_WATCH_H_
