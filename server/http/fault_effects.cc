#include "server/http/fault_effects.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <zlib.h>

namespace kesu_server {
namespace {

constexpr unsigned kFoundElsewhereStatus = 302;
constexpr unsigned kNoContentStatus = 204;
constexpr unsigned kNotModifiedStatus = 304;
/// Any will do, as long as every run sends the same bytes.
constexpr unsigned kGarbageSeed = 20'110'413;

/// Leaves out the blocks number `period`, 2 `period` and so on, counted from 1.
void Omit(std::size_t period, std::vector<ReplyBlock>* blocks) {
  std::size_t number = 0;
  std::erase_if(*blocks, [&](const ReplyBlock&) { return ++number % period == 0; });
}

/// The gzip form (RFC 1952).
std::string Compress(const std::string& bytes) {
  constexpr int kGzipWindowBits = 16 + 15;
  constexpr int kMemoryLevel = 8;
  z_stream stream = {};
  if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kGzipWindowBits, kMemoryLevel,
                   Z_DEFAULT_STRATEGY) != Z_OK) {
    return {};
  }
  std::string compressed(deflateBound(&stream, static_cast<uLong>(bytes.size())), '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));  // Only read.
  stream.avail_in = static_cast<uInt>(bytes.size());
  stream.next_out = reinterpret_cast<Bytef*>(compressed.data());
  stream.avail_out = static_cast<uInt>(compressed.size());
  deflate(&stream, Z_FINISH);
  compressed.resize(stream.total_out);
  deflateEnd(&stream);
  return compressed;
}

/// Applies the encodings of the list, from the first to the last, and puts it into the block.
void Encode(std::string_view encodings, ReplyBlock* block) {
  block->encodings = encodings;
  while (!encodings.empty()) {
    const std::size_t length = std::min(encodings.find(','), encodings.size());
    if (encodings.substr(0, length) == "g") block->payload = Compress(block->payload);
    encodings.remove_prefix(std::min(length + 1, encodings.size()));
  }
}

std::string Garbage(std::size_t length) {
  std::mt19937 random(kGarbageSeed);
  std::string bytes;
  while (bytes.size() < length) bytes.push_back(static_cast<char>(random() & 0xFF));
  return bytes;
}

void SetStatus(unsigned status, Reply* reply) {
  reply->status = status;
  if (status != kNoContentStatus && status != kNotModifiedStatus) return;
  // These are sent without a body.
  reply->body.clear();
  reply->headers.clear();
}

}  // namespace

void SpoilContent(const Fault& fault, ReplyContent* content) {
  switch (fault.kind) {
    case FaultKind::kVersion:
      content->version = static_cast<std::uint16_t>(fault.number);
      return;
    case FaultKind::kOmit:
      return Omit(static_cast<std::size_t>(fault.number), &content->blocks);
    case FaultKind::kEncoding:
      for (ReplyBlock& block : content->blocks) Encode(fault.text, &block);
      return;
    default:
      return;
  }
}

void SpoilReply(const Fault& fault, Reply* reply) {
  reply->fault = fault.words;
  switch (fault.kind) {
    case FaultKind::kStatus:
      return SetStatus(static_cast<unsigned>(fault.number), reply);
    case FaultKind::kDelay:
      reply->delay_ms = static_cast<unsigned>(fault.number);
      return;
    case FaultKind::kDrop:
      reply->delivery = Delivery::kNone;
      return;
    case FaultKind::kCut:
      reply->delivery = Delivery::kCut;
      reply->sent_body_bytes = static_cast<std::size_t>(fault.number);
      return;
    case FaultKind::kChunked:
      reply->delivery = Delivery::kChunked;
      return;
    case FaultKind::kContentType:
      return SetHeader("Content-Type", fault.text, reply);
    case FaultKind::kGarbage:
      reply->body = Garbage(reply->body.size());
      return;
    case FaultKind::kRedirect:
      reply->status = kFoundElsewhereStatus;
      return SetHeader("Location", fault.text, reply);
    default:
      return;
  }
}

}  // namespace kesu_server
