#ifndef KESU_SERVER_REPLY_WRITER_H_
#define KESU_SERVER_REPLY_WRITER_H_

#include <cstdint>
#include <string>
#include <vector>

namespace kesu_server {

/// The answer to one request block.
struct ReplyBlock {
  std::int16_t id = 0;
  std::int16_t status = 0;
  std::string payload;
};

/// The body of a reply: protocol version 1 and the blocks, their payloads without any encoding.
std::string WriteReplyBody(const std::vector<ReplyBlock>& blocks);

}  // namespace kesu_server

#endif  // KESU_SERVER_REPLY_WRITER_H_
