#include "here/faults.h"

#include <cstddef>
#include <iterator>
#include <string_view>

#include <libmm-glib.h>

#include "here/network_manager.h"

namespace kesu::here {
namespace {

constexpr const char* kNames[] = {
    "no-bus",        "no-daemon",     "no-device", "switched-off",
    "no-permission", "nothing-heard", "timed-out", "failed",
};
static_assert(std::size(kNames) == static_cast<std::size_t>(Fault::kFailed) + 1);

struct KnownError {
  GQuark domain;
  int code;
  Fault fault;
};

}  // namespace

const char* FaultName(Fault fault) {
  const auto index = static_cast<std::size_t>(fault);
  return index < std::size(kNames) ? kNames[index] : "failed";
}

namespace detail {

const char* DaemonName(Source source) {
  return source == Source::kNetworkManager ? "NetworkManager" : "ModemManager";
}

Missing MissingAfter(Source source, const GError& error) {
  const KnownError known[] = {
      {G_IO_ERROR, G_IO_ERROR_CLOSED, Fault::kNoBus},
      {G_DBUS_ERROR, G_DBUS_ERROR_SERVICE_UNKNOWN, Fault::kNoDaemon},
      {G_DBUS_ERROR, G_DBUS_ERROR_NAME_HAS_NO_OWNER, Fault::kNoDaemon},
      {G_IO_ERROR, G_IO_ERROR_PERMISSION_DENIED, Fault::kNoPermission},
      {G_DBUS_ERROR, G_DBUS_ERROR_ACCESS_DENIED, Fault::kNoPermission},
      {G_DBUS_ERROR, G_DBUS_ERROR_AUTH_FAILED, Fault::kNoPermission},
      {NM_MANAGER_ERROR, NM_MANAGER_ERROR_PERMISSION_DENIED, Fault::kNoPermission},
      {MM_CORE_ERROR, MM_CORE_ERROR_UNAUTHORIZED, Fault::kNoPermission},
      {G_IO_ERROR, G_IO_ERROR_TIMED_OUT, Fault::kTimedOut},
      {G_DBUS_ERROR, G_DBUS_ERROR_NO_REPLY, Fault::kTimedOut},
      {G_DBUS_ERROR, G_DBUS_ERROR_TIMEOUT, Fault::kTimedOut},
  };
  Missing missing{source, Fault::kFailed, {}};
  for (const KnownError& it : known) {
    if (g_error_matches(&error, it.domain, it.code)) missing.fault = it.fault;
  }
  // Without the name that the error has on the bus, and without a stack trace.
  GError* copy = g_error_copy(&error);
  g_dbus_error_strip_remote_error(copy);
  const std::string_view message = copy->message;
  missing.message.append(DaemonName(source)).append(": ").append(message, 0, message.find('\n'));
  g_error_free(copy);
  return missing;
}

}  // namespace detail
}  // namespace kesu::here
