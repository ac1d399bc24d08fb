#ifndef SERVER_PROTOCOL_SERVICE_REPLY_H_
#define SERVER_PROTOCOL_SERVICE_REPLY_H_

#include <cstdint>
#include <string>

namespace kesu_server {

/// The statuses of reply blocks.
inline constexpr std::int16_t kOkStatus = 200;
inline constexpr std::int16_t kBadRequestStatus = 400;
inline constexpr std::int16_t kUnknownServiceStatus = 404;
inline constexpr std::int16_t kUnavailableStatus = 503;

/// What a service says to one request: the status of its reply block, 200 when all is well, and
/// the payload.
struct ServiceReply {
  std::int16_t status = 0;
  std::string payload;
};

}  // namespace kesu_server

#endif  // SERVER_PROTOCOL_SERVICE_REPLY_H_
