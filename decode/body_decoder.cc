#include "decode/body_decoder.h"

#include <string_view>
#include <utility>

#include "kesu/common/base/scoped_ptr.h"
#include "kesu/mux/block.h"
#include "kesu/mux/non_multipart_response.h"
#include "kesu/mux/protocol_reader.h"
#include "kesu/proto/lbs.h"
#include "kesu/services/lbs_service.h"

#include "decode/message_decoder.h"

namespace kesu_decode {
namespace {

using common_base::ByteView;
using common_base::DataInputStream;
using common_base::ScopedPtr;
using common_kesu::Block;
using common_kesu::NonMultipartResponse;

/// Of the low byte of the first block's type, behind the version and the block's length.
constexpr int kFirstBlockType = 6;
constexpr int kBlockTypeBytes = 2;
constexpr unsigned kBlockTypeMask = 0xFFFF;

struct BlockName {
  unsigned type;
  bool in_post;
  const char* name;
};

constexpr BlockName kBlockNames[] = {
    {Block::kHeaderBlock, true, "header block"},
    {Block::kRequestBlock, true, "request block"},
    {Block::kMultipartRequestBlock, true, "multipart request block"},
    {Block::kResponseBlock, false, "reply block"},
};

/// Null for a block that has no meaning there.
const char* NameOfBlock(unsigned type, bool in_post) {
  for (const BlockName& entry : kBlockNames) {
    if (entry.type == type && entry.in_post == in_post) return entry.name;
  }
  return nullptr;
}

bool IsPost(const ByteView& body) {
  if (body.length() < kFirstBlockType + kBlockTypeBytes) return false;
  return (body[kFirstBlockType] << 8 | body[kFirstBlockType + 1]) == Block::kHeaderBlock;
}

std::string_view TextOf(const ByteView& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), static_cast<std::size_t>(bytes.length())};
}

class NullTreeWriter final : public TreeWriter {
 public:
  void Open(const Node&) override {}
  void Close(std::size_t) override {}
  void OpenList(const char*) override {}
  void CloseList() override {}
  void Leaf(const Node&, std::size_t) override {}
  void Stop(const Fault&) override {}
};

/// Why `payload` is no location reply; nothing when it is one. Of a payload that is cut short, the
/// end is not held against it.
std::optional<Fault> FindWhyNoLocReply(const Cursor::Run& payload, bool is_cut) {
  NullTreeWriter nowhere;
  MessageDecoder decoder(&nowhere);
  Cursor in(payload);
  const bool ok = decoder.Decode(lbs::GLocReply::kDescriptor, {}, &in);
  if (!ok && !is_cut) return decoder.fault();
  return decoder.oddity();
}

}  // namespace

std::optional<Fault> BodyDecoder::Decode(const ByteView& body, std::string remark,
                                         std::optional<bool> is_post) {
  is_post_ = is_post.value_or(IsPost(body));
  writer_->Open(
      {.name = is_post_ ? "POST" : "reply", .length = body.length(), .remark = std::move(remark)});
  Cursor in(body, 0);
  long long version = 0;
  if (ReadNumber("protocol version", 2, &in, &version)) {
    writer_->Leaf({.name = "protocol version", .value = version}, in.offset());
    if (version == common_kesu::kProtocolVersion) {
      DecodeBlocks(&in);
    } else {
      Fail(0, "the protocol version is " + std::to_string(version) + ", not " +
                  std::to_string(common_kesu::kProtocolVersion));
    }
  }
  if (fault_) writer_->Stop(*fault_);
  writer_->Close(in.end());
  return fault_;
}

bool BodyDecoder::DecodeBlocks(Cursor* in) {
  writer_->OpenList("blocks");
  bool ok = true;
  while (ok && !in->at_end()) ok = DecodeBlock(in);
  writer_->CloseList();
  return ok;
}

