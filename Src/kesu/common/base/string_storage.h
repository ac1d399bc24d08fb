#ifndef KESU_COMMON_BASE_STRING_STORAGE_H_
#define KESU_COMMON_BASE_STRING_STORAGE_H_

#include "kesu/common/base/memory.h"
#include "kesu/common/base/vector.h"

namespace common_base {

class GString;

/// The editing operations of a text. They are called through GStringBuffer, which first makes sure
/// that nobody else holds the storage. Positions count UTF-16 code units.
class GStringWriteInterface : public HeapObject {
 public:
  /// Appends CR LF.
  virtual void AppendNewline() = 0;
  virtual void AppendGString(const GString& other) = 0;
  /// Decodes `length` bytes (-1: up to the terminating NUL); malformed bytes become U+FFFD.
  virtual void AppendUtf8String(const char* text, int length) = 0;
  /// Appends nothing for a value of 0x110000 and above.
  virtual void AppendCodePoint(unsigned code_point) = 0;
  /// Replaces every `from` within the first Length() code units.
  virtual void ReplaceCodePoint(unsigned from, unsigned to) = 0;
  /// Removes the units `start` to `end` - 1; an `end` beyond Length() is cut down to it.
  virtual void Delete(int start, int end) = 0;
  virtual void InsertGString(int position, const GString& other) = 0;
  virtual ~GStringWriteInterface() = default;
};

/// A text that any number of GStrings share. Indices count UTF-16 code units, Length() counts code
/// points; where a text has supplementary characters and an operation mixes the two, it does so
/// deliberately and is described here as it behaves.
class GStringStorage : public GStringWriteInterface {
 public:
  GStringStorage() = default;
  GStringStorage(const GStringStorage&) = delete;
  GStringStorage& operator=(const GStringStorage&) = delete;

  virtual bool IsEmpty() const = 0;
  /// The number of code points.
  virtual int Length() const = 0;
  /// Sets `out` to the UTF-8 form of the first Length() code units. A text with supplementary
  /// characters therefore loses as many units at its end as it has surrogate pairs.
  virtual void ToUtf8Vector(GVector<unsigned char>* out) const = 0;
  virtual bool Equals(const GStringStorage* other) const = 0;
  /// -1, 0 or 1 by Unicode default case folding; 1 for null.
  virtual int CompareIgnoreCase(const GStringStorage* other) const = 0;
  /// -1, 0 or 1 by the collation rules of the default locale.
  virtual int CompareNaturalSortOrder(const GString& other) const = 0;
  /// Lower-cased by the rules of the default locale.
  virtual GString ToLowerCase() const = 0;
  virtual unsigned Hash() const;
  /// The Length() - `start` units from unit `start`; `start` 0 shares this storage.
  virtual GString Substring(int start) const = 0;
  /// The units `start` to `end` - 1.
  virtual GString Substring(int start, int end) const = 0;
  /// The index of the first unit equal to the low 16 bits of `code_point`, or -1.
  virtual int IndexOf(unsigned code_point) const = 0;
  /// The unit index of the first occurrence, or -1; an empty needle is never found, nor is one
  /// inside a surrogate pair.
  virtual int IndexOf(const GString& needle) const = 0;
  /// The code unit at a unit index (half a pair for supplementary characters), or 0xFFFF at the end
  /// and past it.
  virtual int CodePointAt(int index) const = 0;
  /// A new storage with the same text and no holders, owned by the caller.
  virtual GStringStorage* Clone() const = 0;

  bool Equals(const GString& other) const;
  int CompareIgnoreCase(const GString& other) const;
  /// NUL-terminated; null is the empty text.
  bool EqualsUtf8(const char* utf8) const;
  bool StartsWith(const GString& prefix) const;
  /// Without the characters up to U+0020 at the start, the end, or both. Shares this storage when
  /// there is nothing to remove.
  GString Trim() const;
  GString TrimLeft() const;
  GString TrimRight() const;
  /// The pieces between the separators: always one more than there are separators.
  GVector<GString> Split(unsigned separator) const;

  /// The number of GStrings that hold this storage.
  int reference_count() const { return reference_count_; }

 protected:
  /// A handle to this very storage.
  GString Share() const;

 private:
  friend class GString;

  GString TrimSides(bool left, bool right) const;
  GString WellFormedPart(int start, int end) const;

  int reference_count_ = 0;
};

/// A new, empty storage of the platform's kind, owned by whoever wraps it in a GString.
GStringStorage* NewGStringStorage();
/// The same with the text of `length` bytes, at least one, which are copied and decoded when
/// somebody asks for UTF-16.
GStringStorage* NewGStringStorageFromUtf8(const char* utf8, int length);

}  // namespace common_base

#endif  // KESU_COMMON_BASE_STRING_STORAGE_H_
