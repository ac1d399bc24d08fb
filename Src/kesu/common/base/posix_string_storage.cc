#include "kesu/common/base/posix_string_storage.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>

#include <unicode/coll.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>

#include "kesu/common/base/utf8.h"

namespace common_base {
namespace {

constexpr int kNoCodeUnit = 0xFFFF;
constexpr int kMaxUtf8BytesPerCodePoint = 4;
constexpr int kMaxUnits = 1 << 30;
/// Bytes of UTF-8.
constexpr int kShortText = 96;

icu::Collator* shared_collator = nullptr;
int shared_collator_holders = 0;

bool HoldSharedCollator() {
  if (shared_collator == nullptr) {
    UErrorCode status = U_ZERO_ERROR;
    shared_collator = icu::Collator::createInstance(status);
    if (shared_collator == nullptr) return false;
  }
  ++shared_collator_holders;
  return true;
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

GStringStorage* NewGStringStorageFromUtf8(const char* utf8, int length) {
  return PosixGStringStorage::New(utf8, length);
}

PosixGStringStorage* PosixGStringStorage::New(const char* utf8, int length) {
  if (static_cast<unsigned>(length) > kLongestUtf8) {
    auto* decoded = new PosixGStringStorage;
    decoded->AppendUtf8String(utf8, length);
    return decoded;
  }
  const int behind = std::max(length - static_cast<int>(sizeof units_), 0);
  auto* storage = new (behind) PosixGStringStorage(length);
  std::memcpy(storage->bytes(), utf8, static_cast<std::size_t>(length));
  return storage;
}

PosixGStringStorage::~PosixGStringStorage() {
  if (form_ == kUnits) GString::ForgetSharedEmptyStorage(this);
  if (holds_collator_) ReleaseSharedCollator();
  if (has_block_) FreeObject(block_);
}

void PosixGStringStorage::set_unit_count(int count) const {
  if (has_block_) {
    block_->length = count;
  } else {
    set_size(count);
  }
}

PosixGStringStorage::Form PosixGStringStorage::LookAtBytes() const {
  if (!IsAsciiText()) {
    if (IsPlainUtf8(bytes(), size())) {
      form_ = kPlain;
    } else {
      Decode();
    }
  }
  return static_cast<Form>(form_);
}

bool PosixGStringStorage::IsAsciiText() const {
  if (form_ == kUnread && IsAscii(bytes(), size())) form_ = kAscii;
  return form_ == kAscii;
}

icu::UnicodeString PosixGStringStorage::Alias() const {
  const Units units = Read();
  return {false, units.data, units.length};
}

PosixGStringStorage::Block* PosixGStringStorage::NewBlock(long long capacity) {
  if (capacity > kMaxUnits) std::abort();
  const std::size_t size = offsetof(Block, units) + static_cast<std::size_t>(capacity) * 2;
  auto* block = static_cast<Block*>(AllocateObject(size));
  block->capacity = static_cast<int>(capacity);
  return block;
}

void PosixGStringStorage::Decode() const {
  // A unit for each byte is room for any text. It pays to count those of a long one.
  const bool is_counted = size() > kShortText && (form_ != kUnread || IsPlainUtf8(bytes(), size()));
  const int room = is_counted ? CountPlainUnits(bytes(), size()) : size();
  char16_t few[kInlineUnits];
  Block* block = room <= kInlineUnits ? nullptr : NewBlock(room);
  const DecodedUtf8 decoded = DecodeUtf8(bytes(), size(), block == nullptr ? few : block->units);
  if (block == nullptr) {
    std::copy_n(few, decoded.count, units_);
  } else {
    block_ = block;
    has_block_ = true;
  }
  set_unit_count(decoded.count);
  form_ = kUnits;
  has_no_pair_ = decoded.is_plain;
}

void PosixGStringStorage::Splice(int start, int end, const char16_t* units, int count) {
  const Units old = Read();
  const long long length = static_cast<long long>(old.length) - (end - start) + count;
  has_no_pair_ = false;
  const int tail = old.length - end;
  if (length <= capacity()) {
    char16_t* data = unit_data();
    std::memmove(data + start + count, data + end, static_cast<std::size_t>(tail) * 2);
    std::copy_n(units, count, data + start);
    set_unit_count(static_cast<int>(length));
    return;
  }
  Block* block = NewBlock(std::max(length, std::min<long long>(2LL * capacity(), kMaxUnits)));
  block->length = static_cast<int>(length);
  char16_t* after = std::copy_n(units, count, std::copy_n(old.data, start, block->units));
  std::copy_n(old.data + end, tail, after);
  if (has_block_) FreeObject(block_);
  block_ = block;
  has_block_ = true;
}

void PosixGStringStorage::Append(const char16_t* units, int count) {
  const int length = Read().length;
  Splice(length, length, units, count);
}

void PosixGStringStorage::AppendNewline() {
  Append(u"\r\n", 2);
}

void PosixGStringStorage::AppendGString(const GString& other) {
  const Units units = Of(other).Read();
  Append(units.data, units.length);
}

void PosixGStringStorage::AppendUtf8String(const char* text, int length) {
  const int size = length == -1 ? static_cast<int>(std::strlen(text)) : length;
  constexpr int kPiece = 256;
  if (size <= kPiece) {
    char16_t units[kPiece];
    return Append(units, DecodeUtf8(text, size, units).count);
  }
  const icu::UnicodeString decoded = icu::UnicodeString::fromUTF8(icu::StringPiece(text, size));
  Append(decoded.getBuffer(), decoded.length());
}

void PosixGStringStorage::AppendUtf16String(const wchar_t* units, int count) {
  const icu::UnicodeString decoded(reinterpret_cast<const char*>(units), count * 2, "utf-16");
  Append(decoded.getBuffer(), decoded.length());
}

void PosixGStringStorage::AppendCodePoint(unsigned code_point) {
  if (code_point > UCHAR_MAX_VALUE) return;
  const char16_t units[] = {static_cast<char16_t>(code_point)};
  const char16_t pair[] = {U16_LEAD(code_point), U16_TRAIL(code_point)};
  U_IS_BMP(code_point) ? Append(units, 1) : Append(pair, 2);
}

void PosixGStringStorage::ReplaceCodePoint(unsigned from, unsigned to) {
  const icu::UnicodeString old_units = Encode(from);
  const icu::UnicodeString new_units = Encode(to);
  const icu::UnicodeString text = Alias();
  // Not UnicodeString::findAndReplace, which moves the rest of the text for each replacement.
  const int end = Length();
  icu::UnicodeString replaced;
  int start = 0;
  for (int found; (found = text.indexOf(old_units, start, end - start)) != -1;
       start = found + old_units.length()) {
    replaced.append(text, start, found - start).append(new_units);
  }
  if (start != 0) Splice(0, start, replaced.getBuffer(), replaced.length());
}

void PosixGStringStorage::ReplaceChar(int from, int to) {
  ReplaceCodePoint(static_cast<unsigned>(from), static_cast<unsigned>(to));
}

void PosixGStringStorage::Delete(int start, int end) {
  start = std::max(start, 0);
  end = std::min(end, Length());
  if (end > start) Splice(start, end, nullptr, 0);
}

void PosixGStringStorage::InsertGString(int position, const GString& other) {
  if (other.Storage() == this) return InsertGString(position, GString(Clone()));
  const Units inserted = Of(other).Read();
  const int place = std::clamp(position, 0, Read().length);
  if (inserted.length > 0) Splice(place, place, inserted.data, inserted.length);
}

bool PosixGStringStorage::IsEmpty() const {
  return form_ == kUnits && Read().length == 0;
}

int PosixGStringStorage::Length() const {
  const Form form = Look();
  if (form == kAscii) return size();
  if (form == kPlain) return CountPlainUnits(bytes(), size());
  const Units units = Read();
  if (has_no_pair_) return units.length;
  const int pairs = CountPairs(units.data, units.length);
  has_no_pair_ = pairs == 0;
  return units.length - pairs;
}

PosixGStringStorage::Units PosixGStringStorage::WritableUnits() const {
  const Units units = Read();
  return {units.data, has_no_pair_ ? units.length : Length()};
}

int PosixGStringStorage::SizeOfUnitsAsUtf8() const {
  const Units units = WritableUnits();
  return SizeAsUtf8(units.data, units.length);
}

void PosixGStringStorage::WriteUnitsAsUtf8(unsigned char* out) const {
  const Units units = WritableUnits();
  WriteAsUtf8(units.data, units.length, out);
}

unsigned char* PosixGStringStorage::WriteUnitsAsUtf8Before(unsigned char* end) const {
  const Units units = WritableUnits();
  return WriteAsUtf8Before(units.data, units.length, end);
}

void PosixGStringStorage::ToUtf8Vector(GVector<unsigned char>* out) const {
  const int size = Utf8Size();
  const long long room = static_cast<long long>(Length()) * kMaxUtf8BytesPerCodePoint;
  // Callers may count on the capacity that four bytes for each code point, cut to what is needed,
  // leave behind.
  if (out->capacity() != 0 || size > room / 2) {
    out->AdjustLength(static_cast<int>(std::min<long long>(room, INT_MAX)));
  }
  out->AdjustLength(size);
  if (size > 0) WriteUtf8(out->data());
}

void PosixGStringStorage::ToUtf16Vector(GVector<unsigned short>* out) const {
  const int units = Length();
  const int capacity_in_bytes = 2 * units;
  out->Clear();
  out->AdjustLengthAndZero(2 * units);
  const int size = Alias().extract(0, units, reinterpret_cast<char*>(out->data()),
                                   static_cast<unsigned>(capacity_in_bytes), "utf-16");
  out->AdjustLengthAndZero(size);
}

bool PosixGStringStorage::Equals(const GStringStorage* other) const {
  if (other == nullptr) return false;
  if (other == this) return true;
  const auto& text = *static_cast<const PosixGStringStorage*>(other);
  if (Look() != kUnits && text.Look() != kUnits) {
    return size() == text.size() && std::equal(bytes(), bytes() + size(), text.bytes());
  }
  const Units a = Read();
  const Units b = text.Read();
  return a.length == b.length && std::equal(a.data, a.data + a.length, b.data);
}

int PosixGStringStorage::CompareIgnoreCase(const GStringStorage* other) const {
  if (other == nullptr) return 1;
  if (other == this) return 0;
  const auto& text = *static_cast<const PosixGStringStorage*>(other);
  return Sign(Alias().caseCompare(text.Alias(), U_FOLD_CASE_DEFAULT));
}

int PosixGStringStorage::CompareNaturalSortOrder(const GString& other) const {
  if (other.Storage() == nullptr) return 1;
  if (other.Storage() == this) return 0;
  if (!holds_collator_) holds_collator_ = HoldSharedCollator();
  if (!holds_collator_) return Sign(Alias().compare(Of(other).Alias()));
  UErrorCode status = U_ZERO_ERROR;
  return shared_collator->compare(Alias(), Of(other).Alias(), status);
}

GString PosixGStringStorage::ToLowerCase() const {
  if (IsEmpty()) return GString();
  icu::UnicodeString lower(Alias());
  lower.toLower();
  return NewString(lower.getBuffer(), lower.length());
}

GString PosixGStringStorage::NewString(const char16_t* units, int length) {
  auto* string = new PosixGStringStorage;
  string->Append(units, length);
  return GString(string);
}

/// The `length` units from `start`, which is not negative, or as many as there are.
GString PosixGStringStorage::Part(int start, int length) const {
  const bool is_ascii = IsAsciiText();
  const int available = (is_ascii ? size() : Read().length) - start;
  const int count = std::min(length, available);
  if (count <= 0) return GString();
  if (!is_ascii) return NewString(unit_data() + start, count);
  PosixGStringStorage* part = New(bytes() + start, count);
  part->form_ = kAscii;
  return GString(part);
}

GString PosixGStringStorage::Substring(int start) const {
  if (start == 0) return Share();
  return start < 0 ? GString() : Part(start, Length() - start);
}

GString PosixGStringStorage::Substring(int start, int end) const {
  if (start < 0 || end <= start || start == Length()) return GString();
  return Part(start, end - start);
}

int PosixGStringStorage::IndexOf(unsigned code_point) const {
  // Not UnicodeString::indexOf, which never finds one half of a surrogate pair.
  const Units units = Read();
  const char16_t* end = units.data + units.length;
  const char16_t* found = std::find(units.data, end, static_cast<char16_t>(code_point));
  return found == end ? -1 : static_cast<int>(found - units.data);
}

int PosixGStringStorage::IndexOf(const GString& needle) const {
  return needle->IsEmpty() ? -1 : Alias().indexOf(Of(needle).Alias());
}

int PosixGStringStorage::CodePointAt(int index) const {
  const auto at = static_cast<unsigned>(index);
  if (IsAsciiText()) return at >= size_ ? kNoCodeUnit : bytes()[index];
  const Units units = Read();
  return at >= static_cast<unsigned>(units.length) ? kNoCodeUnit : units.data[index];
}

GStringStorage* PosixGStringStorage::Clone() const {
  if (Look() == kUnits) {
    auto* clone = new PosixGStringStorage;
    const Units units = Read();
    clone->Append(units.data, units.length);
    clone->has_no_pair_ = has_no_pair_;
    return clone;
  }
  PosixGStringStorage* clone = New(bytes(), size());
  clone->form_ = form_;
  return clone;
}

}  // namespace common_base
