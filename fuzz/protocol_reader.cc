// The body of a reply, against a second parser of its blocks.
#include "kesu/mux/protocol_reader.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "kesu/common/base/logging.h"
#include "kesu/common/base/scoped_ptr.h"
#include "kesu/common/base/zlib_decompression.h"
#include "kesu/mux/non_multipart_response.h"

#include "fuzz/byte_script.h"

using common_kesu::NonMultipartResponse;
using common_kesu::ProtocolReader;
using common_kesu::Response;
using namespace common_base;
using namespace kesu_fuzz;

namespace {

constexpr int kReplyBlock = 0x8100;
constexpr std::size_t kBlockHeadBytes = 6;
constexpr std::size_t kReplyHeadBytes = 10;

struct Reply {
  int id = 0;
  int status = 0;
  std::string_view encodings;
  std::uint32_t value = 0;
  std::string_view raw_payload;
  std::string payload;
};

/// Undoes the encodings, the last one first; false where one cannot be undone.
bool Decode(std::string_view encodings, std::string* payload) {
  if (encodings.empty()) return true;
  for (;;) {
    const std::size_t comma = encodings.rfind(',');
    const std::string_view name = encodings.substr(comma + 1);
    if (name == "g") {
      const ByteView input = ViewOf(*payload);
      ByteVector output;
      bool ok = false;
      DoZlibDecompression(&input, &output, &ok);
      if (!ok) return false;
      payload->assign(output.begin(), output.end());
    } else if (name != "n") {
      return false;
    }
    if (comma == std::string_view::npos) return true;
    encodings = encodings.substr(0, comma);
  }
}

bool ReadReply(std::string_view body, Reply* reply) {
  ByteScript script(body);
  reply->id = script.TakeInt16();
  reply->status = script.TakeInt16();
  const std::size_t length = static_cast<std::uint16_t>(script.TakeInt16());
  if (body.size() < kReplyHeadBytes + length) return false;
  reply->encodings = script.TakeText(length);
  reply->value = script.TakeUint32();
  reply->raw_payload = script.TakeRest();
  reply->payload = reply->raw_payload;
  return Decode(reply->encodings, &reply->payload);
}

void RequireReply(const NonMultipartResponse& response, const Reply& reply, std::size_t length) {
  Require(response.IsInitialized() && !response.is_error());
  Require(response.type() == kReplyBlock && response.id() == reply.id);
  Require(response.status_code() == reply.status);
  Require(response.body_length() == static_cast<int>(length));
  Require(response.encodings() == GString(ViewOf(reply.encodings)));
  Require(static_cast<std::uint32_t>(response.value_after_encodings()) == reply.value);
  Require(response.raw_payload().BitwiseEquals(ViewOf(reply.raw_payload)));
  Require(response.ComputePayloadLength() == static_cast<int>(reply.payload.size()));
  const ScopedPtr<DataInputStream> stream(response.GetInputStream());
  Require(stream->ReadFully().BitwiseEquals(ViewOf(reply.payload)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  ByteScript script(bytes, size);
  SetLogCallback([](const GString&, void*) {}, nullptr);
  SetLogLevel(script.Pick(2) == 1 ? kLogDebug : kLogNothing);
  std::string_view rest = script.TakeRest();
  const ByteView view = ViewOf(rest);
  DataInputStream stream(&view);
  ProtocolReader reader(&stream);
  bool ok = true;
  Require(reader.ReadResponse(&ok) == nullptr && !ok);
  reader.InitializeInput(&ok);
  Require(ok == rest.starts_with(std::string_view("\0\1", 2)));
  rest.remove_prefix(std::min<std::size_t>(rest.size(), 2));
  while (ok) {
    ByteScript head(rest);
    const std::size_t length = head.TakeUint32();
    const int type = static_cast<std::uint16_t>(head.TakeInt16());
    const bool is_whole = rest.size() >= kBlockHeadBytes && rest.size() - kBlockHeadBytes >= length;
    const bool is_reply = is_whole && type == kReplyBlock;
    Reply reply;
    const bool is_good = is_reply ? ReadReply(head.TakeText(length), &reply) : is_whole;
    const ScopedPtr<Response> response(reader.ReadResponse(&ok));
    Require(ok == is_good);
    Require((response.get() != nullptr) == (is_reply && is_good));
    if (response) {
      RequireReply(static_cast<const NonMultipartResponse&>(*response), reply, length);
    }
    if (ok) rest.remove_prefix(kBlockHeadBytes + length);
  }
  return 0;
}
