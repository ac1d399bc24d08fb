#include "server/http/access_log.h"

#include <glib.h>
#include <nlohmann/json.hpp>

namespace kesu_server {
namespace {

std::string TimeText() {
  GDateTime* const now = g_date_time_new_now_utc();
  char* const seconds = g_date_time_format(now, "%Y-%m-%dT%H:%M:%S");
  char text[48];
  g_snprintf(text, sizeof text, "%s.%03dZ", seconds, g_date_time_get_microsecond(now) / 1000);
  g_free(seconds);
  g_date_time_unref(now);
  return text;
}

}  // namespace

std::string AccessLogLine(const AccessRecord& record) {
  const nlohmann::ordered_json line = {
      {"time", TimeText()},
      {"path", record.path},
      {"status", record.status},
      {"requests", record.requests},
      {"answered", record.answered},
      {"request_bytes", record.request_bytes},
      {"reply_bytes", record.reply_bytes},
      {"duration_us", record.duration_us},
  };
  constexpr auto kReplaceBadUtf8 = nlohmann::ordered_json::error_handler_t::replace;
  return line.dump(-1, ' ', false, kReplaceBadUtf8);
}

}  // namespace kesu_server
