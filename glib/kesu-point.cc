#include "kesu-point.h"

#include "client/place.h"

#include "content.h"
#include "conversions.h"

struct _KesuPoint {
  GObject parent_instance;
  kesu::Point content;
};

struct _KesuBoundingBox {
  GObject parent_instance;
  kesu::BoundingBox content;
};

KESU_DEFINE_CONTENT_TYPE(KesuPoint, kesu_point)
KESU_DEFINE_CONTENT_TYPE(KesuBoundingBox, kesu_bounding_box)

KesuPoint* kesu_point_new(gdouble latitude, gdouble longitude) {
  return kesu_glib::NewObject<KesuPoint>(KESU_TYPE_POINT, kesu::Point{latitude, longitude});
}

gdouble kesu_point_get_latitude(KesuPoint* self) {
  g_return_val_if_fail(KESU_IS_POINT(self), 0);
  return self->content.latitude;
}

gdouble kesu_point_get_longitude(KesuPoint* self) {
  g_return_val_if_fail(KESU_IS_POINT(self), 0);
  return self->content.longitude;
}

gdouble kesu_bounding_box_get_south(KesuBoundingBox* self) {
  g_return_val_if_fail(KESU_IS_BOUNDING_BOX(self), 0);
  return self->content.south_west.latitude;
}

gdouble kesu_bounding_box_get_west(KesuBoundingBox* self) {
  g_return_val_if_fail(KESU_IS_BOUNDING_BOX(self), 0);
  return self->content.south_west.longitude;
}

gdouble kesu_bounding_box_get_north(KesuBoundingBox* self) {
  g_return_val_if_fail(KESU_IS_BOUNDING_BOX(self), 0);
  return self->content.north_east.latitude;
}

gdouble kesu_bounding_box_get_east(KesuBoundingBox* self) {
  g_return_val_if_fail(KESU_IS_BOUNDING_BOX(self), 0);
  return self->content.north_east.longitude;
}

namespace kesu_glib {

kesu::Point ContentOf(KesuPoint* point) {
  return point->content;
}

KesuBoundingBox* NewBoundingBox(const kesu::BoundingBox& box) {
  return NewObject<KesuBoundingBox>(KESU_TYPE_BOUNDING_BOX, box);
}

}  // namespace kesu_glib
