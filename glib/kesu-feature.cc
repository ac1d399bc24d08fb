#include "kesu-feature.h"

#include "client/place.h"

#include "content.h"
#include "conversions.h"

struct _KesuAddressComponent {
  GObject parent_instance;
  kesu::AddressComponent content;
};

struct _KesuFeature {
  GObject parent_instance;
  kesu::Feature content;
};

KESU_DEFINE_CONTENT_TYPE(KesuAddressComponent, kesu_address_component)
KESU_DEFINE_CONTENT_TYPE(KesuFeature, kesu_feature)

const gchar* kesu_address_component_get_name(KesuAddressComponent* self) {
  g_return_val_if_fail(KESU_IS_ADDRESS_COMPONENT(self), nullptr);
  return self->content.name.c_str();
}

gint64 kesu_address_component_get_kind(KesuAddressComponent* self) {
  g_return_val_if_fail(KESU_IS_ADDRESS_COMPONENT(self), KESU_UNKNOWN);
  return self->content.kind.value_or(KESU_UNKNOWN);
}

const gchar* kesu_address_component_get_language(KesuAddressComponent* self) {
  g_return_val_if_fail(KESU_IS_ADDRESS_COMPONENT(self), nullptr);
  return self->content.language.c_str();
}

const gchar* kesu_feature_get_name(KesuFeature* self) {
  g_return_val_if_fail(KESU_IS_FEATURE(self), nullptr);
  return self->content.name.c_str();
}

gint kesu_feature_get_kind(KesuFeature* self) {
  g_return_val_if_fail(KESU_IS_FEATURE(self), KESU_UNKNOWN);
  return self->content.kind.value_or(KESU_UNKNOWN);
}

KesuPoint* kesu_feature_get_centre(KesuFeature* self) {
  g_return_val_if_fail(KESU_IS_FEATURE(self), nullptr);
  const auto& centre = self->content.centre;
  return centre ? kesu_point_new(centre->latitude, centre->longitude) : nullptr;
}

KesuBoundingBox* kesu_feature_get_bounding_box(KesuFeature* self) {
  g_return_val_if_fail(KESU_IS_FEATURE(self), nullptr);
  const auto& box = self->content.bounding_box;
  return box ? kesu_glib::NewBoundingBox(*box) : nullptr;
}

gchar** kesu_feature_get_address_lines(KesuFeature* self) {
  g_return_val_if_fail(KESU_IS_FEATURE(self), nullptr);
  const auto& lines = self->content.address.lines;
  gchar** copy = g_new0(gchar*, lines.size() + 1);
  for (std::size_t i = 0; i < lines.size(); ++i) copy[i] = g_strdup(lines[i].c_str());
  return copy;
}

GPtrArray* kesu_feature_get_address_components(KesuFeature* self) {
  g_return_val_if_fail(KESU_IS_FEATURE(self), nullptr);
  GPtrArray* array = g_ptr_array_new_with_free_func(g_object_unref);
  for (const auto& component : self->content.address.components) {
    g_ptr_array_add(
        array, kesu_glib::NewObject<KesuAddressComponent>(KESU_TYPE_ADDRESS_COMPONENT, component));
  }
  return array;
}

namespace kesu_glib {

GPtrArray* NewFeatures(const std::vector<kesu::Feature>& features) {
  GPtrArray* array = g_ptr_array_new_with_free_func(g_object_unref);
  for (const kesu::Feature& feature : features) {
    g_ptr_array_add(array, NewObject<KesuFeature>(KESU_TYPE_FEATURE, feature));
  }
  return array;
}

}  // namespace kesu_glib
