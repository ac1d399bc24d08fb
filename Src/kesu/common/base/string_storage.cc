#include "kesu/common/base/string_storage.h"

#include <algorithm>

#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include "kesu/common/base/gstring.h"

namespace common_base {
namespace {

constexpr int kLastTrimmedUnit = ' ';
constexpr unsigned kReplacementCharacter = 0xFFFD;

/// Takes the code point at unit `*index`, below `end`, as UTF-8 can have it: half a surrogate pair
/// is U+FFFD.
unsigned NextCodePoint(const GStringStorage& text, int end, int* index) {
  const int unit = text.CodePointAt((*index)++);
  if (!U16_IS_SURROGATE(unit)) return static_cast<unsigned>(unit);
  const int trail = *index < end ? text.CodePointAt(*index) : 0;
  if (!U16_IS_SURROGATE_LEAD(unit) || !U16_IS_TRAIL(trail)) return kReplacementCharacter;
  ++*index;
  return static_cast<unsigned>(U16_GET_SUPPLEMENTARY(unit, trail));
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"  // In ICU's macro.
/// Takes the code point at byte `*at` of NUL-terminated UTF-8.
UChar32 DecodeCodePoint(const char* utf8, int* at) {
  UChar32 code_point = 0;
  U8_NEXT_OR_FFFD(utf8, *at, -1, code_point);
  return code_point;
}
#pragma GCC diagnostic pop

/// The units of a code point that stand at unit `*index`, or false.
bool TakeCodePoint(const GStringStorage& text, int code_point, int* index) {
  if (U_IS_BMP(code_point)) return text.CodePointAt((*index)++) == code_point;
  *index += 2;
  return text.CodePointAt(*index - 2) == U16_LEAD(code_point) &&
         text.CodePointAt(*index - 1) == U16_TRAIL(code_point);
}

}  // namespace

unsigned GStringStorage::Hash() const {
  unsigned hash = 17;
  const int length = Length();
  for (int i = 0; i < length; ++i) hash = hash * 31 + static_cast<unsigned>(CodePointAt(i));
  return hash;
}

bool GStringStorage::Equals(const GString& other) const {
  return Equals(other.Storage());
}

int GStringStorage::CompareIgnoreCase(const GString& other) const {
  return CompareIgnoreCase(other.Storage());
}

bool GStringStorage::EqualsUtf8(const char* utf8) const {
  int index = 0;
  int count = 0;
  for (int at = 0; utf8 != nullptr && utf8[at] != '\0'; ++count) {
    if (!TakeCodePoint(*this, DecodeCodePoint(utf8, &at), &index)) return false;
  }
  return count == Length();  // There is no rest.
}

bool GStringStorage::StartsWith(const GString& prefix) const {
  const int end = Length();
  const int prefix_end = prefix->Length();
  int at = 0;
  for (int prefix_at = 0; prefix_at < prefix_end;) {
    if (at >= end) return false;
    if (NextCodePoint(*this, end, &at) != NextCodePoint(*prefix.Storage(), prefix_end, &prefix_at))
      return false;
  }
  return true;
}

GString GStringStorage::Share() const {
  return GString(const_cast<GStringStorage*>(this));
}

/// The units `start` to `end` - 1 as they come back from UTF-8.
GString GStringStorage::WellFormedPart(int start, int end) const {
  const auto is_surrogate = [this](int i) { return U16_IS_SURROGATE(CodePointAt(i)); };
  int first = start;
  while (first < end && !is_surrogate(first)) ++first;
  if (first == end) return Substring(start, end);
  GStringStorage* part = NewGStringStorage();
  GString holder(part);
  while (start < end) part->AppendCodePoint(NextCodePoint(*this, end, &start));
  return holder;
}

GString GStringStorage::TrimSides(bool left, bool right) const {
  const int length = Length();
  int start = 0;
  int end = length;
  while (left && start < end && CodePointAt(start) <= kLastTrimmedUnit) ++start;
  while (right && start < end && CodePointAt(end - 1) <= kLastTrimmedUnit) --end;
  return end - start == length ? Share() : WellFormedPart(start, end);
}

GString GStringStorage::Trim() const {
  return TrimSides(true, true);
}

GString GStringStorage::TrimLeft() const {
  return TrimSides(true, false);
}

GString GStringStorage::TrimRight() const {
  return TrimSides(false, true);
}

GVector<GString> GStringStorage::Split(unsigned separator) const {
  GVector<GString> pieces;
  int start = 0;
  const int length = Length();
  for (int i = 0; i < length; ++i) {
    if (static_cast<unsigned>(CodePointAt(i)) != separator) continue;
    pieces.Append(Substring(start, i));
    start = i + 1;
  }
  pieces.Append(Substring(start));
  return pieces;
}

}  // namespace common_base
