/* Where am I, and what is there: locate-c [SERVER] */
#include <kesu-glib.h>

int main(int argc, char** argv) {
  g_autoptr(KesuClient) client = kesu_client_new(argc > 1 ? argv[1] : "http://127.0.0.1:8642");
  g_autoptr(KesuObservation) seen = kesu_observation_new();
  kesu_observation_add_cell(seen, 1, 1, 1, 1001, -71);
  kesu_observation_add_access_point(seen, "00-00-5E-00-53-01", -60, NULL);

  g_autoptr(GError) error = NULL;
  g_autoptr(KesuLocation) where = kesu_client_locate(client, seen, NULL, &error);
  if (where == NULL) {
    g_printerr("%s\n", error->message);
    return 1;
  }
  const double latitude = kesu_location_get_latitude(where);
  const double longitude = kesu_location_get_longitude(where);
  g_print("%f %f %f\n", latitude, longitude, kesu_location_get_accuracy(where));

  g_autoptr(KesuPlace) place = kesu_client_reverse(client, latitude, longitude, NULL, &error);
  if (place == NULL) {
    g_printerr("%s\n", error->message);
    return 1;
  }
  g_print("%s\n", kesu_place_get_name(place));
  return 0;
}
