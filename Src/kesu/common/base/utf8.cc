#include "kesu/common/base/utf8.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include <unicode/ustring.h>
#include <unicode/utf16.h>

namespace common_base {
namespace {

constexpr char32_t kReplacementCharacter = 0xFFFD;
constexpr int kWord = sizeof(std::uint64_t);
constexpr std::uint64_t kNotAsciiBytes = 0x8080'8080'8080'8080;
constexpr std::uint64_t kNotAsciiUnits = 0xFF80'FF80'FF80'FF80;

/// So many characters as bytes and as units, which the compiler converts at once.
using ByteWord [[gnu::vector_size(kWord)]] = unsigned char;
using UnitWord [[gnu::vector_size(2 * kWord)]] = unsigned short;

template <typename Word>
Word Load(const void* from) {
  Word word;
  std::memcpy(&word, from, sizeof word);
  return word;
}

template <typename Word>
void Store(const Word& word, void* to) {
  std::memcpy(to, &word, sizeof word);
}

bool IsAsciiWord(const char* bytes) {
  return (Load<std::uint64_t>(bytes) & kNotAsciiBytes) == 0;
}

bool AreAsciiUnits(const char16_t* units) {
  const auto all = Load<std::uint64_t>(units) | Load<std::uint64_t>(units + kWord / 2);
  return (all & kNotAsciiUnits) == 0;
}

void WidenAscii(const char* bytes, char16_t* units) {
  Store(__builtin_convertvector(Load<ByteWord>(bytes), UnitWord), units);
}

void NarrowAscii(const char16_t* units, unsigned char* bytes) {
  Store(__builtin_convertvector(Load<UnitWord>(units), ByteWord), bytes);
}

bool IsTrailByte(char byte) {
  return (byte & 0xC0) == 0x80;
}

/// What a trail byte adds to its character, or at least kNoTrail for another byte.
unsigned TrailBits(char byte) {
  return static_cast<unsigned char>(byte) ^ 0x80U;
}

constexpr unsigned kNoTrail = 0x40;
/// Bytes of a character below U+10000.
constexpr int kLongestPlain = 3;

/// Decodes the character below U+10000 at the start of some bytes, and yields where it ends: null
/// where there is no such character.
inline const char* DecodeCharacter(const char* at, const char* end, char16_t* unit) {
  const unsigned lead = static_cast<unsigned char>(*at);
  if (lead < 0x80) {
    *unit = static_cast<char16_t>(lead);
    return at + 1;
  }
  const unsigned second = end - at < 2 ? kNoTrail : TrailBits(at[1]);
  if (second >= kNoTrail) return nullptr;
  if (lead < 0xE0) {
    if (lead < 0xC2) return nullptr;
    *unit = static_cast<char16_t>((lead << 6) + second - (0xC0U << 6));
    return at + 2;
  }
  const unsigned third = end - at < 3 ? kNoTrail : TrailBits(at[2]);
  if (lead >= 0xF0 || third >= kNoTrail) return nullptr;
  const unsigned value = (lead << 12) + (second << 6) + third - (0xE0U << 12);
  if (value < 0x800 || U16_IS_SURROGATE(value)) return nullptr;
  *unit = static_cast<char16_t>(value);
  return at + 3;
}

/// Writes the well-formed form of one code point, and returns where it ends.
unsigned char* WriteCodePoint(char32_t c, unsigned char* out) {
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

int DecodeByIcu(const char* bytes, int size, char16_t* units) {
  int count = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strFromUTF8WithSub(units, size, &count, bytes, size, kReplacementCharacter, nullptr, &status);
  return count;
}

}  // namespace

bool IsAscii(const char* bytes, int size) {
  const char* const end = bytes + size;
  for (; end - bytes > kWord; bytes += kWord) {
    if (!IsAsciiWord(bytes)) return false;
  }
  if (size >= kWord) return IsAsciiWord(end - kWord);
  return std::all_of(bytes, end, [](char byte) { return static_cast<signed char>(byte) >= 0; });
}

bool IsPlainUtf8(const char* bytes, int size) {
  const char* const end = bytes + size;
  char16_t unit = 0;
  while (bytes != nullptr && bytes != end) {
    const bool is_word = end - bytes >= kWord && IsAsciiWord(bytes);
    bytes = is_word ? bytes + kWord : DecodeCharacter(bytes, end, &unit);
  }
  return bytes != nullptr;
}

int CountPlainUnits(const char* bytes, int size) {
  return size - static_cast<int>(std::count_if(bytes, bytes + size, IsTrailByte));
}

DecodedUtf8 DecodeUtf8(const char* bytes, int size, char16_t* units) {
  const char* const end = bytes + size;
  char16_t* out = units;
  const auto leave_rest_to_icu = [&]() -> DecodedUtf8 {
    const int count = static_cast<int>(out - units);
    return {count + DecodeByIcu(bytes, static_cast<int>(end - bytes), out), false};
  };
  // As long as whatever starts in the next word ends before the end.
  while (end - bytes >= kWord + kLongestPlain - 1) {
    if (IsAsciiWord(bytes)) {
      WidenAscii(bytes, out);
      bytes += kWord;
      out += kWord;
      continue;
    }
    // One by one, before it pays to look for ASCII again.
    const char* const stop = bytes + kWord;
    do {
      const char* const next = DecodeCharacter(bytes, bytes + kLongestPlain, out);
      if (next == nullptr) return leave_rest_to_icu();
      bytes = next;
      ++out;
    } while (bytes < stop);
  }
  while (bytes != end) {
    const char* const next = DecodeCharacter(bytes, end, out);
    if (next == nullptr) return leave_rest_to_icu();
    bytes = next;
    ++out;
  }
  return {static_cast<int>(out - units), true};
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
    if (stop == i + kWord && AreAsciiUnits(units + i)) {
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

void WriteAsUtf8(const char16_t* units, int count, unsigned char* out) {
  for (int i = 0; i < count;) {
    if (count - i >= kWord && AreAsciiUnits(units + i)) {
      NarrowAscii(units + i, out);
      out += kWord;
      i += kWord;
      continue;
    }
    for (const int stop = std::min(i + kWord, count); i < stop;) {
      char32_t c = 0;
      U16_NEXT_OR_FFFD(units, i, count, c);
      out = WriteCodePoint(c, out);
    }
  }
}

unsigned char* WriteAsUtf8Before(const char16_t* units, int count, unsigned char* end) {
  for (int i = count; i > 0;) {
    if (i >= kWord && AreAsciiUnits(units + i - kWord)) {
      i -= kWord;
      end -= kWord;
      NarrowAscii(units + i, end);
      continue;
    }
    for (const int stop = std::max(i - kWord, 0); i > stop;) {
      if (units[i - 1] < 0x80) {
        *--end = static_cast<unsigned char>(units[--i]);
        continue;
      }
      char32_t c = 0;
      U16_PREV_OR_FFFD(units, 0, i, c);
      end -= U8_LENGTH(c);
      WriteCodePoint(c, end);
    }
  }
  return end;
}

}  // namespace common_base
