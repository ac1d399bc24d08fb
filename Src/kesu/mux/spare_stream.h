#ifndef KESU_MUX_SPARE_STREAM_H_
#define KESU_MUX_SPARE_STREAM_H_

#include <cstddef>

#include "kesu/common/base/data_input_stream.h"

#pragma GCC visibility push(hidden)
namespace common_kesu {

/// While one lives, the memory of a PayloadStream that is deleted on its thread serves the next.
/// The listeners of a reply, of which each asks for one, so share one block.
class SpareStream {
 public:
  SpareStream() : outer_(innermost_) { innermost_ = this; }
  SpareStream(const SpareStream&) = delete;
  SpareStream& operator=(const SpareStream&) = delete;
  ~SpareStream() {
    innermost_ = outer_;
    common_base::FreeObject(block_);
  }

  static void* Take(std::size_t size);
  static void Give(void* block);

 private:
  static thread_local SpareStream* innermost_;

  SpareStream* outer_;
  void* block_ = nullptr;
};

/// What a response hands out to be read: deleted by its owner like any stream.
class PayloadStream final : public common_base::DataInputStream {
 public:
  using DataInputStream::DataInputStream;

  static void* operator new(std::size_t size) { return SpareStream::Take(size); }
  static void operator delete(void* block) { SpareStream::Give(block); }
};

}  // namespace common_kesu
#pragma GCC visibility pop

#endif  // KESU_MUX_SPARE_STREAM_H_
