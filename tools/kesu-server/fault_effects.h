#ifndef KESU_SERVER_FAULT_EFFECTS_H_
#define KESU_SERVER_FAULT_EFFECTS_H_

#include "tools/kesu-server/fault.h"
#include "tools/kesu-server/reply.h"
#include "tools/kesu-server/reply_writer.h"

namespace kesu_server {

/// What a fault does to the answers before they are put into a reply; most do nothing there.
void SpoilContent(const Fault& fault, ReplyContent* content);
/// What a fault does to the reply made of them.
void SpoilReply(const Fault& fault, Reply* reply);

}  // namespace kesu_server

#endif  // KESU_SERVER_FAULT_EFFECTS_H_
