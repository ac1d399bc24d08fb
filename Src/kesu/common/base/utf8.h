#ifndef KESU_COMMON_BASE_UTF8_H_
#define KESU_COMMON_BASE_UTF8_H_

#pragma GCC visibility push(hidden)
namespace common_base {

/// Between UTF-8 and UTF-16, with the results of ICU's converters: malformed bytes, and halves of
/// surrogate pairs, become U+FFFD.

bool IsAscii(const char* bytes, int size);

/// Whether the bytes are well-formed UTF-8 of characters below U+10000: plain text has as many code
/// points as units.
bool IsPlainUtf8(const char* bytes, int size);

/// The code points of plain UTF-8.
int CountPlainUnits(const char* bytes, int size);

struct DecodedUtf8 {
  int count;
  bool is_plain;
};

/// Decodes to `units`, where there is room for CountPlainUnits() of plain text, and for as many
/// units as bytes of any other.
DecodedUtf8 DecodeUtf8(const char* bytes, int size, char16_t* units);

inline constexpr int kMaxUtf8BytesPerUnit = 3;

int CountPairs(const char16_t* units, int count);
int SizeAsUtf8(const char16_t* units, int count);
/// Writes SizeAsUtf8() bytes.
void WriteAsUtf8(const char16_t* units, int count, unsigned char* out);
/// Writes them in front of `end`, where there is room for the most they can be, and yields where
/// they start.
unsigned char* WriteAsUtf8Before(const char16_t* units, int count, unsigned char* end);

}  // namespace common_base
#pragma GCC visibility pop

#endif  // KESU_COMMON_BASE_UTF8_H_
