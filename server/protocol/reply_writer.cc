#include "server/protocol/reply_writer.h"

#include <cstddef>

#include "server/protocol/big_endian.h"

namespace kesu_server {
namespace {

constexpr std::uint16_t kReplyBlock = 0x8100;
/// What a block's body holds beside the encodings and the payload: id, status, the length of the
/// encodings, and a number that nobody interprets.
constexpr std::size_t kReplyFieldsLength = 2 + 2 + 2 + 4;

}  // namespace

std::string WriteReplyBody(const ReplyContent& content) {
  std::string body;
  AppendBigEndian(content.version, &body);
  for (const ReplyBlock& block : content.blocks) {
    const std::size_t length = kReplyFieldsLength + block.encodings.size() + block.payload.size();
    AppendBigEndian(static_cast<std::uint32_t>(length), &body);
    AppendBigEndian(kReplyBlock, &body);
    AppendBigEndian(block.id, &body);
    AppendBigEndian(block.status, &body);
    AppendBigEndian(static_cast<std::uint16_t>(block.encodings.size()), &body);
    body += block.encodings;
    AppendBigEndian(std::uint32_t{0}, &body);
    body += block.payload;
  }
  return body;
}

}  // namespace kesu_server
