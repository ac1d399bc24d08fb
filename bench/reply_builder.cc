#include "reply_builder.h"

#include "kesu/common/base/data_output_stream.h"
#include "kesu/mux/block.h"
#include "kesu/mux/protocol_reader.h"

using common_base::ByteVector;
using common_base::ByteView;
using common_base::DataOutputStream;

namespace {

constexpr int kFixedBodyBytes = 10;
constexpr int kStatusOk = 200;

}  // namespace

ByteVector NewReply() {
  ByteVector reply;
  DataOutputStream(&reply).WriteInt16(common_kesu::kProtocolVersion);
  return reply;
}

void AppendReplyBlock(short id, const ByteView& payload, ByteVector* reply) {
  DataOutputStream stream(reply);
  stream.WriteInt32(kFixedBodyBytes + payload.length());
  stream.WriteUint16(common_kesu::Block::kResponseBlock);
  stream.WriteInt16(id);
  stream.WriteInt16(kStatusOk);
  stream.WriteUtf8String({});
  stream.WriteInt32(0);
  stream.WriteRawBytes(payload);
}
