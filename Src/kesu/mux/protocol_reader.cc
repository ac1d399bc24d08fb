#include "kesu/mux/protocol_reader.h"

#include "kesu/common/base/scoped_ptr.h"
#include "kesu/common/base/vector.h"

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

bool ProtocolReader::ReadResponseInto(NonMultipartResponse* response, bool* ok) {
  AssertIsInitialized(ok);
  if (!*ok) return false;
  const int length = in_->ReadInt32();
  const unsigned short type = in_->ReadUint16();
  const ByteView body = in_->ReadByteSpan(length);
  *ok = !in_->hit_error();
  if (!*ok || type != Block::kResponseBlock) return false;
  DataInputStream stream(&body);
  response->Initialize(&stream, length, ok);
  return *ok;
}

Response* ProtocolReader::ReadResponse(bool* ok) {
  ScopedPtr<NonMultipartResponse> response(new NonMultipartResponse);
  return ReadResponseInto(response.get(), ok) ? response.release() : nullptr;
}

}  // namespace common_kesu
