#include "kesu/mux/non_multipart_response.h"

#include <string_view>
#include <utility>

#include "kesu/common/base/logging.h"
#include "kesu/common/base/zlib_decompression.h"
#include "kesu/mux/http_constants.h"
#include "kesu/mux/spare_stream.h"

namespace common_kesu {
namespace {

using common_base::ByteVector;
using common_base::ByteView;
using common_base::DataInputStream;
using common_base::GString;
using common_base::GVector;

/// Id, status, length of the encodings and the value after them.
constexpr int kFixedBodyBytes = 10;
constexpr int kMaxLoggedPayload = 1024;
constexpr char kEncodingSeparator = ',';

}  // namespace

DataInputStream* NonMultipartResponse::GetInputStream() const {
  return new PayloadStream(&payload_);
}

void NonMultipartResponse::Initialize(DataInputStream* in, int length, bool* ok) {
  *ok = false;
  set_id(in->ReadInt16());
  set_status_code(in->ReadInt16());
  const ByteView encodings = in->ReadByteBlock();
  encodings_ = GString(encodings);
  value_after_encodings_ = in->ReadInt32();
  if (in->hit_error()) return;
  set_body_length(length);
  raw_payload_ = in->ReadByteSpan(length - kFixedBodyBytes - encodings.length());
  if (in->hit_error()) return;
  DoChainedDecodings(ok);
  if (!*ok) return;
  is_initialized_ = true;
  if (common_base::DebugDiagnosticsEnabled()) LogPayload();
}

void NonMultipartResponse::DoSingleDecodingPass(const ByteView& input, const GString& encoding,
                                                GVector<unsigned char>* output, bool* ok) {
  *ok = true;
  if (encoding->EqualsUtf8(kEncodingGzip)) {
    common_base::DoZlibDecompression(&input, output, ok);
  } else if (encoding->EqualsUtf8(kEncodingNop)) {
    output->AppendAll(input);
  } else {
    *ok = false;
  }
}

void NonMultipartResponse::DoChainedDecodings(bool* ok) {
  *ok = true;
  payload_ = raw_payload_;
  if (encodings_->IsEmpty()) return;
  ByteVector utf8;
  encodings_->ToUtf8Vector(&utf8);
  std::string_view rest(reinterpret_cast<const char*>(utf8.data()),
                        static_cast<std::size_t>(utf8.length()));
  while (*ok) {
    const std::size_t comma = rest.rfind(kEncodingSeparator);
    const std::size_t name_start = comma == std::string_view::npos ? 0 : comma + 1;
    DecodePayload(rest.substr(name_start), ok);
    if (comma == std::string_view::npos) return;
    rest = rest.substr(0, comma);
  }
}

void NonMultipartResponse::DecodePayload(std::string_view encoding, bool* ok) {
  // What leaves the payload as it is must not cost a pass: a chain has room for thousands of names.
  const bool is_empty_gzip = encoding == kEncodingGzip && payload_.IsEmpty();
  if (encoding == kEncodingNop || is_empty_gzip) return;
  const ByteView name(common_base::kReferenceExistingBuffer,
                      reinterpret_cast<const unsigned char*>(encoding.data()),
                      static_cast<int>(encoding.size()));
  ByteVector output;
  DoSingleDecodingPass(payload_, GString(name), &output, ok);
  decoded_ = std::move(output);
  payload_ = ByteView(decoded_);
}

void NonMultipartResponse::LogPayload() const {
  const int size = payload_.length();
  if (size == 0) {
    common_base::LogDebug("There is no kesu response payload");
  } else if (size <= kMaxLoggedPayload) {
    common_base::LogDebug("response body size is: [%d], the body follows", size);
    common_base::LogDebugByteBuffer(payload_);
  } else {
    common_base::LogDebug(
        "response body size is: [%d], which is large so only the first [%d] follow", size,
        kMaxLoggedPayload);
    common_base::LogDebugByteBuffer(
        ByteView(common_base::kReferenceExistingBuffer, payload_.data(), kMaxLoggedPayload));
  }
}

}  // namespace common_kesu