bool BodyDecoder::DecodeBlock(Cursor* in) {
  const std::size_t offset = in->offset();
  long long length = 0;
  long long signed_type = 0;
  if (!ReadNumber("length of a block", 4, in, &length) ||
      !ReadNumber("type of a block", kBlockTypeBytes, in, &signed_type)) {
    return false;
  }
  const unsigned type = static_cast<unsigned>(signed_type) & kBlockTypeMask;
  const Cursor::Run body = in->Take(length);
  const char* const name = NameOfBlock(type, is_post_);
  Node node = {.offset = offset, .name = name, .block_type = type, .length = length};
  if (name == nullptr) {
    node.name = "unknown block";
    node.value = RawBytes{body.bytes, body.offset};
    writer_->Leaf(node, body.end());
    return IsWhole(node.name, offset, body);
  }
  const bool is_whole = IsWhole(name, offset, body);
  writer_->Open(node);
  Cursor inside(body);
  bool ok = false;
  if (type == Block::kHeaderBlock) {
    ok = DecodeHeaderBlock(&inside);
  } else if (type == Block::kResponseBlock) {
    ok = DecodeReplyBlock(body, &inside);
  } else {
    ok = DecodeRequestBlock(type == Block::kMultipartRequestBlock, &inside);
  }
  writer_->Close(body.end());
  return ok && is_whole;
}

bool BodyDecoder::DecodeHeaderBlock(Cursor* in) {
  Cursor::Run text;
  return ShowText("client version", in, &text) && ShowNumber("cookie", 8, in) &&
         ShowText("configuration", in, &text) && ExpectEnd("header block", *in);
}

bool BodyDecoder::DecodeRequestBlock(bool is_multipart, Cursor* in) {
  Cursor::Run service;
  if (!ShowNumber("id", 2, in) || !ShowText("service", in, &service) ||
      !ShowNumber("service version", 2, in)) {
    return false;
  }
  if (!is_multipart) {
    return DecodeRequestPayload(service, in) && ExpectEnd("request block", *in);
  }
  const Cursor::Run rest = in->Take(in->left());
  writer_->Leaf({.offset = rest.offset,
                 .name = "parts",
                 .length = rest.length,
                 .value = RawBytes{rest.bytes, rest.offset}},
                rest.end());
  return true;
}

bool BodyDecoder::DecodeRequestPayload(const Cursor::Run& service, Cursor* in) {
  const std::size_t offset = in->offset();
  long long length = 0;
  if (!ReadNumber("length of the payload", 4, in, &length)) return false;
  const Cursor::Run payload = in->Take(length);
  const bool is_whole = IsWhole("payload", offset, payload);
  Node node = {.offset = payload.offset, .name = "payload", .length = length};
  if (TextOf(service.bytes) != common_kesu::kLBSServiceUri) {
    node.value = RawBytes{payload.bytes, payload.offset};
    writer_->Leaf(node, payload.end());
    return is_whole;
  }
  MessageDecoder decoder(writer_);
  Cursor inside(payload);
  if (decoder.Decode(lbs::GLocRequest::kDescriptor, node, &inside)) return is_whole;
  Fail(decoder.fault()->offset, decoder.fault()->reason);
  return false;
}

bool BodyDecoder::DecodeReplyBlock(const Cursor::Run& block, Cursor* in) {
  Cursor::Run encodings;
  if (!ShowNumber("id", 2, in) || !ShowNumber("status", 2, in) ||
      !ShowText("encodings", in, &encodings) || !ShowNumber("value after encodings", 4, in)) {
    return false;
  }
  const Cursor::Run payload = in->Take(in->left());
  const bool is_encoded = !encodings.bytes.IsEmpty();
  if (is_encoded && block.is_whole()) return DecodeEncodedPayload(block, encodings, payload);
  const Node node = {.offset = payload.offset, .name = "payload", .length = payload.length};
  // What is left of an encoded payload is not decoded.
  if (is_encoded) {
    Node raw = node;
    raw.value = RawBytes{payload.bytes, payload.offset};
    writer_->Leaf(raw, payload.end());
    return false;
  }
  ShowReplyPayload(node, payload, !block.is_whole());
  return true;
}

