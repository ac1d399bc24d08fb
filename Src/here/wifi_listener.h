#ifndef HERE_WIFI_LISTENER_H_
#define HERE_WIFI_LISTENER_H_

#include <memory>
#include <vector>

#include "here/listener.h"
#include "here/network_manager.h"

namespace kesu::here::detail {

/// The access points that NetworkManager knows, after a scan where the last one was long ago.
class WifiListener final : public Listener, public std::enable_shared_from_this<WifiListener> {
 public:
  WifiListener(const Options& options, Told told)
      : Listener(Source::kNetworkManager, options, std::move(told)) {}
  ~WifiListener() override;

  void Start(GDBusConnection* bus) override;
  void EndNow() override;

 private:
  /// A scan that was asked for and has not ended.
  struct Scan {
    ObjectPointer<NMDeviceWifi> device;
    gulong handler;
  };

  static void OnClient(GObject* source, GAsyncResult* result, void* asker);
  static void OnScanAccepted(GObject* device, GAsyncResult* result, void* asker);
  static void OnScanEnded(NMDeviceWifi* device, GParamSpec* property, void* self);

  void Listen();
  bool WantsScan(NMDeviceWifi* device) const;
  void StartScan(NMDeviceWifi* device);
  void ForgetScan(NMDeviceWifi* device);
  void TellAccessPoints();

  ObjectPointer<NMClient> client_;
  std::vector<NMDeviceWifi*> devices_;
  std::vector<Scan> scans_;
  /// Of a device that would not scan.
  ErrorPointer scan_error_;
  Timer settling_;
};

}  // namespace kesu::here::detail

#endif  // HERE_WIFI_LISTENER_H_
