#ifndef SERVER_HTTP_JSON_REPLY_H_
#define SERVER_HTTP_JSON_REPLY_H_

#include <nlohmann/json.hpp>

#include "server/http/reply.h"

namespace kesu_server {

inline constexpr unsigned kBadJsonStatus = 400;
inline constexpr unsigned kForbiddenStatus = 403;
inline constexpr unsigned kNothingKnownStatus = 404;
inline constexpr unsigned kStorageFailureStatus = 503;

/// Bytes that are no UTF-8 are replaced.
Reply JsonReply(const nlohmann::ordered_json& json, unsigned status = 200);

/// {"error":{"code":404,"message":"Not found"}}
Reply JsonError(unsigned status, const char* message);

}  // namespace kesu_server

#endif  // SERVER_HTTP_JSON_REPLY_H_
