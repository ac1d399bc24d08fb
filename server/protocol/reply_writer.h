#ifndef SERVER_PROTOCOL_REPLY_WRITER_H_
#define SERVER_PROTOCOL_REPLY_WRITER_H_

#include <cstdint>
#include <string>
#include <vector>

namespace kesu_server {

/// The answer to one request block.
struct ReplyBlock {
  std::int16_t id = 0;
  std::int16_t status = 0;
  std::string payload;
  /// The names of the encodings that the payload has gone through, separated by commas; at most
  /// 65535 bytes.
  std::string encodings = {};
};

/// The answers to all request blocks of a POST.
struct ReplyContent {
  std::uint16_t version = 1;
  std::vector<ReplyBlock> blocks;
};

/// The body of a reply.
std::string WriteReplyBody(const ReplyContent& content);

}  // namespace kesu_server

#endif  // SERVER_PROTOCOL_REPLY_WRITER_H_
