#include "kesu/mux/http_request.h"

#include <utility>

#include "kesu/common/base/assertions.h"

namespace common_kesu {
namespace {

using common_base::ByteVector;
using common_base::ByteView;
using common_base::DataOutputStream;
using common_base::GString;
using common_base::ScopedPtr;

/// What the 8-bit count of header fields and the 16-bit one of body parts hold.
constexpr int kMaxHeaders = 255;
constexpr int kMaxBodyParts = 65535;

/// The letters of ASCII, of which names consist, are the same in every locale. What becomes of
/// others is up to ToLowerCase().
GString LowerCaseName(const GString& name) {
  ByteVector utf8;
  name->ToUtf8Vector(&utf8);
  for (unsigned char& byte : utf8) {
    if (byte >= 'A' && byte <= 'Z') byte = static_cast<unsigned char>(byte - 'A' + 'a');
  }
  return GString(utf8)->ToLowerCase();
}

ChunkProviderInterface* NewInternalChunkProviderFor(const ByteView* payload) {
  return payload == nullptr ? nullptr : new BufferChunkProvider(*payload);
}

}  // namespace

HttpRequest::HttpRequest(GString service_uri, ChunkProviderInterface* root_body)
    : HttpRequest(service_uri, ServiceVersion::kVersion1, root_body) {}

HttpRequest::HttpRequest(GString service_uri, ServiceVersion service_version,
                         ChunkProviderInterface* root_body)
    : PlainRequest(service_uri, service_version), root_body_(root_body) {}

HttpRequest::HttpRequest(GString service_uri, const ByteView* payload)
    : HttpRequest(service_uri, ServiceVersion::kVersion1, payload) {}

HttpRequest::HttpRequest(GString service_uri, ServiceVersion service_version,
                         const ByteView* payload)
    : PlainRequest(service_uri, service_version, payload),
      root_body_(NewInternalChunkProviderFor(payload)) {}

void HttpRequest::set_id(short id) {
  PlainRequest::set_id(id);
  ClearInternalBuffers();
}

void HttpRequest::set_type(BlockType type) {
  PlainRequest::set_type(type);
  ClearInternalBuffers();
}

void HttpRequest::set_body_length(int length) {
  PlainRequest::set_body_length(length);
  ClearInternalBuffers();
}

void HttpRequest::set_payload(const ByteView* payload) {
  PlainRequest::set_payload(payload);
  set_root_body(NewInternalChunkProviderFor(payload));
}

void HttpRequest::set_root_body(ChunkProviderInterface* body) {
  root_body_.reset(body);
  ClearInternalBuffers();
}

void HttpRequest::set_method(const GString& method) {
  method_ = method;
  ClearInternalBuffers();
}

void HttpRequest::AddBodyPart(BodyPart* part) {
  ScopedPtr<BodyPart> owned(part);
  GWASSERT(body_parts_.length() < kMaxBodyParts);
  if (body_parts_.length() >= kMaxBodyParts) return;
  set_type(kMultipartRequestBlock);
  body_parts_.Append(std::move(owned));
  ClearInternalBuffers();
}

void HttpRequest::SetConnectionProperty(const GString& name, const GString& value) {
  const GString lower_name = LowerCaseName(name);
  const bool is_content_type = lower_name->EqualsUtf8(kContentTypeLower);
  const bool has_content_type = !(is_content_type ? value : content_type_)->IsEmpty();
  const int count = property_count_ + (is_content_type ? 0 : 1) + (has_content_type ? 1 : 0);
  GWASSERT(count <= kMaxHeaders);
  if (count > kMaxHeaders) return;
  if (is_content_type) {
    content_type_ = value;
  } else {
    ++property_count_;
    DataOutputStream stream(&connection_properties_);
    stream.WriteUtf8String(lower_name);
    stream.WriteUtf8String(value);
  }
  ClearInternalBuffers();
}

void HttpRequest::ClearInternalBuffers() {
  // The chunks refer to the caches and go first.
  ClearBodyChunks();
  request_header_provider_.reset();
  body_part_count_.Clear();
  payload_metadata_.Clear();
  payload_header_.Clear();
  request_header_.Clear();
}

int HttpRequest::root_body_length() const {
  return root_body_ ? root_body_->GetTotalDataLength() : 0;
}

void HttpRequest::WriteHttpHeaders(DataOutputStream* out) const {
  const bool sends_content_type = !content_type_->IsEmpty() && type() == kMultipartRequestBlock;
  out->WriteUint8(static_cast<unsigned char>(property_count_ + (sends_content_type ? 1 : 0)));
  if (sends_content_type) {
    out->WriteUtf8String(kContentType);
    out->WriteUtf8String(content_type_);
  }
  out->WriteRawBytes(connection_properties_);
}

void HttpRequest::MaybeUpdatePayloadMetadata() {
  if (!payload_metadata_.IsEmpty()) return;
  DataOutputStream stream(&payload_metadata_);
  stream.WriteUtf8String(method_);
  if (has_body_parts()) {
    BodyPart::WriteContentType(
        content_type_->IsEmpty() ? GString(kMultipartRelatedMimeType) : content_type_, &stream);
    stream.WriteUtf8String(GString());
  }
  WriteHttpHeaders(&stream);
  stream.WriteInt32(root_body_length());
  if (has_body_parts() && root_body_) stream.WriteUtf8String(kEncodingNone);
}

void HttpRequest::MaybeUpdatePayloadHeader() {
  if (!payload_header_.IsEmpty()) return;
  DataOutputStream stream(&payload_header_);
  WriteBodyHeaders(&stream);
  if (!has_body_parts()) stream.WriteInt32(payload_metadata_.length() + root_body_length());
}

void HttpRequest::MaybeUpdateBodyPartCount() {
  if (!body_part_count_.IsEmpty() || !has_body_parts()) return;
  DataOutputStream stream(&body_part_count_);
  stream.WriteUint16(static_cast<unsigned short>(body_parts_.length()));
}

void HttpRequest::MaybeUpdateRequestHeader() {
  if (!request_header_.IsEmpty()) return;
  DataOutputStream stream(&request_header_);
  WriteHeader(&stream);
  request_header_provider_.reset(new BufferChunkProvider(request_header_));
}

void HttpRequest::MaybeUpdateBodyChunks() {
  MaybeUpdatePayloadMetadata();
  MaybeUpdatePayloadHeader();
  MaybeUpdateBodyPartCount();
  if (!body_chunks_.IsEmpty()) return;
  body_chunks_.Append(new BufferChunkProvider(payload_header_));
  body_chunks_.Append(new BufferChunkProvider(payload_metadata_));
  if (root_body_) body_chunks_.Append(root_body_->Clone());
  body_chunks_.Append(new BufferChunkProvider(body_part_count_));
  for (const auto& part : body_parts_) {
    body_chunks_.Append(part->HeadersAsChunkProvider());
    body_chunks_.Append(part->BodyAsChunkProvider());
  }
}

int HttpRequest::GetBodyLength() {
  MaybeUpdateBodyChunks();
  return body_chunks_.GetTotalDataLength();
}

void HttpRequest::WriteBody(DataOutputStream* out) {
  MaybeUpdateBodyChunks();
  body_chunks_.WriteToStream(out);
}

ChunkProviderInterface* HttpRequest::AsChunkProvider() {
  MaybeUpdateRequestHeader();
  MaybeUpdateBodyChunks();
  auto* chunks = new ChunkProviderList;
  chunks->Append(request_header_provider_->Clone());
  chunks->AppendClonesOf(body_chunks_);
  return chunks;
}

}  // namespace common_kesu
