#include "kesu/mux/measuring_scratch.h"

#include "kesu/common/base/data_output_stream.h"
#include "kesu/mux/request.h"

namespace common_kesu {
namespace {

using common_base::ByteVector;
using common_base::DataOutputStream;

/// Spares most bodies the steps of growing from nothing.
constexpr int kTypicalBodyBytes = 512;

int LengthOfBodyIn(Request* request, ByteVector* bytes) {
  // Whoever writes a body may measure another meanwhile, behind what has been written.
  const int start = bytes->length();
  if (start == 0 && bytes->capacity() == 0) bytes->SetReserve(kTypicalBodyBytes);
  DataOutputStream stream(bytes);
  request->WriteBody(&stream);
  const int length = bytes->length() - start;
  bytes->Truncate(start);
  return length;
}

}  // namespace

thread_local MeasuringScratch* MeasuringScratch::innermost_ = nullptr;

int MeasuringScratch::LengthOfBody(Request* request) {
  ByteVector own;
  return LengthOfBodyIn(request, innermost_ == nullptr ? &own : &innermost_->bytes_);
}

}  // namespace common_kesu
