#include "here/wifi_listener.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <string>
#include <utility>

#include "here/conversions.h"

namespace kesu::here::detail {
namespace {

using std::chrono::milliseconds;

/// NetworkManager refuses, or puts off, what comes earlier.
constexpr milliseconds kMinScanInterval = std::chrono::seconds(10);
/// The access points of a scan are told at about the time of its end.
constexpr guint kSettlingMs = 250;
constexpr int kAddressBytes = 6;

/// On the clock that NetworkManager counts by, which goes on while the machine sleeps.
milliseconds Now() {
  return milliseconds(nm_utils_get_timestamp_msec());
}

milliseconds Since(milliseconds moment) {
  return std::max(Now() - moment, milliseconds(0));
}

/// None for one that was made up for a connection, and was never heard, or that has no address.
std::optional<AccessPoint> AccessPointOf(NMAccessPoint* seen) {
  const char* address = nm_access_point_get_bssid(seen);
  const int last_seen_s = nm_access_point_get_last_seen(seen);
  if (address == nullptr || !nm_utils_hwaddr_valid(address, kAddressBytes)) return std::nullopt;
  if (last_seen_s < 0) return std::nullopt;
  AccessPoint access_point{.mac_address = address};
  access_point.signal_dbm = DbmOfWifiQuality(nm_access_point_get_strength(seen));
  access_point.age = Since(std::chrono::seconds(last_seen_s));
  // Without a name it hides it.
  access_point.name.emplace();
  if (GBytes* name = nm_access_point_get_ssid(seen); name != nullptr) {
    gsize size = 0;
    const auto* bytes = static_cast<const char*>(g_bytes_get_data(name, &size));
    if (bytes != nullptr) access_point.name->assign(bytes, size);
  }
  const guint32 channel = nm_utils_wifi_freq_to_channel(nm_access_point_get_frequency(seen));
  if (channel != 0) access_point.channel = static_cast<int>(channel);
  return access_point;
}

/// Two devices may hear the same.
void AddFreshest(AccessPoint&& seen, std::vector<AccessPoint>* access_points) {
  const auto same =
      std::find_if(access_points->begin(), access_points->end(),
                   [&](const AccessPoint& other) { return other.mac_address == seen.mac_address; });
  if (same == access_points->end()) {
    access_points->push_back(std::move(seen));
  } else if (seen.age < same->age) {
    *same = std::move(seen);
  }
}

}  // namespace

WifiListener::~WifiListener() {
  while (!scans_.empty()) ForgetScan(scans_.back().device.get());
}

void WifiListener::Start(GDBusConnection* bus) {
  g_async_initable_new_async(NM_TYPE_CLIENT, G_PRIORITY_DEFAULT, cancellable(), OnClient,
                             Asker(shared_from_this()), NM_CLIENT_DBUS_CONNECTION, bus,
                             NM_CLIENT_INSTANCE_FLAGS,
                             NM_CLIENT_INSTANCE_FLAGS_NO_AUTO_FETCH_PERMISSIONS, nullptr);
}

void WifiListener::OnClient(GObject* source, GAsyncResult* result, void* asker) {
  GError* error = nullptr;
  GObject* client = g_async_initable_new_finish(G_ASYNC_INITABLE(source), result, &error);
  ObjectPointer<NMClient> owner(client == nullptr ? nullptr : NM_CLIENT(client));
  const ErrorPointer error_owner(error);
  const std::shared_ptr<WifiListener> self = TakeAsker<WifiListener>(asker);
  if (self == nullptr) return;
  if (owner == nullptr) {
    self->TellMissing(*error);
    return;
  }
  self->client_ = std::move(owner);
  self->Listen();
}

void WifiListener::Listen() {
  if (!nm_client_get_nm_running(client_.get())) {
    TellNoDaemon();
    return;
  }
  // Where it is refused what it asks first, libnm goes on with nothing.
  if (nm_client_get_version(client_.get()) == nullptr) {
    TellMissing(Fault::kNoPermission, "NetworkManager tells this user nothing");
    return;
  }
  const GPtrArray* devices = nm_client_get_devices(client_.get());
  for (guint i = 0; i < devices->len; ++i) {
    void* device = g_ptr_array_index(devices, i);
    if (NM_IS_DEVICE_WIFI(device)) devices_.push_back(NM_DEVICE_WIFI(device));
  }
  if (devices_.empty()) {
    TellMissing(Fault::kNoDevice, "NetworkManager has no wifi device");
    return;
  }
  if (!nm_client_wireless_get_enabled(client_.get()) ||
      !nm_client_wireless_hardware_get_enabled(client_.get())) {
    TellMissing(Fault::kSwitchedOff, "wifi is switched off");
    return;
  }
  for (NMDeviceWifi* device : devices_) {
    if (WantsScan(device)) StartScan(device);
  }
  if (scans_.empty()) TellAccessPoints();
}

bool WifiListener::WantsScan(NMDeviceWifi* device) const {
  if (nm_device_get_state(NM_DEVICE(device)) <= NM_DEVICE_STATE_UNAVAILABLE) return false;
  const gint64 last_scan_ms = nm_device_wifi_get_last_scan(device);
  return last_scan_ms < 0 ||
         Since(milliseconds(last_scan_ms)) >= std::max(options().scan_interval, kMinScanInterval);
}

void WifiListener::StartScan(NMDeviceWifi* device) {
  const gulong handler =
      g_signal_connect(device, "notify::" NM_DEVICE_WIFI_LAST_SCAN, G_CALLBACK(OnScanEnded), this);
  scans_.push_back({ObjectPointer<NMDeviceWifi>(NM_DEVICE_WIFI(g_object_ref(device))), handler});
  nm_device_wifi_request_scan_async(device, cancellable(), OnScanAccepted,
                                    Asker(shared_from_this()));
}

void WifiListener::ForgetScan(NMDeviceWifi* device) {
  const auto scan = std::find_if(scans_.begin(), scans_.end(),
                                 [=](const Scan& it) { return it.device.get() == device; });
  if (scan == scans_.end()) return;
  g_signal_handler_disconnect(device, scan->handler);
  scans_.erase(scan);
}

void WifiListener::OnScanAccepted(GObject* device, GAsyncResult* result, void* asker) {
  GError* error = nullptr;
  const bool is_accepted =
      nm_device_wifi_request_scan_finish(NM_DEVICE_WIFI(device), result, &error) != FALSE;
  ErrorPointer error_owner(error);
  const std::shared_ptr<WifiListener> self = TakeAsker<WifiListener>(asker);
  if (self == nullptr || is_accepted) return;
  // It knows some from before, perhaps.
  self->scan_error_ = std::move(error_owner);
  self->ForgetScan(NM_DEVICE_WIFI(device));
  if (self->scans_.empty()) self->TellAccessPoints();
}

void WifiListener::OnScanEnded(NMDeviceWifi* device, GParamSpec*, void* self) {
  auto* listener = static_cast<WifiListener*>(self);
  listener->ForgetScan(device);
  if (!listener->scans_.empty()) return;
  const auto tell = +[](void* it) -> gboolean {
    static_cast<WifiListener*>(it)->TellAccessPoints();
    return G_SOURCE_REMOVE;
  };
  listener->settling_.Start(kSettlingMs, tell, listener);
}

void WifiListener::EndNow() {
  if (client_ == nullptr) {
    TellTimedOut();
  } else {
    TellAccessPoints();
  }
}

void WifiListener::TellAccessPoints() {
  Sightings sightings;
  std::vector<AccessPoint>* access_points = &sightings.observation.access_points;
  for (NMDeviceWifi* device : devices_) {
    const GPtrArray* seen = nm_device_wifi_get_access_points(device);
    for (guint i = 0; i < seen->len; ++i) {
      std::optional<AccessPoint> access_point =
          AccessPointOf(NM_ACCESS_POINT(g_ptr_array_index(seen, i)));
      if (access_point && *access_point->age <= options().max_age) {
        AddFreshest(std::move(*access_point), access_points);
      }
    }
  }
  if (!access_points->empty()) {
    Tell(std::move(sightings));
  } else if (scan_error_ != nullptr) {
    TellMissing(*scan_error_);
  } else {
    TellMissing(Fault::kNothingHeard, "no access point is in range");
  }
}

}  // namespace kesu::here::detail
