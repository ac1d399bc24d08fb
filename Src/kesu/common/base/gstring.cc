#include "kesu/common/base/gstring.h"

#include <utility>

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

GString::GString(const char* utf8) {
  const bool is_empty = utf8 == nullptr || *utf8 == '\0';
  Hold(is_empty ? SharedEmptyStorage() : NewGStringStorage());
  if (!is_empty) storage_->AppendUtf8String(utf8, -1);
}

GString::GString(const GVectorRef<const unsigned char>& utf8) {
  Hold(utf8.IsEmpty() ? SharedEmptyStorage() : NewGStringStorage());
  if (utf8.IsEmpty()) return;
  storage_->AppendUtf8String(reinterpret_cast<const char*>(utf8.data()), utf8.length());
}

GString::GString(GStringStorage* storage) {
  Hold(storage == nullptr ? SharedEmptyStorage() : storage);
}

GString::GString(const GString& other) {
  Hold(other.storage_);
}

GString& GString::operator=(const GString& other) {
  GString copy(other);
  std::swap(storage_, copy.storage_);
  return *this;
}

GString::~GString() {
  Release();
}

void GString::Hold(GStringStorage* storage) {
  storage_ = storage;
  ++storage_->reference_count_;
}

void GString::Release() {
  if (--storage_->reference_count_ == 0) delete storage_;
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
