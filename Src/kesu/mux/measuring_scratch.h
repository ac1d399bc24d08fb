#ifndef KESU_MUX_MEASURING_SCRATCH_H_
#define KESU_MUX_MEASURING_SCRATCH_H_

#include "kesu/common/base/vector.h"

namespace common_kesu {
class Request;
}

#pragma GCC visibility push(hidden)
namespace common_kesu {

/// Where bodies are written for their lengths to be known. While one lives, all that are measured
/// on its thread use the same bytes, which grow to the longest of them.
class MeasuringScratch {
 public:
  MeasuringScratch() : outer_(innermost_) { innermost_ = this; }
  MeasuringScratch(const MeasuringScratch&) = delete;
  MeasuringScratch& operator=(const MeasuringScratch&) = delete;
  ~MeasuringScratch() { innermost_ = outer_; }

  /// The bytes that the body of `request` takes.
  static int LengthOfBody(Request* request);

 private:
  static thread_local MeasuringScratch* innermost_;

  MeasuringScratch* outer_;
  common_base::ByteVector bytes_;
};

}  // namespace common_kesu
#pragma GCC visibility pop

#endif  // KESU_MUX_MEASURING_SCRATCH_H_
