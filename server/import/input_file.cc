#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>
#include <zstd.h>

#include "server/import/line_reader.h"

namespace kesu_server {
namespace {

constexpr std::size_t kReadBytes = std::size_t{1} << 16;
constexpr std::string_view kGzipMagic = "\x1f\x8b";
constexpr std::string_view kZstdMagic = "\x28\xb5\x2f\xfd";
/// 128 MiB, as the program zstd takes without being told to.
constexpr int kZstdWindowLog = 27;

}  // namespace

class InputFile::Decoder {
 public:
  virtual ~Decoder() = default;
  /// Takes from the front of `in` and yields how many bytes it has put out. False when the data are
  /// damaged.
  virtual bool Decode(std::string_view* in, char* out, std::size_t size, std::size_t* written) = 0;
  /// Whether the data may end here.
  virtual bool is_complete() const = 0;
};

class InputFile::GzipDecoder final : public Decoder {
 public:
  // 16 asks for gzip's header.
  GzipDecoder() { is_ready_ = inflateInit2(&stream_, 16 + MAX_WBITS) == Z_OK; }
  GzipDecoder(const GzipDecoder&) = delete;
  GzipDecoder& operator=(const GzipDecoder&) = delete;
  ~GzipDecoder() override { inflateEnd(&stream_); }

  bool Decode(std::string_view* in, char* out, std::size_t size, std::size_t* written) override {
    *written = 0;
    if (!is_ready_) return false;
    // Another member may follow the one that has ended; and zeros, which tapes add.
    if (has_ended_) {
      while (in->starts_with('\0')) in->remove_prefix(1);
      if (in->empty()) return true;
      has_ended_ = false;
      inflateReset(&stream_);
    }
    stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(in->data()));
    stream_.avail_in = static_cast<uInt>(in->size());
    stream_.next_out = reinterpret_cast<Bytef*>(out);
    stream_.avail_out = static_cast<uInt>(size);
    const int result = inflate(&stream_, Z_NO_FLUSH);
    in->remove_prefix(in->size() - stream_.avail_in);
    *written = size - stream_.avail_out;
    has_ended_ = result == Z_STREAM_END;
    return result == Z_OK || result == Z_BUF_ERROR || has_ended_;
  }
  bool is_complete() const override { return has_ended_; }

 private:
  z_stream stream_ = {};
  bool is_ready_ = false;
  bool has_ended_ = false;
};

class InputFile::ZstdDecoder final : public Decoder {
 public:
  ZstdDecoder() : context_(ZSTD_createDCtx()) {
    ZSTD_DCtx_setParameter(context_, ZSTD_d_windowLogMax, kZstdWindowLog);
  }
  ZstdDecoder(const ZstdDecoder&) = delete;
  ZstdDecoder& operator=(const ZstdDecoder&) = delete;
  ~ZstdDecoder() override { ZSTD_freeDCtx(context_); }

  bool Decode(std::string_view* in, char* out, std::size_t size, std::size_t* written) override {
    ZSTD_inBuffer input = {in->data(), in->size(), 0};
    ZSTD_outBuffer output = {out, size, 0};
    const std::size_t hint = ZSTD_decompressStream(context_, &output, &input);
    in->remove_prefix(input.pos);
    *written = output.pos;
    if (ZSTD_isError(hint) != 0) return false;
    if (input.pos > 0 || output.pos > 0) is_within_frame_ = hint != 0;
    return true;
  }
  bool is_complete() const override { return !is_within_frame_; }

 private:
  ZSTD_DCtx* context_;
  bool is_within_frame_ = false;
};

InputFile::InputFile() = default;

InputFile::~InputFile() {
  if (descriptor_ > STDERR_FILENO) close(descriptor_);
}

std::ptrdiff_t InputFile::Fail(const std::string& what) {
  error_ = (path_ == "-" ? std::string("standard input") : path_) + ": " + what;
  return -1;
}

bool InputFile::Open(const std::string& path) {
  path_ = path;
  descriptor_ = path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat about = {};
  if (descriptor_ < 0 || fstat(descriptor_, &about) != 0) return Fail(std::strerror(errno)) >= 0;
  if (S_ISREG(about.st_mode)) size_ = about.st_size;

  // Enough to know the kind by, unless there is no more.
  while (pending_.size() < kZstdMagic.size() && !is_at_end_) {
    if (!FillInput()) return false;
  }
  if (pending_.starts_with(kGzipMagic)) decoder_ = std::make_unique<GzipDecoder>();
  if (pending_.starts_with(kZstdMagic)) decoder_ = std::make_unique<ZstdDecoder>();
  return true;
}

bool InputFile::FillInput() {
  std::string kept(pending_);
  const std::size_t begin = kept.size();
  input_ = std::move(kept);
  input_.resize(begin + kReadBytes);
  ssize_t got = 0;
  do {
    got = read(descriptor_, input_.data() + begin, kReadBytes);
  } while (got < 0 && errno == EINTR);
  if (got < 0) return Fail(std::strerror(errno)) >= 0;
  is_at_end_ = got == 0;
  position_ += got;
  input_.resize(begin + static_cast<std::size_t>(got));
  pending_ = input_;
  return true;
}

std::ptrdiff_t InputFile::Read(char* bytes, std::size_t size) {
  while (true) {
    if (pending_.empty() && !is_at_end_ && !FillInput()) return -1;
    std::size_t written = 0;
    const std::size_t left = pending_.size();
    if (decoder_ == nullptr) {
      written = pending_.copy(bytes, size);
      pending_.remove_prefix(written);
    } else if (!decoder_->Decode(&pending_, bytes, size, &written)) {
      return Fail("the compressed data are damaged");
    }
    if (written > 0) return static_cast<std::ptrdiff_t>(written);
    if (!is_at_end_ || pending_.size() < left) continue;
    if (decoder_ == nullptr || (pending_.empty() && decoder_->is_complete())) return 0;
    return Fail("the compressed data are cut short");
  }
}

}  // namespace kesu_server
