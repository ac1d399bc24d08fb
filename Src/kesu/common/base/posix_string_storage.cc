#include "kesu/common/base/posix_string_storage.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include <unicode/ustring.h>

namespace common_base {
namespace {

constexpr int kNoCodeUnit = 0xFFFF;
constexpr int kMaxUtf8BytesPerCodePoint = 4;
constexpr char32_t kReplacementCharacter = 0xFFFD;

icu::Collator* shared_collator = nullptr;
int shared_collator_holders = 0;

const icu::Collator* HoldSharedCollator() {
  if (shared_collator == nullptr) {
    UErrorCode status = U_ZERO_ERROR;
    shared_collator = icu::Collator::createInstance(status);
    if (shared_collator == nullptr) return nullptr;
  }
  ++shared_collator_holders;
  return shared_collator;
}

void ReleaseSharedCollator() {
  if (--shared_collator_holders != 0) return;
  delete shared_collator;
  shared_collator = nullptr;
}

int Sign(int comparison) {
  return (comparison > 0) - (comparison < 0);
}

/// The one or two code units of a code point, or none for a value beyond Unicode.
icu::UnicodeString Encode(unsigned code_point) {
  return icu::UnicodeString().append(static_cast<UChar32>(code_point));
}

}  // namespace

GStringStorage* NewGStringStorage() {
  return new PosixGStringStorage;
}

PosixGStringStorage::~PosixGStringStorage() {
  GString::ForgetSharedEmptyStorage(this);
  if (collator_ != nullptr) ReleaseSharedCollator();
}

const icu::UnicodeString& PosixGStringStorage::TextOf(const GStringStorage* storage) {
  return static_cast<const PosixGStringStorage*>(storage)->text_;
}

void PosixGStringStorage::AppendNewline() {
  Edit().append(u"\r\n", 2);
}

void PosixGStringStorage::AppendGString(const GString& other) {
  Edit().append(TextOf(other.Storage()));
}

void PosixGStringStorage::AppendUtf8String(const char* text, int length) {
  const int size = length == -1 ? static_cast<int>(std::strlen(text)) : length;
  const icu::UnicodeString decoded = icu::UnicodeString::fromUTF8(icu::StringPiece(text, size));
  if (text_.isEmpty()) {
    Edit() = decoded;
  } else {
    Edit().append(decoded);
  }
}

void PosixGStringStorage::AppendUtf16String(const wchar_t* units, int count) {
  Edit().append(icu::UnicodeString(reinterpret_cast<const char*>(units), count * 2, "utf-16"));
}

void PosixGStringStorage::AppendCodePoint(unsigned code_point) {
  Edit().append(static_cast<UChar32>(code_point));  // Nothing, for a value beyond Unicode.
}

void PosixGStringStorage::ReplaceCodePoint(unsigned from, unsigned to) {
  const icu::UnicodeString old_units = Encode(from);
  const icu::UnicodeString new_units = Encode(to);
  // Not UnicodeString::findAndReplace, which moves the rest of the text for each replacement.
  const int end = Length();
  icu::UnicodeString replaced;
  int start = 0;
  for (int found; (found = text_.indexOf(old_units, start, end - start)) != -1;
       start = found + old_units.length()) {
    replaced.append(text_, start, found - start).append(new_units);
  }
  if (start == 0) return;
  Edit() = replaced.append(text_, start, text_.length() - start);
}

void PosixGStringStorage::ReplaceChar(int from, int to) {
  ReplaceCodePoint(static_cast<unsigned>(from), static_cast<unsigned>(to));
}

void PosixGStringStorage::Delete(int start, int end) {
  start = std::max(start, 0);
  end = std::min(end, Length());
  if (end > start) Edit().removeBetween(start, end);
}

void PosixGStringStorage::InsertGString(int position, const GString& other) {
  if (!other->IsEmpty()) Edit().insert(position, TextOf(other.Storage()));
}

bool PosixGStringStorage::IsEmpty() const {
  return text_.isEmpty();
}

int PosixGStringStorage::Length() const {
  if (length_ == kUnknownLength) length_ = text_.countChar32();
  return length_;
}

icu::UnicodeString& PosixGStringStorage::Edit() {
  length_ = kUnknownLength;
  return text_;
}

void PosixGStringStorage::ToUtf8Vector(GVector<unsigned char>* out) const {
  const int units = Length();
  const long long room = static_cast<long long>(units) * kMaxUtf8BytesPerCodePoint;
  out->AdjustLengthAndZero(static_cast<int>(std::min<long long>(room, INT_MAX)));
  int size = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strToUTF8WithSub(reinterpret_cast<char*>(out->data()), out->length(), &size, text_.getBuffer(),
                     units, kReplacementCharacter, nullptr, &status);
  out->AdjustLength(std::min(size, out->length()));
}

void PosixGStringStorage::ToUtf16Vector(GVector<unsigned short>* out) const {
  const int units = Length();
  const int capacity_in_bytes = 2 * units;
  out->Clear();
  out->AdjustLengthAndZero(2 * units);
  const int size = text_.extract(0, units, reinterpret_cast<char*>(out->data()),
                                 static_cast<unsigned>(capacity_in_bytes), "utf-16");
  out->AdjustLengthAndZero(size);
}

bool PosixGStringStorage::Equals(const GStringStorage* other) const {
  if (other == nullptr) return false;
  return other == this || text_.compare(TextOf(other)) == 0;
}

int PosixGStringStorage::CompareIgnoreCase(const GStringStorage* other) const {
  if (other == nullptr) return 1;
  if (other == this) return 0;
  return Sign(text_.caseCompare(TextOf(other), U_FOLD_CASE_DEFAULT));
}

int PosixGStringStorage::CompareNaturalSortOrder(const GString& other) const {
  if (other.Storage() == nullptr) return 1;
  if (other.Storage() == this) return 0;
  if (collator_ == nullptr) collator_ = HoldSharedCollator();
  if (collator_ == nullptr) return Sign(text_.compare(TextOf(other.Storage())));
  UErrorCode status = U_ZERO_ERROR;
  return collator_->compare(text_, TextOf(other.Storage()), status);
}

GString PosixGStringStorage::ToLowerCase() const {
  if (IsEmpty()) return GString();
  auto* lower = new PosixGStringStorage;
  lower->text_ = text_;
  lower->text_.toLower();
  return GString(lower);
}

GString PosixGStringStorage::NewString(int start, int length) const {
  if (length <= 0) return GString();
  auto* part = new PosixGStringStorage;
  part->text_.setTo(text_, start, length);
  return GString(part);
}

GString PosixGStringStorage::Substring(int start) const {
  if (start == 0) return Share();
  return start < 0 ? GString() : NewString(start, Length() - start);
}

GString PosixGStringStorage::Substring(int start, int end) const {
  if (start < 0 || end <= start || start == Length()) return GString();
  return NewString(start, end - start);
}

int PosixGStringStorage::IndexOf(unsigned code_point) const {
  // Not UnicodeString::indexOf, which never finds one half of a surrogate pair.
  const char16_t* begin = text_.getBuffer();
  const char16_t* end = begin + text_.length();
  const char16_t* found = std::find(begin, end, static_cast<char16_t>(code_point));
  return found == end ? -1 : static_cast<int>(found - begin);
}

int PosixGStringStorage::IndexOf(const GString& needle) const {
  return needle->IsEmpty() ? -1 : text_.indexOf(TextOf(needle.Storage()));
}

int PosixGStringStorage::CodePointAt(int index) const {
  return index >= text_.length() ? kNoCodeUnit : text_.charAt(index);
}

GStringStorage* PosixGStringStorage::Clone() const {
  auto* clone = new PosixGStringStorage;
  clone->text_ = text_;
  return clone;
}

}  // namespace common_base
