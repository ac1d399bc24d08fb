#include "kesu-place.h"

#include "client/place.h"

#include "content.h"
#include "conversions.h"

struct _KesuLocation {
  GObject parent_instance;
  kesu::Location content;
};

namespace kesu_glib {

/// A place, or why there is none.
struct PlaceContent {
  kesu::Place place;
  kesu::Error error;
};

}  // namespace kesu_glib

struct _KesuPlace {
  GObject parent_instance;
  kesu_glib::PlaceContent content;
};

KESU_DEFINE_CONTENT_TYPE(KesuLocation, kesu_location)
KESU_DEFINE_CONTENT_TYPE(KesuPlace, kesu_place)

gdouble kesu_location_get_latitude(KesuLocation* self) {
  g_return_val_if_fail(KESU_IS_LOCATION(self), 0);
  return self->content.latitude;
}

gdouble kesu_location_get_longitude(KesuLocation* self) {
  g_return_val_if_fail(KESU_IS_LOCATION(self), 0);
  return self->content.longitude;
}

gdouble kesu_location_get_accuracy(KesuLocation* self) {
  g_return_val_if_fail(KESU_IS_LOCATION(self), KESU_UNKNOWN);
  return self->content.accuracy_m.value_or(KESU_UNKNOWN);
}

GPtrArray* kesu_location_get_features(KesuLocation* self) {
  g_return_val_if_fail(KESU_IS_LOCATION(self), nullptr);
  return kesu_glib::NewFeatures(self->content.features);
}

gboolean kesu_location_is_from_cache(KesuLocation* self) {
  g_return_val_if_fail(KESU_IS_LOCATION(self), FALSE);
  return self->content.is_from_cache;
}

const gchar* kesu_place_get_name(KesuPlace* self) {
  g_return_val_if_fail(KESU_IS_PLACE(self), nullptr);
  return self->content.place.name.c_str();
}

GPtrArray* kesu_place_get_features(KesuPlace* self) {
  g_return_val_if_fail(KESU_IS_PLACE(self), nullptr);
  return kesu_glib::NewFeatures(self->content.place.features);
}

gboolean kesu_place_is_from_cache(KesuPlace* self) {
  g_return_val_if_fail(KESU_IS_PLACE(self), FALSE);
  return self->content.place.is_from_cache;
}

GError* kesu_place_get_error(KesuPlace* self) {
  g_return_val_if_fail(KESU_IS_PLACE(self), nullptr);
  const kesu::Error& error = self->content.error;
  return error.kind == kesu::ErrorKind::kNone ? nullptr : kesu_glib::NewError(error);
}

namespace kesu_glib {

KesuLocation* NewLocation(const kesu::Location& location) {
  return NewObject<KesuLocation>(KESU_TYPE_LOCATION, location);
}

KesuPlace* NewPlace(const kesu::Result<kesu::Place>& place) {
  return NewObject<KesuPlace>(KESU_TYPE_PLACE,
                              PlaceContent{place ? *place : kesu::Place(), place.error()});
}

}  // namespace kesu_glib
