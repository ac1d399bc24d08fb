#include "tools/kesu-server/post_reader.h"

#include <cstdio>
#include <utility>

namespace kesu_server {
namespace {

constexpr std::int16_t kProtocolVersion = 1;
constexpr std::uint16_t kHeaderBlock = 0x0001;
constexpr std::uint16_t kRequestBlock = 0x0100;

/// Reads big-endian numbers and byte runs from the front of `bytes`. The first failure is kept in
/// `error`, which may be shared with the cursors of enclosing and enclosed runs; after it
/// everything reads as zero or empty.
class Cursor {
 public:
  Cursor(std::string_view bytes, std::size_t offset, std::optional<PostError>* error)
      : bytes_(bytes), offset_(offset), error_(error) {}

  bool failed() const { return error_->has_value(); }
  bool at_end() const { return bytes_.empty(); }
  std::size_t offset() const { return offset_; }

  std::int16_t Int16(const char* field) { return static_cast<std::int16_t>(Number(field, 2)); }
  std::uint16_t Uint16(const char* field) { return static_cast<std::uint16_t>(Number(field, 2)); }
  std::int32_t Int32(const char* field) { return static_cast<std::int32_t>(Number(field, 4)); }
  std::int64_t Int64(const char* field) { return static_cast<std::int64_t>(Number(field, 8)); }

  /// A run whose length stands in front of it, in 16 or 32 bits.
  std::string_view ShortRun(const char* field) {
    const std::size_t start = offset_;
    const std::uint16_t length = Uint16(field);
    return Run(field, start, length);
  }
  std::string_view LongRun(const char* field) {
    const std::size_t start = offset_;
    const std::int32_t length = Int32(field);
    return Run(field, start, length);
  }
  /// The next `length` bytes; `start` is where that length was read.
  std::string_view Run(const char* field, std::size_t start, std::int32_t length) {
    if (failed()) return {};
    if (length < 0) {
      Fail(start, std::string(field) + ": the length " + std::to_string(length) + " is negative");
      return {};
    }
    if (static_cast<std::size_t>(length) > bytes_.size()) {
      Fail(start, std::string(field) + ": the length " + std::to_string(length) +
                      " reaches past the " + std::to_string(bytes_.size()) + " bytes left");
      return {};
    }
    return Take(static_cast<std::size_t>(length));
  }

  void ExpectEnd(const char* block) {
    if (failed() || at_end()) return;
    Fail(offset_,
         std::string(block) + ": " + std::to_string(bytes_.size()) + " bytes more than its fields");
  }

  void Fail(std::size_t offset, std::string description) {
    if (!failed()) *error_ = PostError{offset, std::move(description)};
  }

 private:
  std::uint64_t Number(const char* field, std::size_t width) {
    if (failed()) return 0;
    if (bytes_.size() < width) {
      Fail(offset_, std::string(field) + ": " + std::to_string(width) + " bytes wanted, " +
                        std::to_string(bytes_.size()) + " left");
      return 0;
    }
    std::uint64_t value = 0;
    for (const char byte : Take(width)) value = value << 8 | static_cast<unsigned char>(byte);
    return value;
  }

  std::string_view Take(std::size_t length) {
    const std::string_view taken = bytes_.substr(0, length);
    bytes_.remove_prefix(length);
    offset_ += length;
    return taken;
  }

  std::string_view bytes_;
  std::size_t offset_;
  std::optional<PostError>* error_;
};

/// Reads length and type of the next block, and yields a cursor over its body.
Cursor EnterBlock(Cursor* in, const char* block, std::uint16_t expected_type,
                  std::optional<PostError>* error) {
  const std::size_t length_offset = in->offset();
  const std::int32_t length = in->Int32(block);
  const std::size_t type_offset = in->offset();
  const std::uint16_t type = in->Uint16(block);
  if (type != expected_type) {
    char text[64];
    std::snprintf(text, sizeof text, ": the block type is 0x%04X, not 0x%04X", unsigned{type},
                  unsigned{expected_type});
    in->Fail(type_offset, std::string(block) + text);
  }
  const std::size_t body_offset = in->offset();
  return {in->Run(block, length_offset, length), body_offset, error};
}

void ReadHeaderBlock(Cursor* in, Post* post, std::optional<PostError>* error) {
  Cursor block = EnterBlock(in, "header block", kHeaderBlock, error);
  post->client_version = block.ShortRun("client version");
  post->cookie = block.Int64("cookie");
  post->configuration = block.ShortRun("configuration");
  block.ExpectEnd("header block");
}

ServiceRequest ReadRequestBlock(Cursor* in, std::optional<PostError>* error) {
  Cursor block = EnterBlock(in, "request block", kRequestBlock, error);
  ServiceRequest request;
  request.id = block.Int16("request id");
  request.service = block.ShortRun("service name");
  request.version = block.Int16("service version");
  request.payload = block.LongRun("payload");
  block.ExpectEnd("request block");
  return request;
}

}  // namespace

std::optional<PostError> ReadPost(std::string_view body, Post* post) {
  std::optional<PostError> error;
  Cursor in(body, 0, &error);
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
