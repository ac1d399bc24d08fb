#include "server/http/access_log.h"

#include <glib.h>
#include <nlohmann/json.hpp>

#include "server/http/time_text.h"

namespace kesu_server {

std::string AccessLogLine(const AccessRecord& record) {
  const nlohmann::ordered_json line = {
      {"time", TimeText(g_get_real_time())},
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
