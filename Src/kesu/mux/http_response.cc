#include "kesu/mux/http_response.h"

#include "kesu/common/base/scoped_ptr.h"
#include "kesu/mux/gstring_header_field_iterator.h"

namespace common_kesu {
namespace {

using common_base::ByteView;
using common_base::DataInputStream;
using common_base::GString;
using common_base::ScopedPtr;

/// Of a header, beside its two texts.
constexpr int kLengthBytesPerHeader = 4;

}  // namespace

HttpResponse* HttpResponse::NewHttpResponseFrom(NonMultipartResponse* source) {
  ScopedPtr<HttpResponse> response(new HttpResponse(source));
  return response->Initialize() ? response.release() : nullptr;
}

HttpResponse::HttpResponse(NonMultipartResponse* source)
    : Response(kResponseBlock, source->id(), source->status_code()), source_(source) {
  SetHttpFields(source->http_request(), source->http_status_info());
}

bool HttpResponse::Initialize() {
  const ScopedPtr<DataInputStream> stream(source_->GetInputStream());
  const int header_count = stream->ReadUint8();
  int tally = 1;
  for (int i = 0; i < header_count && !stream->hit_error(); ++i) {
    header_names_.Append(stream->ReadUtfString());
    header_values_.Append(stream->ReadUtfString());
    tally += kLengthBytesPerHeader + header_names_[i]->Length() + header_values_[i]->Length();
  }
  body_length_ = source_->ComputePayloadLength() - tally;
  const ByteView body = stream->ReadByteSpan(body_length_);
  if (stream->hit_error()) return false;
  body_.AppendAll(body);
  body_view_ = ByteView(body_);
  return true;
}

DataInputStream* HttpResponse::GetInputStream() const {
  return new DataInputStream(&body_view_);
}

HeaderFieldIteratorInterface* HttpResponse::NewHeaderFieldIterator() const {
  return new GStringHeaderFieldIterator(header_names_, header_values_);
}

GString HttpResponse::ValueOfHeader(const GString& name) const {
  for (int i = 0; i < header_names_.length(); ++i) {
    if (header_names_[i] == name) return header_values_[i];
  }
  return GString();
}

bool HttpResponse::HasHeader(const GString& name) const {
  return !ValueOfHeader(name)->IsEmpty();
}

}  // namespace common_kesu
