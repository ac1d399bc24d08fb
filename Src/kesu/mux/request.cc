#include "kesu/mux/request.h"

#include "kesu/mux/measuring_scratch.h"

namespace common_kesu {
namespace {

using common_base::DataOutputStream;

/// Body length and type.
constexpr int kBlockHeaderBytes = 6;

}  // namespace

Request::~Request() {
  ForEachPlace([](RequestPlace* place) {
    place->Take();
    return true;
  });
}

int Request::GetTotalLength() {
  return GetBodyLength() + kBlockHeaderBytes;
}

int Request::GetBodyLength() {
  if (body_length() == kBodyLengthUnknown) {
    set_body_length(MeasuringScratch::LengthOfBody(this));
  }
  return body_length();
}

ChunkProviderInterface* Request::AsChunkProvider() {
  if (chunk_buffer_.IsEmpty()) {
    DataOutputStream stream(&chunk_buffer_);
    WriteHeader(&stream);
    WriteBody(&stream);
  }
  return new BufferChunkProvider(chunk_buffer_);
}

void Request::WriteHeader(DataOutputStream* out) {
  out->WriteInt32(GetBodyLength());
  out->WriteUint16(type());
}

}  // namespace common_kesu
