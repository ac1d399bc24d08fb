#include "tools/kesu-server/reply_writer.h"

#include <cstddef>
#include <type_traits>

namespace kesu_server {
namespace {

constexpr std::int16_t kProtocolVersion = 1;
constexpr std::uint16_t kReplyBlock = 0x8100;
/// What a block's body holds in front of the payload: id, status, the length of the empty list of
/// encodings, and a number that nobody interprets.
constexpr std::size_t kReplyFieldsLength = 2 + 2 + 2 + 4;

template <typename Number>
void AppendBigEndian(Number value, std::string* out) {
  const auto bits = static_cast<std::make_unsigned_t<Number>>(value);
  for (std::size_t left = sizeof bits; left > 0; --left) {
    out->push_back(static_cast<char>(bits >> (8 * (left - 1)) & 0xFF));
  }
}

}  // namespace

std::string WriteReplyBody(const std::vector<ReplyBlock>& blocks) {
  std::string body;
  AppendBigEndian(kProtocolVersion, &body);
  for (const ReplyBlock& block : blocks) {
    AppendBigEndian(static_cast<std::uint32_t>(kReplyFieldsLength + block.payload.size()), &body);
    AppendBigEndian(kReplyBlock, &body);
    AppendBigEndian(block.id, &body);
    AppendBigEndian(block.status, &body);
    AppendBigEndian(std::uint16_t{0}, &body);
    AppendBigEndian(std::uint32_t{0}, &body);
    body += block.payload;
  }
  return body;
}

}  // namespace kesu_server
