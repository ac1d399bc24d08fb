#ifndef KESU_SERVER_ECHO_SERVICE_H_
#define KESU_SERVER_ECHO_SERVICE_H_

#include "tools/kesu-server/request_handler.h"

namespace kesu_server {

inline constexpr char kEchoServiceName[] = "http:echo";

/// Answers an HTTP-like request with its own headers and bodies, see docs/server.md.
ServiceReply Echo(const ServiceRequest& request);

}  // namespace kesu_server

#endif  // KESU_SERVER_ECHO_SERVICE_H_
