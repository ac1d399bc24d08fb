#ifndef SERVER_IMPORT_LINE_READER_H_
#define SERVER_IMPORT_LINE_READER_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace kesu_server {

/// A stream of bytes.
class ByteSource {
 public:
  virtual ~ByteSource() = default;
  /// Up to `size` bytes; 0 at the end, and negative on an error, about which error() tells.
  virtual std::ptrdiff_t Read(char* bytes, std::size_t size) = 0;
  virtual std::string error() const = 0;
};

/// The file of that name, or standard input for "-". What is compressed with gzip or zstd, which
/// its first bytes say, is unpacked, be it of several parts.
class InputFile final : public ByteSource {
 public:
  InputFile();
  ~InputFile() override;

  /// False, and why in error(), when it cannot be opened.
  bool Open(const std::string& path);

  std::ptrdiff_t Read(char* bytes, std::size_t size) override;
  std::string error() const override { return error_; }

  /// Of the file as it is, compressed or not: how much has been read, and its size, or 0 when that
  /// is not known.
  std::int64_t position() const { return position_; }
  std::int64_t size() const { return size_; }

 private:
  class Decoder;
  class GzipDecoder;
  class ZstdDecoder;

  bool FillInput();
  std::ptrdiff_t Fail(const std::string& what);

  std::string path_;
  std::string error_;
  int descriptor_ = -1;
  std::int64_t position_ = 0;
  std::int64_t size_ = 0;
  std::string input_;
  std::string_view pending_;
  bool is_at_end_ = false;
  std::unique_ptr<Decoder> decoder_;
};

/// Cuts a stream into lines, whatever is in them.
class LineReader {
 public:
  /// A line that is longer than `max_bytes` is read over, in constant memory. `source` is borrowed.
  LineReader(ByteSource* source, std::size_t max_bytes) : source_(source), max_bytes_(max_bytes) {}

  /// False at the end of the stream, which an error may have brought about.
  bool Next();

  /// Without its "\n" or "\r\n"; empty when it is too long. It lasts until the next call.
  std::string_view line() const { return line_; }
  bool is_too_long() const { return is_too_long_; }
  /// Counts from 1.
  std::int64_t number() const { return number_; }
  bool failed() const { return failed_; }

 private:
  bool Fill();

  ByteSource* source_;
  std::size_t max_bytes_;
  std::string buffer_;
  std::size_t begin_ = 0;
  std::string_view line_;
  bool is_too_long_ = false;
  std::int64_t number_ = 0;
  bool is_at_end_ = false;
  bool failed_ = false;
};

}  // namespace kesu_server

#endif  // SERVER_IMPORT_LINE_READER_H_
