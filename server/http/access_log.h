#ifndef SERVER_HTTP_ACCESS_LOG_H_
#define SERVER_HTTP_ACCESS_LOG_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace kesu_server {

/// What is noted of a POST: nothing of who asked, or where they are.
struct AccessRecord {
  std::string path;
  unsigned status = 0;
  /// The requests in it, and those of them that were answered with status 200.
  std::size_t requests = 0;
  std::size_t answered = 0;
  std::size_t request_bytes = 0;
  std::size_t reply_bytes = 0;
  std::int64_t duration_us = 0;
};

/// {"time":"2026-11-22T02:18:25.123Z","path":"/m/appreq/cllDovi","status":200,...}
std::string AccessLogLine(const AccessRecord& record);

}  // namespace kesu_server

#endif  // SERVER_HTTP_ACCESS_LOG_H_
