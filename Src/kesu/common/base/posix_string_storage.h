#ifndef KESU_COMMON_BASE_POSIX_STRING_STORAGE_H_
#define KESU_COMMON_BASE_POSIX_STRING_STORAGE_H_

#include <cstring>

#include <unicode/unistr.h>

#include "kesu/common/base/gstring.h"
#include "kesu/common/base/string_storage.h"
#include "kesu/common/base/utf8.h"

#pragma GCC visibility push(hidden)
namespace common_base {

/// The storage of every string: UTF-16 code units, on which ICU works. A text that came as UTF-8
/// stays that, behind the object itself, until an operation needs its units; which of the two it is
/// nobody can tell.
class PosixGStringStorage final : public GStringStorage {
 public:
  /// The empty text.
  using HeapObject::operator new;
  using HeapObject::operator delete;

  PosixGStringStorage() = default;
  ~PosixGStringStorage() override;

  /// A storage of UTF-8, at least one byte.
  static PosixGStringStorage* New(const char* utf8, int length);

  void AppendNewline() override;
  void AppendGString(const GString& other) override;
  void AppendUtf8String(const char* text, int length) override;
  void AppendCodePoint(unsigned code_point) override;
  void ReplaceCodePoint(unsigned from, unsigned to) override;
  void Delete(int start, int end) override;
  void InsertGString(int position, const GString& other) override;

  using GStringStorage::CompareIgnoreCase;
  using GStringStorage::Equals;
  bool IsEmpty() const override;
  int Length() const override;
  void ToUtf8Vector(GVector<unsigned char>* out) const override;
  bool Equals(const GStringStorage* other) const override;
  int CompareIgnoreCase(const GStringStorage* other) const override;
  int CompareNaturalSortOrder(const GString& other) const override;
  GString ToLowerCase() const override;
  GString Substring(int start) const override;
  GString Substring(int start, int end) const override;
  int IndexOf(unsigned code_point) const override;
  int IndexOf(const GString& needle) const override;
  int CodePointAt(int index) const override;
  GStringStorage* Clone() const override;

  /// Sets `out` to the first Length() code units as ICU's "utf-16" converter writes them,
  /// byte-order mark included, cut at 2 * Length() bytes. The length of `out` afterwards counts the
  /// bytes that the whole conversion takes although its elements have two each; both are
  /// deliberate.
  virtual void ToUtf16Vector(GVector<unsigned short>* out) const;
  /// Decodes the first `count` * 2 bytes at `units` with ICU's "utf-16" converter (big-endian
  /// unless a byte-order mark says otherwise), whatever the width of wchar_t.
  virtual void AppendUtf16String(const wchar_t* units, int count);
  virtual void ReplaceChar(int from, int to);

  /// For writers of UTF-8: the number of bytes that ToUtf8Vector() gives, and those bytes, to
  /// `out`.
  int Utf8Size() const { return Look() == kUnits ? SizeOfUnitsAsUtf8() : size(); }
  void WriteUtf8(unsigned char* out) const {
    if (Look() == kUnits) return WriteUnitsAsUtf8(out);
    std::memcpy(out, bytes(), static_cast<std::size_t>(size()));
  }
  /// For writers that go from the end to the start: puts those bytes in front of `end`, where there
  /// is room for Utf8Room(), and yields where they start.
  long long Utf8Room() const {
    return Look() == kUnits ? static_cast<long long>(Read().length) * kMaxUtf8BytesPerUnit : size();
  }
  unsigned char* WriteUtf8Before(unsigned char* end) const {
    if (Look() == kUnits) return WriteUnitsAsUtf8Before(end);
    return static_cast<unsigned char*>(
        std::memcpy(end - size(), bytes(), static_cast<std::size_t>(size())));
  }

 private:
  enum Form : unsigned {
    kUnread,  ///< UTF-8 at which nobody has looked
    kAscii,   ///< bytes below 0x80
    kPlain,   ///< well-formed UTF-8 without supplementary characters
    kUnits,   ///< UTF-16
  };
  struct Block {
    int capacity;
    int length;
    char16_t units[1];
  };
  struct Units {
    const char16_t* data;
    int length;
  };

  static constexpr int kInlineUnits = 4;
  /// Longer UTF-8 is decoded at once: size_ could not count it.
  static constexpr int kSizeBits = 27;
  static constexpr unsigned kLongestUtf8 = (1U << kSizeBits) - 1;

  /// UTF-8 of so many bytes, which the caller puts there.
  explicit PosixGStringStorage(int utf8_size)
      : size_(static_cast<unsigned>(utf8_size) & kLongestUtf8), form_(kUnread) {}
  /// With so many bytes of room behind the object.
  static void* operator new(std::size_t size, int behind) {
    return AllocateObject(size + static_cast<std::size_t>(behind));
  }
  static void operator delete(void* object, int) { FreeObject(object); }

  static const PosixGStringStorage& Of(const GString& text) {
    return *static_cast<const PosixGStringStorage*>(text.Storage());
  }
  static GString NewString(const char16_t* units, int length);
  GString Part(int start, int length) const;

  char* bytes() const { return reinterpret_cast<char*>(const_cast<char16_t*>(units_)); }
  int size() const { return static_cast<int>(size_); }
  void set_size(int size) const { size_ = static_cast<unsigned>(size) & kLongestUtf8; }
  int capacity() const { return has_block_ ? block_->capacity : kInlineUnits; }
  char16_t* unit_data() const { return has_block_ ? block_->units : units_; }
  void set_unit_count(int count) const;

  /// Looks at the text; after that it is ASCII, plain UTF-8, or units.
  Form Look() const { return form_ == kUnread ? LookAtBytes() : static_cast<Form>(form_); }
  Form LookAtBytes() const;
  /// Whether it is ASCII and has not been decoded.
  bool IsAsciiText() const;
  Units Read() const {
    if (form_ != kUnits) Decode();
    return {unit_data(), has_block_ ? block_->length : size()};
  }
  /// Those that UTF-8 is made of: as many as there are code points.
  Units WritableUnits() const;
  int SizeOfUnitsAsUtf8() const;
  void WriteUnitsAsUtf8(unsigned char* out) const;
  unsigned char* WriteUnitsAsUtf8Before(unsigned char* end) const;
  /// The text for ICU, good until the next edit.
  icu::UnicodeString Alias() const;
  void Decode() const;
  static Block* NewBlock(long long capacity);
  /// Puts units in place of those from `start` to `end` - 1. They may be this text's own where they
  /// are appended.
  void Splice(int start, int end, const char16_t* units, int count);
  void Append(const char16_t* units, int count);

  /// Bytes of UTF-8, or units that have no block of their own.
  mutable unsigned size_ : kSizeBits = 0;
  mutable unsigned form_ : 2 = kUnits;
  mutable unsigned has_block_ : 1 = false;
  /// Known to have no surrogate pair: as many code points as units.
  mutable unsigned has_no_pair_ : 1 = false;
  /// From the first natural comparison on.
  mutable unsigned holds_collator_ : 1 = false;
  union {
    /// UTF-8 starts here too, and goes on behind the object.
    mutable char16_t units_[kInlineUnits] = {};
    mutable Block* block_;
  };
};

}  // namespace common_base
#pragma GCC visibility pop

#endif  // KESU_COMMON_BASE_POSIX_STRING_STORAGE_H_
