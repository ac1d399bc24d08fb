#include "kesu/common/base/posix_string_storage.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include <unicode/coll.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>

#include "kesu/common/base/object_region.h"

namespace common_base {
namespace {

constexpr int kNoCodeUnit = 0xFFFF;
constexpr int kMaxUtf8BytesPerCodePoint = 4;
constexpr int kMaxUnits = 1 << 30;
constexpr char32_t kReplacementCharacter = 0xFFFD;
constexpr int kWord = sizeof(std::uint64_t);
constexpr std::uint64_t kNotAsciiBytes = 0x8080'8080'8080'8080;
constexpr std::uint64_t kNotAsciiUnits = 0xFF80'FF80'FF80'FF80;

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

std::uint64_t WordAt(const void* bytes) {
  std::uint64_t word = 0;
  std::memcpy(&word, bytes, kWord);
  return word;
}

bool IsAscii(const char* bytes, int size) {
  std::uint64_t all = 0;
  const char* end = bytes + size;
  for (; end - bytes >= kWord; bytes += kWord) all |= WordAt(bytes);
  for (; bytes != end; ++bytes) all |= static_cast<unsigned char>(*bytes);
  return (all & kNotAsciiBytes) == 0;
}

bool IsTrailByte(char byte) {
  return (byte & 0xC0) == 0x80;
}

/// Whether the bytes are well-formed UTF-8 of characters below U+10000.
bool IsPlain(const char* bytes, int size) {
  const auto is_trail_at = [=](int i) { return i < size && IsTrailByte(bytes[i]); };
  for (int i = 0; i < size;) {
    const auto lead = static_cast<unsigned char>(bytes[i]);
    if (lead < 0x80) {
      ++i;
    } else if (lead >= 0xC2 && lead < 0xE0 && is_trail_at(i + 1)) {
      i += 2;
    } else if (lead >= 0xE0 && lead < 0xF0 && is_trail_at(i + 1) && is_trail_at(i + 2)) {
      const auto second = static_cast<unsigned char>(bytes[i + 1]);
      const bool is_overlong = lead == 0xE0 && second < 0xA0;
      const bool is_surrogate = lead == 0xED && second >= 0xA0;
      if (is_overlong || is_surrogate) return false;
      i += 3;
    } else {
      return false;
    }
  }
  return true;
}

/// Decodes the ASCII that the bytes start with, and returns how much that is.
int WidenAscii(const char* bytes, int size, char16_t* units) {
  int i = 0;
  for (; size - i >= kWord && (WordAt(bytes + i) & kNotAsciiBytes) == 0; i += kWord) {
    // Of its own, so that the compiler knows that the two do not overlap.
    std::array<char16_t, kWord> wide;
    for (int k = 0; k < kWord; ++k) wide[k] = static_cast<unsigned char>(bytes[i + k]);
    std::memcpy(units + i, wide.data(), sizeof wide);
  }
  for (; i < size && static_cast<signed char>(bytes[i]) >= 0; ++i) {
    units[i] = static_cast<char16_t>(bytes[i]);
  }
  return i;
}

/// Decodes UTF-8 that IsPlain().
int DecodePlain(const char* bytes, int size, char16_t* units) {
  const auto low_bits = [bytes](int i) { return bytes[i] & 0x3F; };
  int count = 0;
  for (int i = 0; i < size;) {
    const int ascii = WidenAscii(bytes + i, size - i, units + count);
    i += ascii;
    count += ascii;
    if (i == size) break;
    if (static_cast<unsigned char>(bytes[i]) < 0xE0) {
      units[count++] = static_cast<char16_t>((bytes[i] & 0x1F) << 6 | low_bits(i + 1));
      i += 2;
    } else {
      units[count++] =
          static_cast<char16_t>((bytes[i] & 0xF) << 12 | low_bits(i + 1) << 6 | low_bits(i + 2));
      i += 3;
    }
  }
  return count;
}

/// Decodes UTF-8 to `units`, where there is room for as many units as bytes, and returns their
/// number.
int DecodeUtf8(const char* bytes, int size, char16_t* units) {
  const int i = WidenAscii(bytes, size, units);
  if (i == size) return size;
  int rest = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strFromUTF8WithSub(units + i, size - i, &rest, bytes + i, size - i, kReplacementCharacter,
                       nullptr, &status);
  return i + rest;
}

/// Whether the kWord units from there on are ASCII.
bool IsAsciiUnits(const char16_t* units) {
  return ((WordAt(units) | WordAt(units + kWord / 2)) & kNotAsciiUnits) == 0;
}

/// Writes the kWord units from there on as a byte each.
void NarrowAscii(const char16_t* units, unsigned char* out) {
  for (int half = 0; half < 2; ++half) {
    // Each unit in the low half of its 16 bits moves beside its neighbour, and those two beside the
    // next two, whichever end of the word comes first.
    std::uint64_t word = WordAt(units + half * kWord / 2);
    word = (word | word >> 8) & 0x0000'FFFF'0000'FFFF;
    word = (word | word >> 16) & 0xFFFF'FFFF;
    const auto four = static_cast<std::uint32_t>(word);
    std::memcpy(out + half * kWord / 2, &four, sizeof four);
  }
}

int CountPairs(const char16_t* units, int count) {
  int pairs = 0;
  for (int i = 0; i + 1 < count; ++i) {
    if (!U16_IS_LEAD(units[i]) || !U16_IS_TRAIL(units[i + 1])) continue;
    ++pairs;
    ++i;
  }
  return pairs;
}

int SizeAsUtf8(const char16_t* units, int count) {
  int size = count;
  bool has_surrogate = false;
  for (int i = 0; i < count;) {
    const int stop = std::min(i + kWord, count);
    if (stop == i + kWord && IsAsciiUnits(units + i)) {
      i = stop;
      continue;
    }
    for (; i < stop; ++i) {
      if (units[i] < 0x80) continue;
      size += units[i] < 0x800 ? 1 : 2;
      has_surrogate |= U16_IS_SURROGATE(units[i]);
    }
  }
  // Half a pair counts as the three bytes of U+FFFD, and a pair has four.
  return has_surrogate ? size - 2 * CountPairs(units, count) : size;
}

/// Writes the well-formed form of one code point, and returns where it ends.
unsigned char* EncodeUtf8(char32_t c, unsigned char* out) {
  if (c < 0x80) {
    *out++ = static_cast<unsigned char>(c);
    return out;
  }
  const int trail_bytes = c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
  // As many ones at the top as bytes, and a zero.
  *out++ = static_cast<unsigned char>((0xFF80U >> trail_bytes) | c >> 6 * trail_bytes);
  for (int i = trail_bytes - 1; i >= 0; --i) {
    *out++ = static_cast<unsigned char>(0x80 | (c >> 6 * i & 0x3F));
  }
  return out;
}

}  // namespace

GStringStorage* NewGStringStorage() {
  return new PosixGStringStorage;
}

GStringStorage* NewGStringStorageFromUtf8(const char* utf8, int length) {
  return PosixGStringStorage::New(utf8, length);
}

void* PosixGStringStorage::operator new(std::size_t size, int utf8_length) {
  const std::size_t behind = std::max(utf8_length - static_cast<int>(sizeof units_), 0);
  return ObjectRegion::Allocate(size + behind);
}

PosixGStringStorage* PosixGStringStorage::New(const char* utf8, int length) {
  if (static_cast<unsigned>(length) > kLongestUtf8) {
    auto* decoded = new PosixGStringStorage;
    decoded->AppendUtf8String(utf8, length);
    return decoded;
  }
  auto* storage = new (length) PosixGStringStorage;
  storage->set_size(length);
  storage->form_ = kUnread;
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
  if (IsAscii(bytes(), size())) {
    form_ = kAscii;
  } else if (IsPlain(bytes(), size())) {
    form_ = kPlain;
  } else {
    Decode();
  }
  return static_cast<Form>(form_);
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
  const bool is_plain = form_ != kUnread;
  const int room = is_plain ? Length() : size();
  if (room <= kInlineUnits) {
    char16_t units[kInlineUnits * kMaxUtf8BytesPerCodePoint];
    set_size(DecodeUtf8(bytes(), size(), units));
    std::copy_n(units, size(), units_);
  } else {
    Block* block = NewBlock(room);
    block->length = is_plain ? DecodePlain(bytes(), size(), block->units)
                             : DecodeUtf8(bytes(), size(), block->units);
    block_ = block;
    has_block_ = true;
  }
  form_ = kUnits;
  has_no_pair_ = is_plain;
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
    return Append(units, DecodeUtf8(text, size, units));
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
  if (form == kPlain) {
    return static_cast<int>(size() - std::count_if(bytes(), bytes() + size(), IsTrailByte));
  }
  const Units units = Read();
  if (has_no_pair_) return units.length;
  const int pairs = CountPairs(units.data, units.length);
  has_no_pair_ = pairs == 0;
  return units.length - pairs;
}

int PosixGStringStorage::SizeOfUnitsAsUtf8() const {
  const Units units = Read();
  return SizeAsUtf8(units.data, has_no_pair_ ? units.length : Length());
}

void PosixGStringStorage::WriteUnitsAsUtf8(unsigned char* out) const {
  const Units text = Read();
  const char16_t* units = text.data;
  const int end = has_no_pair_ ? text.length : Length();
  for (int i = 0; i < end;) {
    if (end - i >= kWord && IsAsciiUnits(units + i)) {
      NarrowAscii(units + i, out);
      out += kWord;
      i += kWord;
      continue;
    }
    for (const int stop = std::min(i + kWord, end); i < stop;) {
      if (units[i] < 0x80) {
        *out++ = static_cast<unsigned char>(units[i++]);
        continue;
      }
      char32_t c = 0;
      U16_NEXT_OR_FFFD(units, i, end, c);
      out = EncodeUtf8(c, out);
    }
  }
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
  const bool is_ascii = Look() == kAscii;
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
  if (Look() == kAscii) return at >= size_ ? kNoCodeUnit : bytes()[index];
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
