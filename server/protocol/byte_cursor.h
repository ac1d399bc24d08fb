#ifndef SERVER_PROTOCOL_BYTE_CURSOR_H_
#define SERVER_PROTOCOL_BYTE_CURSOR_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kesu_server {

struct ReadError {
  /// Where the field starts that is wrong, or that the bytes end in.
  std::size_t offset = 0;
  std::string description;
};

/// Reads big-endian numbers and byte runs from the front of `bytes`, which start at `offset` of
/// something larger. The first failure is kept in `error`, which may be shared with the cursors of
/// enclosing and enclosed runs; after it everything reads as zero or empty. The names of fields are
/// for messages.
class ByteCursor {
 public:
  ByteCursor(std::string_view bytes, std::size_t offset, std::optional<ReadError>* error)
      : bytes_(bytes), offset_(offset), error_(error) {}

  bool failed() const { return error_->has_value(); }
  bool at_end() const { return bytes_.empty(); }
  std::size_t offset() const { return offset_; }

  std::uint8_t Uint8(const char* field) { return static_cast<std::uint8_t>(Number(field, 1)); }
  std::int16_t Int16(const char* field) { return static_cast<std::int16_t>(Number(field, 2)); }
  std::uint16_t Uint16(const char* field) { return static_cast<std::uint16_t>(Number(field, 2)); }
  std::int32_t Int32(const char* field) { return static_cast<std::int32_t>(Number(field, 4)); }
  std::int64_t Int64(const char* field) { return static_cast<std::int64_t>(Number(field, 8)); }

  /// A run whose length stands in front of it, in 16 or 32 bits.
  std::string_view ShortRun(const char* field);
  std::string_view LongRun(const char* field);
  /// The next `length` bytes; `start` is where that length was read.
  std::string_view Run(const char* field, std::size_t start, std::int32_t length);
  /// Everything that has not been read yet.
  std::string_view Rest();

  void ExpectEnd(const char* block);
  void Fail(std::size_t offset, std::string description);

 private:
  std::uint64_t Number(const char* field, std::size_t width);
  std::string_view Take(std::size_t length);

  std::string_view bytes_;
  std::size_t offset_;
  std::optional<ReadError>* error_;
};

}  // namespace kesu_server

#endif  // SERVER_PROTOCOL_BYTE_CURSOR_H_
