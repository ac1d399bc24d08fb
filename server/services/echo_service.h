#ifndef SERVER_SERVICES_ECHO_SERVICE_H_
#define SERVER_SERVICES_ECHO_SERVICE_H_

#include "server/protocol/post_reader.h"
#include "server/protocol/service_reply.h"

namespace kesu_server {

inline constexpr char kEchoServiceName[] = "http:echo";

/// Answers an HTTP-like request with its own headers and bodies, see docs/server.md.
ServiceReply Echo(const ServiceRequest& request);

}  // namespace kesu_server

#endif  // SERVER_SERVICES_ECHO_SERVICE_H_
