#ifndef SERVER_HTTP_REPLY_SENDER_H_
#define SERVER_HTTP_REPLY_SENDER_H_

#include <libsoup/soup.h>

#include "server/http/reply.h"

namespace kesu_server {

/// Sends a reply in the way that it demands, on the default main context. To be called from inside
/// a handler of the server; a delayed reply goes out later, unless the message is gone by then.
void SendReply(const Reply& reply, SoupServer* server, SoupServerMessage* message);

}  // namespace kesu_server

#endif  // SERVER_HTTP_REPLY_SENDER_H_
