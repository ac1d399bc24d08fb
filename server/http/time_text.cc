#include "server/http/time_text.h"

#include <glib.h>

namespace kesu_server {

std::string TimeText(std::int64_t time_us) {
  GDateTime* const time = g_date_time_new_from_unix_utc(time_us / G_USEC_PER_SEC);
  char* const seconds = g_date_time_format(time, "%Y-%m-%dT%H:%M:%S");
  char text[48];
  g_snprintf(text, sizeof text, "%s.%03dZ", seconds,
             static_cast<int>(time_us % G_USEC_PER_SEC / 1000));
  g_free(seconds);
  g_date_time_unref(time);
  return text;
}

}  // namespace kesu_server
