#include "server/protocol/post_reader.h"

#include <cstdio>
#include <string>

namespace kesu_server {
namespace {

constexpr std::int16_t kProtocolVersion = 1;
constexpr std::uint16_t kHeaderBlock = 0x0001;
constexpr std::uint16_t kRequestBlock = 0x0100;
constexpr std::uint16_t kMultipartRequestBlock = 0x0101;

/// Length and type of a block, and where in the POST they and its body stand.
struct BlockStart {
  std::size_t length_offset = 0;
  std::int32_t length = 0;
  std::size_t type_offset = 0;
  std::uint16_t type = 0;
};

BlockStart ReadBlockStart(ByteCursor* in, const char* block) {
  BlockStart start;
  start.length_offset = in->offset();
  start.length = in->Int32(block);
  start.type_offset = in->offset();
  start.type = in->Uint16(block);
  return start;
}

void FailOnType(const BlockStart& start, const char* block, std::uint16_t expected_type,
                ByteCursor* in) {
  char text[64];
  std::snprintf(text, sizeof text, ": the block type is 0x%04X, not 0x%04X", unsigned{start.type},
                unsigned{expected_type});
  in->Fail(start.type_offset, std::string(block) + text);
}

/// Yields a cursor over the body of the block.
ByteCursor EnterBlock(ByteCursor* in, const char* block, const BlockStart& start,
                      std::optional<ReadError>* error) {
  const std::size_t body_offset = in->offset();
  return {in->Run(block, start.length_offset, start.length), body_offset, error};
}

void ReadHeaderBlock(ByteCursor* in, Post* post, std::optional<ReadError>* error) {
  constexpr char kBlock[] = "header block";
  const BlockStart start = ReadBlockStart(in, kBlock);
  if (start.type != kHeaderBlock) FailOnType(start, kBlock, kHeaderBlock, in);
  ByteCursor block = EnterBlock(in, kBlock, start, error);
  post->client_version = block.ShortRun("client version");
  post->cookie = block.Int64("cookie");
  post->configuration = block.ShortRun("configuration");
  block.ExpectEnd(kBlock);
}

ServiceRequest ReadRequestBlock(ByteCursor* in, std::optional<ReadError>* error) {
  constexpr char kBlock[] = "request block";
  const BlockStart start = ReadBlockStart(in, kBlock);
  ServiceRequest request;
  request.is_multipart = start.type == kMultipartRequestBlock;
  if (start.type != kRequestBlock && !request.is_multipart) {
    FailOnType(start, kBlock, kRequestBlock, in);
  }
  ByteCursor block = EnterBlock(in, kBlock, start, error);
  request.id = block.Int16("request id");
  request.service = block.ShortRun("service name");
  request.version = block.Int16("service version");
  request.payload = request.is_multipart ? block.Rest() : block.LongRun("payload");
  block.ExpectEnd(kBlock);
  return request;
}

}  // namespace

std::optional<ReadError> ReadPost(std::string_view body, Post* post) {
  std::optional<ReadError> error;
  ByteCursor in(body, 0, &error);
  const std::int16_t version = in.Int16("protocol version");
  if (version != kProtocolVersion) {
    in.Fail(0, "the protocol version is " + std::to_string(version) + ", not " +
                   std::to_string(kProtocolVersion));
  }
  ReadHeaderBlock(&in, post, &error);
  while (!error && !in.at_end()) post->requests.push_back(ReadRequestBlock(&in, &error));
  return error;
}

}  // namespace kesu_server
