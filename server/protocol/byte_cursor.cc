#include "server/protocol/byte_cursor.h"

#include <utility>

namespace kesu_server {

std::string_view ByteCursor::ShortRun(const char* field) {
  const std::size_t start = offset_;
  const std::uint16_t length = Uint16(field);
  return Run(field, start, length);
}

std::string_view ByteCursor::LongRun(const char* field) {
  const std::size_t start = offset_;
  const std::int32_t length = Int32(field);
  return Run(field, start, length);
}

std::string_view ByteCursor::Run(const char* field, std::size_t start, std::int32_t length) {
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

std::string_view ByteCursor::Rest() {
  return failed() ? std::string_view() : Take(bytes_.size());
}

void ByteCursor::ExpectEnd(const char* block) {
  if (failed() || at_end()) return;
  Fail(offset_,
       std::string(block) + ": " + std::to_string(bytes_.size()) + " bytes more than its fields");
}

void ByteCursor::Fail(std::size_t offset, std::string description) {
  if (!failed()) *error_ = ReadError{offset, std::move(description)};
}

std::uint64_t ByteCursor::Number(const char* field, std::size_t width) {
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

std::string_view ByteCursor::Take(std::size_t length) {
  const std::string_view taken = bytes_.substr(0, length);
  bytes_.remove_prefix(length);
  offset_ += length;
  return taken;
}

}  // namespace kesu_server
