#ifndef SERVER_HTTP_HTTP_RESPONSE_H_
#define SERVER_HTTP_HTTP_RESPONSE_H_

#include <memory>

#include <microhttpd.h>

#include "server/http/reply.h"

namespace kesu_server {

using HttpResponse = std::unique_ptr<MHD_Response, decltype(&MHD_destroy_response)>;

/// What libmicrohttpd is to send for a reply whose delivery is not kNone. Null when there is no
/// memory for it.
HttpResponse NewHttpResponse(Reply reply);

/// The same for one that is a stream, of which `read` is to give one piece after another.
HttpResponse NewStreamResponse(const Reply& reply, MHD_ContentReaderCallback read, void* data);

}  // namespace kesu_server

#endif  // SERVER_HTTP_HTTP_RESPONSE_H_
