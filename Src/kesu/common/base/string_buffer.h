#ifndef KESU_COMMON_BASE_STRING_BUFFER_H_
#define KESU_COMMON_BASE_STRING_BUFFER_H_

#include <cstdarg>

#include "kesu/common/base/gstring.h"

namespace common_base {

/// The editable form of a GString. Every edit first makes the storage private, so that a string
/// handed out by ToString() keeps its text.
class GStringBuffer : public GString {
 public:
  GStringBuffer() = default;

  bool IsEmpty() const { return Storage()->IsEmpty(); }
  GString ToString() const { return *this; }

  /// NUL-terminated; null is the empty text.
  void AppendUtf8String(const char* text);
  void AppendUtf8Vector(const GVectorRef<const unsigned char>& utf8);
  /// Appends nothing for a value of 0x110000 and above.
  void AppendCodePoint(unsigned code_point);
  /// Appends CR LF.
  void AppendNewline();
  /// On an empty buffer this shares the storage of `other`.
  void AppendGString(const GString& other);
  void ReplaceCodePoint(unsigned from, unsigned to);
  /// Removes the UTF-16 code units `start` to `end` - 1.
  void Delete(int start, int end);
  void InsertGString(int position, const GString& other);

  void AppendInt32(int value);
  void AppendInt64(long long value);
  void AppendUint32(unsigned value);
  void AppendUint64(unsigned long long value);
  /// Lower-case hexadecimal without a prefix.
  void AppendUint32AsHex(unsigned value);
  void AppendUint64AsHex(unsigned long long value);
  /// The same, padded with "0" on the left to `width` digits; a longer value is not cut.
  void AppendUintAsHex(unsigned long long value, int width);
  /// The same, with "0x" in front where `prefix` asks for it.
  void AppendUintAsCHex(unsigned long long value, int width, bool prefix);

  /// The formatter of the library. A newline in `format` becomes CR LF. There are no flags, widths
  /// or precisions; the directives are
  ///
  ///   %%  a per cent sign
  ///   %d  int              %u  unsigned              decimal
  ///   %D  long long        %U  unsigned long long    decimal
  ///   %x  unsigned         %X  unsigned long long    lower-case hexadecimal
  ///   %c  unsigned         a code point
  ///   %s  const char*      NUL-terminated UTF-8
  ///   %S  const GString*
  ///
  /// A null text or string is the empty one. Any other byte after a per cent sign is dropped with
  /// it, and takes no argument.
  void AppendFormattedText(const char* format, ...);
  void VAppendFormattedText(const char* format, std::va_list args);

  /// Appends `format` with {0} to {9} replaced by the arguments (by nothing where there is no such
  /// argument) and newlines by CR LF. Any other brace is ordinary text.
  void AppendPositionalFormat(const GString& format, GVectorRef<GString> args);

 private:
  void AppendUtf8Bytes(const char* text, int length);
  void AppendUintBase(unsigned long long value, unsigned base, int width);
  const char* AppendDirective(char directive, const char* next, std::va_list* args);
};

}  // namespace common_base

#endif  // KESU_COMMON_BASE_STRING_BUFFER_H_
