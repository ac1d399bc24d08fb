#include "here/modem_listener.h"

#include <chrono>
#include <cmath>
#include <string_view>
#include <utility>

#include "here/conversions.h"

namespace kesu::here::detail {
namespace {

using std::chrono::milliseconds;

std::optional<int> DbmOf(double strength) {
  constexpr double kWorst = -200;
  if (!(strength >= kWorst && strength < 0)) return std::nullopt;
  return static_cast<int>(std::lround(strength));
}

/// As the modem measures the network it is in, where somebody has asked it to; else from the
/// quality that it shows.
std::optional<int> SignalOf(MMObject* object) {
  using Measured = MMSignal* (*)(MMModemSignal*);
  struct Technology {
    unsigned access;
    Measured measured;
    double (*strength)(MMSignal*);
  };
  constexpr unsigned kUmts = MM_MODEM_ACCESS_TECHNOLOGY_UMTS | MM_MODEM_ACCESS_TECHNOLOGY_HSDPA |
                             MM_MODEM_ACCESS_TECHNOLOGY_HSUPA | MM_MODEM_ACCESS_TECHNOLOGY_HSPA |
                             MM_MODEM_ACCESS_TECHNOLOGY_HSPA_PLUS;
  constexpr unsigned kGsm = MM_MODEM_ACCESS_TECHNOLOGY_GSM |
                            MM_MODEM_ACCESS_TECHNOLOGY_GSM_COMPACT |
                            MM_MODEM_ACCESS_TECHNOLOGY_GPRS | MM_MODEM_ACCESS_TECHNOLOGY_EDGE;
  constexpr Technology kTechnologies[] = {
      // With both, the cell is the one of LTE, which 5G is added to.
      {MM_MODEM_ACCESS_TECHNOLOGY_LTE, mm_modem_signal_peek_lte, mm_signal_get_rsrp},
      {MM_MODEM_ACCESS_TECHNOLOGY_5GNR, mm_modem_signal_peek_nr5g, mm_signal_get_rsrp},
      {kUmts, mm_modem_signal_peek_umts, mm_signal_get_rscp},
      {kGsm, mm_modem_signal_peek_gsm, mm_signal_get_rssi},
  };
  MMModem* modem = mm_object_peek_modem(object);
  MMModemSignal* signal = mm_object_peek_modem_signal(object);
  const unsigned access = mm_modem_get_access_technologies(modem);
  for (const Technology& it : kTechnologies) {
    if (signal == nullptr || (access & it.access) == 0) continue;
    MMSignal* measured = it.measured(signal);
    if (measured == nullptr) continue;
    if (const std::optional<int> dbm = DbmOf(it.strength(measured))) return dbm;
  }
  gboolean is_recent = FALSE;
  const guint quality = mm_modem_get_signal_quality(modem, &is_recent);
  if (!is_recent || quality > 100) return std::nullopt;
  return DbmOfModemQuality(static_cast<int>(quality));
}

bool IsOnEarth(double latitude, double longitude) {
  return std::abs(latitude) <= 90 && std::abs(longitude) <= 180;
}

/// Why a modem in this state tells nothing; null where it should.
const char* IdleReason(MMModemState state) {
  if (state == MM_MODEM_STATE_FAILED) return "the modem is out of order, or has no SIM";
  if (state == MM_MODEM_STATE_LOCKED) return "the modem is locked and waits for a PIN";
  if (state < MM_MODEM_STATE_ENABLED) return "the modem is disabled";
  return nullptr;
}

}  // namespace

void ModemListener::Start(GDBusConnection* bus) {
  mm_manager_new(bus, G_DBUS_OBJECT_MANAGER_CLIENT_FLAGS_DO_NOT_AUTO_START, cancellable(),
                 OnManager, Asker(shared_from_this()));
}

void ModemListener::OnManager(GObject*, GAsyncResult* result, void* asker) {
  GError* error = nullptr;
  ObjectPointer<MMManager> manager(mm_manager_new_finish(result, &error));
  const ErrorPointer error_owner(error);
  const std::shared_ptr<ModemListener> self = TakeAsker<ModemListener>(asker);
  if (self == nullptr) return;
  if (manager == nullptr) {
    self->TellMissing(*error);
    return;
  }
  self->manager_ = std::move(manager);
  self->Listen();
}

void ModemListener::Listen() {
  auto* objects = G_DBUS_OBJECT_MANAGER(manager_.get());
  char* daemon =
      g_dbus_object_manager_client_get_name_owner(G_DBUS_OBJECT_MANAGER_CLIENT(manager_.get()));
  if (daemon == nullptr) {
    TellNoDaemon();
    return;
  }
  g_free(daemon);
  GList* modems = g_dbus_object_manager_get_objects(objects);
  for (GList* it = modems; it != nullptr; it = it->next) Ask(MM_OBJECT(it->data));
  g_list_free_full(modems, g_object_unref);
  if (questions_ == 0) TellAll();
}

void ModemListener::Ask(MMObject* object) {
  MMModem* modem = mm_object_peek_modem(object);
  if (modem == nullptr) return;
  const MMModemState state = mm_modem_get_state(modem);
  if (const char* reason = IdleReason(state)) {
    Explain(state == MM_MODEM_STATE_FAILED ? Fault::kFailed : Fault::kSwitchedOff, reason);
    return;
  }
  MMModemLocation* location = mm_object_peek_modem_location(object);
  if (location == nullptr) {
    Explain(Fault::kNothingHeard, "the modem cannot tell its cell");
    return;
  }
  ++questions_;
  mm_gdbus_modem_location_call_get_location(MM_GDBUS_MODEM_LOCATION(location), cancellable(),
                                            OnLocation, Asker(shared_from_this()));
}

void ModemListener::OnLocation(GObject* location, GAsyncResult* result, void* asker) {
  GError* error = nullptr;
  GVariant* told = nullptr;
  mm_gdbus_modem_location_call_get_location_finish(MM_GDBUS_MODEM_LOCATION(location), &told, result,
                                                   &error);
  const VariantPointer told_owner(told);
  const ErrorPointer error_owner(error);
  const std::shared_ptr<ModemListener> self = TakeAsker<ModemListener>(asker);
  if (self == nullptr) return;
  if (error != nullptr) {
    self->Explain(MissingAfter(Source::kModemManager, *error));
  } else {
    const ObjectPointer<GDBusObject> object(
        g_dbus_object_manager_get_object(G_DBUS_OBJECT_MANAGER(self->manager_.get()),
                                         g_dbus_proxy_get_object_path(G_DBUS_PROXY(location))));
    if (object != nullptr) self->AddLocation(MM_OBJECT(object.get()), told);
  }
  if (--self->questions_ == 0) self->TellAll();
}

void ModemListener::AddLocation(MMObject* modem, GVariant* location) {
  bool has_cell = false;
  GVariantIter sources;
  g_variant_iter_init(&sources, location);
  guint32 source = 0;
  GVariant* value = nullptr;
  while (g_variant_iter_next(&sources, "{uv}", &source, &value)) {
    const VariantPointer owner(value);
    if (source == MM_MODEM_LOCATION_SOURCE_3GPP_LAC_CI &&
        g_variant_is_of_type(value, G_VARIANT_TYPE_STRING)) {
      std::optional<Cell> cell = CellOf(g_variant_get_string(value, nullptr));
      has_cell = cell.has_value();
      if (!cell) continue;
      cell->signal_dbm = SignalOf(modem);
      // ModemManager keeps up with the network.
      cell->age = milliseconds(0);
      sightings_.observation.cells.push_back(*cell);
    } else if (source == MM_MODEM_LOCATION_SOURCE_GPS_RAW &&
               g_variant_is_of_type(value, G_VARIANT_TYPE_VARDICT)) {
      AddFix(value);
    }
  }
  if (has_cell) return;
  MMModemLocation* teller = mm_object_peek_modem_location(modem);
  const bool is_asked = teller == nullptr || (mm_modem_location_get_enabled(teller) &
                                              MM_MODEM_LOCATION_SOURCE_3GPP_LAC_CI) != 0;
  Explain(Fault::kNothingHeard,
          is_asked ? "the modem is in no network, or in one whose cell cannot be told"
                   : "the modem does not tell its cell: \"mmcli -m any --location-enable-3gpp\" "
                     "makes it");
}

void ModemListener::AddFix(GVariant* position) {
  Fix fix;
  if (!g_variant_lookup(position, "latitude", "d", &fix.latitude) ||
      !g_variant_lookup(position, "longitude", "d", &fix.longitude) ||
      !IsOnEarth(fix.latitude, fix.longitude)) {
    return;
  }
  const char* time = nullptr;
  if (g_variant_lookup(position, "utc-time", "&s", &time)) {
    fix.age = AgeOf(time, std::chrono::duration_cast<milliseconds>(
                              std::chrono::microseconds(g_get_real_time())));
    if (!fix.age || *fix.age > options().max_age) return;
  }
  if (!sightings_.observation.fix) sightings_.observation.fix = fix;
}

void ModemListener::Explain(Missing missing) {
  if (!reason_) reason_ = std::move(missing);
}

void ModemListener::Explain(Fault fault, const char* message) {
  Explain({Source::kModemManager, fault, message});
}

void ModemListener::EndNow() {
  if (questions_ == 0 || (sightings_.observation.cells.empty() && !sightings_.observation.fix)) {
    TellTimedOut();
  } else {
    TellAll();
  }
}

void ModemListener::TellAll() {
  Explain(Fault::kNoDevice, "ModemManager has no modem");
  if (!sightings_.observation.cells.empty() || sightings_.observation.fix) {
    Tell(std::move(sightings_));
  } else {
    TellMissing(std::move(*reason_));
  }
}

}  // namespace kesu::here::detail
