#include "kesu/mux/spare_stream.h"

#include <utility>

#include "kesu/common/base/memory.h"

// A sanitizer wants to see each stream.
#if defined(__SANITIZE_ADDRESS__)
#define KESU_KEEPS_SPARE_STREAM false
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(memory_sanitizer)
#define KESU_KEEPS_SPARE_STREAM false
#endif
#endif
#ifndef KESU_KEEPS_SPARE_STREAM
#define KESU_KEEPS_SPARE_STREAM true
#endif

namespace common_kesu {

thread_local SpareStream* SpareStream::innermost_ = nullptr;

void* SpareStream::Take(std::size_t size) {
  void* const spare = innermost_ == nullptr ? nullptr : std::exchange(innermost_->block_, nullptr);
  return spare == nullptr ? common_base::AllocateObject(size) : spare;
}

void SpareStream::Give(void* block) {
  if (KESU_KEEPS_SPARE_STREAM && innermost_ != nullptr && innermost_->block_ == nullptr) {
    innermost_->block_ = block;
  } else {
    common_base::FreeObject(block);
  }
}

}  // namespace common_kesu
