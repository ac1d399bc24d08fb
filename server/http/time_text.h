#ifndef SERVER_HTTP_TIME_TEXT_H_
#define SERVER_HTTP_TIME_TEXT_H_

#include <cstdint>
#include <string>

namespace kesu_server {

/// A time since 1970, as "2026-11-22T02:18:25.123Z".
std::string TimeText(std::int64_t time_us);

}  // namespace kesu_server

#endif  // SERVER_HTTP_TIME_TEXT_H_
