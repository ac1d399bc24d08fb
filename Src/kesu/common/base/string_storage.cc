#include "kesu/common/base/string_storage.h"

#include <algorithm>

#include "kesu/common/base/gstring.h"

namespace common_base {
namespace {

constexpr unsigned char kLastTrimmedByte = ' ';

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
  return Equals(GString(utf8));
}

bool GStringStorage::StartsWith(const GString& prefix) const {
  GVector<unsigned char> text;
  GVector<unsigned char> start;
  ToUtf8Vector(&text);
  prefix->ToUtf8Vector(&start);
  if (text.length() > start.length()) text.AdjustLength(start.length());
  return text.BitwiseEquals(start);
}

GString GStringStorage::Share() const {
  return GString(const_cast<GStringStorage*>(this));
}

GString GStringStorage::TrimSides(bool left, bool right) const {
  GVector<unsigned char> utf8;
  ToUtf8Vector(&utf8);
  const auto is_kept = [](unsigned char byte) { return byte > kLastTrimmedByte; };
  const unsigned char* begin = utf8.begin();
  const unsigned char* end = utf8.end();
  if (left) begin = std::find_if(begin, end, is_kept);
  if (right) {
    while (end != begin && !is_kept(end[-1])) --end;
  }
  const int kept = static_cast<int>(end - begin);
  if (kept == utf8.length()) return Share();
  return GString(ByteView(kReferenceExistingBuffer, begin, kept));
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
