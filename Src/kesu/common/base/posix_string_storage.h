#ifndef KESU_COMMON_BASE_POSIX_STRING_STORAGE_H_
#define KESU_COMMON_BASE_POSIX_STRING_STORAGE_H_

#include <unicode/coll.h>
#include <unicode/unistr.h>

#include "kesu/common/base/gstring.h"
#include "kesu/common/base/string_storage.h"

namespace [[gnu::visibility("hidden")]] common_base {

/// The storage of every string: an ICU UnicodeString.
class PosixGStringStorage : public GStringStorage {
 public:
  PosixGStringStorage() = default;
  ~PosixGStringStorage() override;

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

 private:
  static const icu::UnicodeString& TextOf(const GStringStorage* storage);
  GString NewString(int start, int length) const;

  static constexpr int kUnknownLength = -1;

  /// The text, for a change.
  icu::UnicodeString& Edit();

  icu::UnicodeString text_;
  /// The process-wide collator, held from the first natural comparison on.
  mutable const icu::Collator* collator_ = nullptr;
  /// Length(), which many operations ask for; counted when it is first needed after a change.
  mutable int length_ = kUnknownLength;
};

}  // namespace common_base

#endif  // KESU_COMMON_BASE_POSIX_STRING_STORAGE_H_
