#include "kesu/mux/body_part.h"

#include <climits>

#include "kesu/common/base/assertions.h"
#include "kesu/mux/http_constants.h"

namespace common_kesu {
namespace {

using common_base::DataOutputStream;
using common_base::GString;

struct ShortMimeType {
  const char* name;
  unsigned short code;
};

constexpr ShortMimeType kShortMimeTypes[] = {
    {kXmlTextMimeType, 0x7478},     {kPlainTextMimeType, 0x7470},
    {kOctetStreamMimeType, 0x616F}, {kMultipartRelatedMimeType, 0x6D72},
    {kJpegImageMimeType, 0x696A},   {kAtomXmlMimeType, 0x6161},
};
constexpr unsigned short kNoShortMimeType = 0;

unsigned short CodeOf(const GString& mime_type) {
  for (const ShortMimeType& known : kShortMimeTypes) {
    if (mime_type->EqualsUtf8(known.name)) return known.code;
  }
  return kNoShortMimeType;
}

}  // namespace

void BodyPart::WriteContentType(const GString& mime_type, DataOutputStream* out) {
  const int separator = mime_type->IndexOf(';');
  const GString type = separator == -1 ? mime_type : mime_type->Substring(0, separator);
  const GString parameters = separator == -1 ? GString() : mime_type->Substring(separator + 1);
  const unsigned short code = CodeOf(type);
  out->WriteUint16(code);
  out->WriteUtf8String(code == kNoShortMimeType ? mime_type : parameters);
}

void BodyPart::set_content_id(const GString& content_id) {
  content_id_ = content_id;
  serialised_headers_.Clear();
}

void BodyPart::set_mime_type(const GString& mime_type) {
  mime_type_ = mime_type;
  serialised_headers_.Clear();
}

void BodyPart::AddProperty(GString name, GString value) {
  GWASSERT(flags_ < UCHAR_MAX);
  if (flags_ == UCHAR_MAX) return;
  ++flags_;
  DataOutputStream stream(&properties_);
  stream.WriteUtf8String(name);
  stream.WriteUtf8String(value);
  serialised_headers_.Clear();
}

void BodyPart::WriteHeaders(DataOutputStream* out) const {
  WriteContentType(mime_type_, out);
  out->WriteUtf8String(content_id_);
  out->WriteUint8(flags_);
  out->WriteRawBytes(properties_);
  out->WriteInt32(GetLength());
  if (GetLength() > 0) out->WriteUtf8String(kEncodingNone);
}

ChunkProviderInterface* BodyPart::HeadersAsChunkProvider() {
  if (serialised_headers_.IsEmpty()) {
    DataOutputStream stream(&serialised_headers_);
    WriteHeaders(&stream);
  }
  return new BufferChunkProvider(serialised_headers_);
}

}  // namespace common_kesu
