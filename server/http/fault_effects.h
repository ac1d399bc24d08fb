#ifndef SERVER_HTTP_FAULT_EFFECTS_H_
#define SERVER_HTTP_FAULT_EFFECTS_H_

#include "server/http/fault.h"
#include "server/http/reply.h"
#include "server/protocol/reply_writer.h"

namespace kesu_server {

/// What a fault does to the answers before they are put into a reply; most do nothing there.
void SpoilContent(const Fault& fault, ReplyContent* content);
/// What a fault does to the reply made of them.
void SpoilReply(const Fault& fault, Reply* reply);

}  // namespace kesu_server

#endif  // SERVER_HTTP_FAULT_EFFECTS_H_
