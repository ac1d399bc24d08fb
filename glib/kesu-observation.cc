#include "kesu-observation.h"

#include <chrono>
#include <optional>

#include "client/observation.h"

#include "content.h"
#include "conversions.h"

struct _KesuObservation {
  GObject parent_instance;
  kesu::Observation content;
};

KESU_DEFINE_CONTENT_TYPE(KesuObservation, kesu_observation)

namespace {

/// As many as a device hears in a street; their memory is a small piece for the heap.
constexpr std::size_t kUsualAccessPoints = 8;

template <typename Number>
std::optional<Number> Known(Number number, int unknown) {
  if (number == unknown) return std::nullopt;
  return number;
}

std::optional<std::chrono::milliseconds> Age(gint64 age_ms) {
  if (age_ms == KESU_UNKNOWN) return std::nullopt;
  return std::chrono::milliseconds(age_ms);
}

}  // namespace

KesuObservation* kesu_observation_new() {
  return KESU_OBSERVATION(g_object_new(KESU_TYPE_OBSERVATION, nullptr));
}

void kesu_observation_add_cell(KesuObservation* self, gint mcc, gint mnc, gint area, gint cell,
                               gint signal_dbm) {
  kesu_observation_add_cell_full(self, mcc, mnc, area, cell, signal_dbm, KESU_UNKNOWN, KESU_UNKNOWN,
                                 KESU_UNKNOWN);
}

void kesu_observation_add_cell_full(KesuObservation* self, gint mcc, gint mnc, gint area, gint cell,
                                    gint signal_dbm, gint64 age_ms, gint timing_advance,
                                    gint scrambling_code) {
  g_return_if_fail(KESU_IS_OBSERVATION(self));
  self->content.cells.push_back({.mcc = mcc,
                                 .mnc = mnc,
                                 .area = area,
                                 .cell = cell,
                                 .signal_dbm = Known(signal_dbm, KESU_SIGNAL_UNKNOWN),
                                 .age = Age(age_ms),
                                 .timing_advance = Known(timing_advance, KESU_UNKNOWN),
                                 .scrambling_code = Known(scrambling_code, KESU_UNKNOWN)});
}

void kesu_observation_add_access_point(KesuObservation* self, const gchar* mac_address,
                                       gint signal_dbm, const gchar* name) {
  kesu_observation_add_access_point_full(self, mac_address, signal_dbm, name, KESU_UNKNOWN,
                                         KESU_UNKNOWN);
}

void kesu_observation_add_access_point_full(KesuObservation* self, const gchar* mac_address,
                                            gint signal_dbm, const gchar* name, gint64 age_ms,
                                            gint channel) {
  g_return_if_fail(KESU_IS_OBSERVATION(self));
  g_return_if_fail(mac_address != nullptr);
  auto& access_points = self->content.access_points;
  if (access_points.empty()) access_points.reserve(kUsualAccessPoints);
  kesu::AccessPoint& access_point = access_points.emplace_back();
  access_point.mac_address = mac_address;
  access_point.signal_dbm = Known(signal_dbm, KESU_SIGNAL_UNKNOWN);
  access_point.age = Age(age_ms);
  access_point.channel = Known(channel, KESU_UNKNOWN);
  if (name != nullptr) access_point.name = name;
}

void kesu_observation_set_fix(KesuObservation* self, gdouble latitude, gdouble longitude,
                              gdouble accuracy, gint64 age_ms) {
  g_return_if_fail(KESU_IS_OBSERVATION(self));
  self->content.fix = kesu::Fix{.latitude = latitude,
                                .longitude = longitude,
                                .accuracy_m = Known(accuracy, KESU_UNKNOWN),
                                .age = Age(age_ms)};
}

void kesu_observation_clear(KesuObservation* self) {
  g_return_if_fail(KESU_IS_OBSERVATION(self));
  self->content = {};
}

guint kesu_observation_get_n_cells(KesuObservation* self) {
  g_return_val_if_fail(KESU_IS_OBSERVATION(self), 0);
  return static_cast<guint>(self->content.cells.size());
}

guint kesu_observation_get_n_access_points(KesuObservation* self) {
  g_return_val_if_fail(KESU_IS_OBSERVATION(self), 0);
  return static_cast<guint>(self->content.access_points.size());
}

namespace kesu_glib {

const kesu::Observation& ContentOf(KesuObservation* observation) {
  return observation->content;
}

}  // namespace kesu_glib
