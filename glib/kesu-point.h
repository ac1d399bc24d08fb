#ifndef KESU_POINT_H_
#define KESU_POINT_H_

#include <glib-object.h>

G_BEGIN_DECLS

/**
 * KesuPoint:
 *
 * A point on earth, WGS 84. It never changes, and any thread may use it.
 */
#define KESU_TYPE_POINT (kesu_point_get_type())
G_DECLARE_FINAL_TYPE(KesuPoint, kesu_point, KESU, POINT, GObject)

/**
 * kesu_point_new:
 * @latitude: degrees, north positive
 * @longitude: degrees, east positive
 *
 * Returns: (transfer full): a point
 */
KesuPoint* kesu_point_new(gdouble latitude, gdouble longitude);

/**
 * kesu_point_get_latitude:
 * @self: a point
 *
 * Returns: degrees, north positive
 */
gdouble kesu_point_get_latitude(KesuPoint* self);

/**
 * kesu_point_get_longitude:
 * @self: a point
 *
 * Returns: degrees, east positive
 */
gdouble kesu_point_get_longitude(KesuPoint* self);

/**
 * KesuBoundingBox:
 *
 * An area between two parallels and two meridians. It never changes, and any thread may use it.
 */
#define KESU_TYPE_BOUNDING_BOX (kesu_bounding_box_get_type())
G_DECLARE_FINAL_TYPE(KesuBoundingBox, kesu_bounding_box, KESU, BOUNDING_BOX, GObject)

/**
 * kesu_bounding_box_get_south:
 * @self: an area
 *
 * Returns: its least latitude, in degrees
 */
gdouble kesu_bounding_box_get_south(KesuBoundingBox* self);

/**
 * kesu_bounding_box_get_west:
 * @self: an area
 *
 * Returns: the longitude where it begins, in degrees
 */
gdouble kesu_bounding_box_get_west(KesuBoundingBox* self);

/**
 * kesu_bounding_box_get_north:
 * @self: an area
 *
 * Returns: its greatest latitude, in degrees
 */
gdouble kesu_bounding_box_get_north(KesuBoundingBox* self);

/**
 * kesu_bounding_box_get_east:
 * @self: an area
 *
 * Returns: the longitude where it ends, in degrees
 */
gdouble kesu_bounding_box_get_east(KesuBoundingBox* self);

G_END_DECLS

#endif  // KESU_POINT_H_
