#include "kesu/common/base/gstring.h"

#include <cstring>

namespace common_base {
namespace {

GStringStorage* shared_empty = nullptr;

constexpr unsigned kReplacementCharacter = 0xFFFD;

GStringStorage* SharedEmptyStorage() {
  if (shared_empty == nullptr) shared_empty = NewGStringStorage();
  return shared_empty;
}

}  // namespace

const GStringStorage* GString::shared_empty_storage() {
  return shared_empty;
}

void GString::ForgetSharedEmptyStorage(const GStringStorage* storage) {
  if (shared_empty == storage) shared_empty = nullptr;
}

GString::GString() {
  Hold(SharedEmptyStorage());
}

GString::GString(const char* utf8)
    : GString(ByteView(kReferenceExistingBuffer, reinterpret_cast<const unsigned char*>(utf8),
                       utf8 == nullptr ? 0 : static_cast<int>(std::strlen(utf8)))) {}

GString::GString(const GVectorRef<const unsigned char>& utf8) {
  Hold(utf8.IsEmpty()
           ? SharedEmptyStorage()
           : NewGStringStorageFromUtf8(reinterpret_cast<const char*>(utf8.data()), utf8.length()));
}

GString::GString(GStringStorage* storage) {
  Hold(storage == nullptr ? SharedEmptyStorage() : storage);
}

void GString::PrepareStorageForWrite() {
  if (storage_->reference_count_ > 1) {
    GStringStorage* clone = storage_->Clone();
    Release();
    Hold(clone);
  } else {
    ForgetSharedEmptyStorage(storage_);
  }
}

GString NewGStringFromUtf8(const char* utf8) {
  return GString(utf8);
}

GString NewGStringFromUtf8Vector(const GVectorRef<const unsigned char>& utf8) {
  return GString(utf8);
}

unsigned CodePointToUcs2(unsigned code_point) {
  return code_point > 0x10000 ? kReplacementCharacter : code_point;
}

}  // namespace common_base
