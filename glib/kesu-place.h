#ifndef KESU_PLACE_H_
#define KESU_PLACE_H_

#include <glib-object.h>

#include "kesu-feature.h"

G_BEGIN_DECLS

/**
 * KesuLocation:
 *
 * Where a device is. It never changes, and any thread may use it.
 */
#define KESU_TYPE_LOCATION (kesu_location_get_type())
G_DECLARE_FINAL_TYPE(KesuLocation, kesu_location, KESU, LOCATION, GObject)

/**
 * kesu_location_get_latitude:
 * @self: a location
 *
 * Returns: degrees, WGS 84, north positive
 */
gdouble kesu_location_get_latitude(KesuLocation* self);

/**
 * kesu_location_get_longitude:
 * @self: a location
 *
 * Returns: degrees, WGS 84, east positive
 */
gdouble kesu_location_get_longitude(KesuLocation* self);

/**
 * kesu_location_get_accuracy:
 * @self: a location
 *
 * Returns: the radius, in metres, that the service is confident of, or %KESU_UNKNOWN
 */
gdouble kesu_location_get_accuracy(KesuLocation* self);

/**
 * kesu_location_get_features:
 * @self: a location
 *
 * Returns: (transfer container) (element-type KesuFeature): what the service says of the
 *   surroundings, mostly nothing
 */
GPtrArray* kesu_location_get_features(KesuLocation* self);

/**
 * kesu_location_is_from_cache:
 * @self: a location
 *
 * Returns: whether this is the answer to an earlier, equal question, see
 *   [property@Kesu.Client:cache-lifetime]
 */
gboolean kesu_location_is_from_cache(KesuLocation* self);

/**
 * KesuPlace:
 *
 * What is at a point. It never changes, and any thread may use it.
 */
#define KESU_TYPE_PLACE (kesu_place_get_type())
G_DECLARE_FINAL_TYPE(KesuPlace, kesu_place, KESU, PLACE, GObject)

/**
 * kesu_place_get_name:
 * @self: a place
 *
 * Returns: (transfer none): the longest name of its features, the first of those as long; empty
 *   where there is an error
 */
const gchar* kesu_place_get_name(KesuPlace* self);

/**
 * kesu_place_get_features:
 * @self: a place
 *
 * Returns: (transfer container) (element-type KesuFeature): what the service knows there
 */
GPtrArray* kesu_place_get_features(KesuPlace* self);

/**
 * kesu_place_is_from_cache:
 * @self: a place
 *
 * Returns: whether this is the answer to an earlier, equal question, see
 *   [property@Kesu.Client:cache-lifetime]
 */
gboolean kesu_place_is_from_cache(KesuPlace* self);

/**
 * kesu_place_get_error:
 * @self: a place
 *
 * Why nothing is known of this point of a list, see [method@Kesu.Client.reverse_many].
 *
 * Returns: (transfer full) (nullable): %NULL where something is
 */
GError* kesu_place_get_error(KesuPlace* self);

G_END_DECLS

#endif  // KESU_PLACE_H_
