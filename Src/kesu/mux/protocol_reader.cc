#include "kesu/mux/protocol_reader.h"

#include "kesu/common/base/scoped_ptr.h"
#include "kesu/common/base/vector.h"
#include "kesu/mux/non_multipart_response.h"

namespace common_kesu {

using common_base::ByteView;
using common_base::DataInputStream;
using common_base::ScopedPtr;

void ProtocolReader::InitializeInput(bool* ok) {
  version_ = in_->ReadInt16();
  is_initialized_ = !in_->hit_error() && version_ == kProtocolVersion;
  *ok = is_initialized_;
}

void ProtocolReader::AssertIsInitialized(bool* ok) const {
  *ok = is_initialized_;
}

Response* ProtocolReader::ReadResponse(bool* ok) {
  AssertIsInitialized(ok);
  if (!*ok) return nullptr;
  const int length = in_->ReadInt32();
  const unsigned short type = in_->ReadUint16();
  const ByteView body = in_->ReadByteSpan(length);
  *ok = !in_->hit_error();
  if (!*ok || type != Block::kResponseBlock) return nullptr;
  DataInputStream stream(&body);
  ScopedPtr<NonMultipartResponse> response(new NonMultipartResponse);
  response->Initialize(&stream, length, ok);
  return *ok ? response.release() : nullptr;
}

}  // namespace common_kesu
