#include "tools/kesu/decode_input.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <string_view>

#include <sys/types.h>

#include "decode/body_decoder.h"
#include "tools/kesu/capture_decoder.h"
#include "tools/kesu/capture_file.h"
#include "tools/kesu/http_stream.h"
#include "tools/kesu/packet.h"

namespace kesu_tool {
namespace {

using kesu_decode::TreeWriter;

constexpr std::size_t kLargestBody = std::size_t{1} << 28;
constexpr std::size_t kBytesPerRead = std::size_t{1} << 16;
/// Enough to tell what it is.
constexpr std::size_t kBeginning = 8;

/// A file whose first bytes have been read already.
struct Input {
  /// As fread().
  std::size_t Read(char* bytes, std::size_t length) {
    if (beginning.empty()) return std::fread(bytes, 1, length, file);
    length = std::min(length, beginning.size());
    std::copy_n(beginning.data(), length, bytes);
    beginning.erase(0, length);
    return length;
  }
  bool has_failed() const { return std::ferror(file) != 0; }

  std::FILE* file;
  std::string beginning;
};

/// The input for those who want a file; it stays open when that is closed.
std::FILE* OpenAsFile(Input* input) {
  const auto read = [](void* cookie, char* bytes, std::size_t length) {
    auto* in = static_cast<Input*>(cookie);
    const std::size_t count = in->Read(bytes, length);
    return count == 0 && in->has_failed() ? ssize_t{-1} : static_cast<ssize_t>(count);
  };
  return fopencookie(input, "rb", {+read, nullptr, nullptr, nullptr});
}

DecodeOutcome FailToRead(std::string* error) {
  *error = "cannot be read: " + std::string(std::strerror(errno));
  return DecodeOutcome::kUnreadable;
}

DecodeOutcome EndCapture(CaptureDecoder* decoder) {
  decoder->End();
  return decoder->messages() > 0 ? DecodeOutcome::kShown : DecodeOutcome::kNothingFound;
}

DecodeOutcome DecodePackets(Input* input, CaptureDecoder* decoder, const OnDecodeFault& on_fault,
                            std::string* error) {
  std::FILE* const in = OpenAsFile(input);
  if (in == nullptr) return FailToRead(error);
  CaptureFile file(in);
  if (!file.error().empty() || !IsKnownLinkType(file.link_type())) {
    *error = file.error().empty() ? "has packets of a link that is not known" : file.error();
    return DecodeOutcome::kUnreadable;
  }
  while (const auto packet = file.NextPacket()) {
    if (const auto segment = ReadSegment(file.link_type(), *packet)) decoder->Add(*segment);
  }
  const DecodeOutcome outcome = EndCapture(decoder);
  if (!file.error().empty()) on_fault("the end of the capture", {0, file.error()});
  return outcome;
}

DecodeOutcome DecodeHttp(Input* input, CaptureDecoder* decoder, std::string* error) {
  char bytes[kBytesPerRead];
  while (const std::size_t count = input->Read(bytes, sizeof bytes)) {
    decoder->AddBytes({bytes, count});
  }
  return input->has_failed() ? FailToRead(error) : EndCapture(decoder);
}

DecodeOutcome DecodeBody(Input* input, TreeWriter* writer, const OnDecodeFault& on_fault,
                         std::string* error) {
  std::string body;
  char bytes[kBytesPerRead];
  while (const std::size_t count = input->Read(bytes, sizeof bytes)) {
    body.append(bytes, count);
    if (body.size() <= kLargestBody) continue;
    *error = "has more than " + std::to_string(kLargestBody) + " bytes";
    return DecodeOutcome::kUnreadable;
  }
  if (input->has_failed()) return FailToRead(error);
  const common_base::ByteView view(common_base::kReferenceExistingBuffer,
                                   reinterpret_cast<const unsigned char*>(body.data()),
                                   static_cast<int>(body.size()));
  if (const auto fault = kesu_decode::BodyDecoder(writer).Decode(view)) on_fault("", *fault);
  return DecodeOutcome::kShown;
}

}  // namespace

DecodeOutcome DecodeInput(std::FILE* in, TreeWriter* writer, const OnDecodeFault& on_fault,
                          std::string* error) {
  Input input{in, std::string(kBeginning, 0)};
  input.beginning.resize(std::fread(input.beginning.data(), 1, kBeginning, in));
  CaptureDecoder capture(writer, on_fault);
  if (CaptureFile::IsOne(input.beginning)) {
    return DecodePackets(&input, &capture, on_fault, error);
  }
  if (LooksLikeHttp(input.beginning)) return DecodeHttp(&input, &capture, error);
  return DecodeBody(&input, writer, on_fault, error);
}

}  // namespace kesu_tool