bool BodyDecoder::DecodeEncodedPayload(const Cursor::Run& block, const Cursor::Run& encodings,
                                       const Cursor::Run& payload) {
  // The library itself undoes the encodings, so that what is shown is what a service gets.
  const ScopedPtr<NonMultipartResponse> response(new NonMultipartResponse);
  DataInputStream stream(&block.bytes);
  bool ok = false;
  response->Initialize(&stream, block.bytes.length(), &ok);
  Node node = {.offset = payload.offset, .name = "payload", .length = payload.length};
  if (!ok) {
    node.value = RawBytes{payload.bytes, payload.offset};
    writer_->Leaf(node, payload.end());
    Fail(encodings.offset, "the encodings cannot be undone");
    return false;
  }
  const ByteView& decoded = response->payload();
  node.decoded_length = decoded.length();
  node.remark = "offsets inside are those of the decoded bytes";
  ShowReplyPayload(node, {decoded, 0, decoded.length(), decoded.length()}, false);
  return true;
}

void BodyDecoder::ShowReplyPayload(Node node, const Cursor::Run& payload, bool is_cut) {
  const std::optional<Fault> reason = FindWhyNoLocReply(payload, is_cut);
  if (!reason) {
    MessageDecoder decoder(writer_);
    Cursor in(payload);
    // Only the end of a payload that is cut short can be wrong with it; that is known already.
    static_cast<void>(decoder.Decode(lbs::GLocReply::kDescriptor, node, &in));
    return;
  }
  if (!node.remark.empty()) node.remark += "; ";
  node.remark += std::string("no ") + lbs::GLocReply::kDescriptor.name + ": at " +
                 std::to_string(reason->offset) + ", " + reason->reason;
  node.value = RawBytes{payload.bytes, payload.offset};
  writer_->Leaf(node, node.end_of_encoded().value_or(payload.end()));
}

bool BodyDecoder::ReadNumber(const char* name, int width, Cursor* in, long long* value) {
  const std::size_t offset = in->offset();
  const int left = in->left();
  DataInputStream* const stream = in->stream();
  *value = width == 2   ? stream->ReadInt16()
           : width == 4 ? stream->ReadInt32()
                        : stream->ReadInt64();
  if (!stream->hit_error()) return true;
  Fail(offset, std::string(name) + ": " + std::to_string(width) + " bytes wanted, " +
                   std::to_string(left) + " left");
  return false;
}

bool BodyDecoder::ShowNumber(const char* name, int width, Cursor* in) {
  Node node = {.offset = in->offset(), .name = name};
  long long value = 0;
  if (!ReadNumber(name, width, in, &value)) return false;
  node.value = value;
  writer_->Leaf(node, in->offset());
  return true;
}

bool BodyDecoder::ShowText(const char* name, Cursor* in, Cursor::Run* text) {
  const std::size_t offset = in->offset();
  long long length = 0;
  if (!ReadNumber(name, 2, in, &length)) return false;
  *text = in->Take(static_cast<unsigned short>(length));
  writer_->Leaf({.offset = offset, .name = name, .value = TextBytes{text->bytes}}, text->end());
  return IsWhole(name, offset, *text);
}

bool BodyDecoder::ExpectEnd(const char* block, const Cursor& in) {
  if (in.at_end()) return true;
  Fail(in.offset(),
       std::string(block) + ": " + std::to_string(in.left()) + " bytes more than its fields");
  return false;
}

bool BodyDecoder::IsWhole(const char* name, std::size_t offset, const Cursor::Run& run) {
  if (run.is_whole()) return true;
  Fail(offset, std::string(name) + ": the length is " + std::to_string(run.length) +
                   ", but there are " + std::to_string(run.left) + " bytes");
  return false;
}

void BodyDecoder::Fail(std::size_t offset, const std::string& reason) {
  if (!fault_) fault_ = Fault{offset, reason};
}

}  // namespace kesu_decode
