#ifndef SERVER_HTTP_MEDIA_TYPE_H_
#define SERVER_HTTP_MEDIA_TYPE_H_

#include <string>

#include "server/http/reply.h"

namespace kesu_server {

/// The media type of a message, without its parameters; empty when it states none.
std::string MediaType(const HttpHeaders& headers);

}  // namespace kesu_server

#endif  // SERVER_HTTP_MEDIA_TYPE_H_
