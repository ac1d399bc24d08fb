#ifndef KESU_FEATURE_H_
#define KESU_FEATURE_H_

#include <glib-object.h>

#include "kesu-point.h"

G_BEGIN_DECLS

/**
 * KesuAddressComponent:
 *
 * A piece of an address, such as its street or its country. It never changes, and any thread may
 * use it.
 */
#define KESU_TYPE_ADDRESS_COMPONENT (kesu_address_component_get_type())
G_DECLARE_FINAL_TYPE(KesuAddressComponent, kesu_address_component, KESU, ADDRESS_COMPONENT, GObject)

/**
 * kesu_address_component_get_name:
 * @self: a component
 *
 * Returns: (transfer none): its text, perhaps empty
 */
const gchar* kesu_address_component_get_name(KesuAddressComponent* self);

/**
 * kesu_address_component_get_kind:
 * @self: a component
 *
 * Returns: what it is, as the service numbers them, or %KESU_UNKNOWN
 */
gint64 kesu_address_component_get_kind(KesuAddressComponent* self);

/**
 * kesu_address_component_get_language:
 * @self: a component
 *
 * Returns: (transfer none): the language of the text, "en" say, perhaps empty
 */
const gchar* kesu_address_component_get_language(KesuAddressComponent* self);

/**
 * KesuFeature:
 *
 * Something on the map that has a name. It never changes, and any thread may use it.
 */
#define KESU_TYPE_FEATURE (kesu_feature_get_type())
G_DECLARE_FINAL_TYPE(KesuFeature, kesu_feature, KESU, FEATURE, GObject)

/**
 * kesu_feature_get_name:
 * @self: a feature
 *
 * Returns: (transfer none): its name, perhaps empty
 */
const gchar* kesu_feature_get_name(KesuFeature* self);

/**
 * kesu_feature_get_kind:
 * @self: a feature
 *
 * Returns: what it is, as the service numbers them, or %KESU_UNKNOWN
 */
gint kesu_feature_get_kind(KesuFeature* self);

/**
 * kesu_feature_get_centre:
 * @self: a feature
 *
 * Returns: (transfer full) (nullable): where it is, or %NULL
 */
KesuPoint* kesu_feature_get_centre(KesuFeature* self);

/**
 * kesu_feature_get_bounding_box:
 * @self: a feature
 *
 * Returns: (transfer full) (nullable): the area that holds it, or %NULL
 */
KesuBoundingBox* kesu_feature_get_bounding_box(KesuFeature* self);

/**
 * kesu_feature_get_address_lines:
 * @self: a feature
 *
 * Returns: (transfer full) (array zero-terminated=1): its address, as one would write it on an
 *   envelope, perhaps of no lines
 */
gchar** kesu_feature_get_address_lines(KesuFeature* self);

/**
 * kesu_feature_get_address_components:
 * @self: a feature
 *
 * Returns: (transfer container) (element-type KesuAddressComponent): the pieces of its address,
 *   perhaps none
 */
GPtrArray* kesu_feature_get_address_components(KesuFeature* self);

G_END_DECLS

#endif  // KESU_FEATURE_H_
