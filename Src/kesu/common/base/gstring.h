#ifndef KESU_COMMON_BASE_GSTRING_H_
#define KESU_COMMON_BASE_GSTRING_H_

#include <cstddef>
#include <utility>

#include "kesu/common/base/string_storage.h"
#include "kesu/common/base/vector.h"

namespace common_base {

/// A text: one pointer to a shared, reference-counted storage. Copies share; a writer
/// (GStringBuffer) clones what somebody else also holds, so a GString never changes behind its
/// holder's back. Not for use on more than one thread.
class GString {
 public:
  GString();
  GString(std::nullptr_t) : GString() {}
  /// The text decoded from NUL-terminated UTF-8; null is the empty string.
  GString(const char* utf8);
  explicit GString(const GVectorRef<const unsigned char>& utf8);
  /// A handle to `storage`; null is the empty string.
  explicit GString(GStringStorage* storage);
  GString(const GString& other) { Hold(other.storage_); }
  GString& operator=(const GString& other) {
    GString copy(other);
    std::swap(storage_, copy.storage_);
    return *this;
  }
  ~GString() { Release(); }

  /// For reading: what others may hold too is edited through a GStringBuffer alone.
  const GStringStorage* Storage() const { return storage_; }
  const GStringStorage* operator->() const { return storage_; }

  bool operator==(const GString& other) const { return storage_->Equals(other.storage_); }
  bool operator==(const char* utf8) const { return storage_->EqualsUtf8(utf8); }

  /// For the storage and its writers: the storage that all default-made strings share, null while
  /// there is none, and the means to take it out of use.
  static const GStringStorage* shared_empty_storage();
  static void ForgetSharedEmptyStorage(const GStringStorage* storage);

 protected:
  /// Makes the storage this handle's alone.
  void PrepareStorageForWrite();
  /// The same, and yields it, for a change.
  GStringStorage* StorageForWrite() {
    PrepareStorageForWrite();
    return storage_;
  }

 private:
  void Hold(GStringStorage* storage) {
    storage_ = storage;
    ++storage_->reference_count_;
  }
  void Release() {
    if (--storage_->reference_count_ == 0) delete storage_;
  }

  GStringStorage* storage_ = nullptr;
};

GString NewGStringFromUtf8(const char* utf8);
GString NewGStringFromUtf8Vector(const GVectorRef<const unsigned char>& utf8);

/// 0xFFFD for a value above 0x10000, the value itself otherwise. 0x10000 passes through unchanged,
/// deliberately.
unsigned CodePointToUcs2(unsigned code_point);

}  // namespace common_base

#endif  // KESU_COMMON_BASE_GSTRING_H_
