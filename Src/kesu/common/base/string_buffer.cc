#include "kesu/common/base/string_buffer.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace common_base {
namespace {

constexpr int kMaxDigits = std::numeric_limits<unsigned long long>::digits;

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

}  // namespace

void GStringBuffer::AppendUtf8Bytes(const char* text, int length) {
  if (length == 0) return;
  StorageForWrite()->AppendUtf8String(text, length);
}

void GStringBuffer::AppendUtf8String(const char* text) {
  if (text != nullptr) AppendUtf8Bytes(text, static_cast<int>(std::strlen(text)));
}

void GStringBuffer::AppendUtf8Vector(const GVectorRef<const unsigned char>& utf8) {
  AppendUtf8Bytes(reinterpret_cast<const char*>(utf8.data()), utf8.length());
}

void GStringBuffer::AppendCodePoint(unsigned code_point) {
  StorageForWrite()->AppendCodePoint(code_point);
}

void GStringBuffer::AppendNewline() {
  StorageForWrite()->AppendNewline();
}

void GStringBuffer::AppendGString(const GString& other) {
  if (IsEmpty()) {
    GString::operator=(other);
    return;
  }
  const GString kept = other;  // `other` may be this very buffer.
  StorageForWrite()->AppendGString(kept);
}

void GStringBuffer::ReplaceCodePoint(unsigned from, unsigned to) {
  if (IsEmpty()) return;
  StorageForWrite()->ReplaceCodePoint(from, to);
}

void GStringBuffer::Delete(int start, int end) {
  StorageForWrite()->Delete(start, end);
}

void GStringBuffer::InsertGString(int position, const GString& other) {
  const GString kept = other;  // `other` may be this very buffer.
  StorageForWrite()->InsertGString(position, kept);
}

void GStringBuffer::AppendUintBase(unsigned long long value, unsigned base, int width) {
  char digits[kMaxDigits];
  char* const end = digits + kMaxDigits;
  char* first = end;
  do {
    *--first = "0123456789abcdef"[value % base];
    value /= base;
  } while (value != 0);
  const int count = static_cast<int>(end - first);
  for (int i = count; i < width; ++i) AppendCodePoint('0');
  AppendUtf8Bytes(first, count);
}

void GStringBuffer::AppendInt32(int value) {
  AppendInt64(value);
}

void GStringBuffer::AppendInt64(long long value) {
  auto magnitude = static_cast<unsigned long long>(value);
  if (value < 0) {
    AppendCodePoint('-');
    magnitude = 0 - magnitude;
  }
  AppendUint64(magnitude);
}

void GStringBuffer::AppendUint32(unsigned value) {
  AppendUint64(value);
}

void GStringBuffer::AppendUint64(unsigned long long value) {
  AppendUintBase(value, 10, 1);
}

void GStringBuffer::AppendUint32AsHex(unsigned value) {
  AppendUint64AsHex(value);
}

void GStringBuffer::AppendUint64AsHex(unsigned long long value) {
  AppendUintBase(value, 16, 1);
}

void GStringBuffer::AppendUintAsHex(unsigned long long value, int width) {
  AppendUintBase(value, 16, width);
}

void GStringBuffer::AppendUintAsCHex(unsigned long long value, int width, bool prefix) {
  if (prefix) AppendUtf8String("0x");
  AppendUintAsHex(value, width);
}

const char* GStringBuffer::AppendDirective(char directive, const char* next, std::va_list* args) {
  switch (directive) {
    case '\0':
      return next - 1;  // A per cent sign at the very end stands for nothing.
    case '%':
      AppendCodePoint('%');
      break;
    case 'd':
      AppendInt32(va_arg(*args, int));
      break;
    case 'u':
      AppendUint32(va_arg(*args, unsigned));
      break;
    case 'x':
      AppendUint32AsHex(va_arg(*args, unsigned));
      break;
    case 'D':
      AppendInt64(va_arg(*args, long long));
      break;
    case 'U':
      AppendUint64(va_arg(*args, unsigned long long));
      break;
    case 'X':
      AppendUint64AsHex(va_arg(*args, unsigned long long));
      break;
    case 'c':
      AppendCodePoint(va_arg(*args, unsigned));
      break;
    case 's':
      AppendUtf8String(va_arg(*args, const char*));
      break;
    case 'S':
      if (const auto* text = va_arg(*args, const GString*)) AppendGString(*text);
      break;
    default:
      break;
  }
  return next;
}

void GStringBuffer::VAppendFormattedText(const char* format, std::va_list args) {
  std::va_list rest;
  va_copy(rest, args);
  while (*format != '\0') {
    const char* run_end = format + std::strcspn(format, "%\n");
    AppendUtf8Bytes(format, static_cast<int>(run_end - format));
    format = run_end;
    if (*format == '\n') {
      AppendNewline();
      ++format;
    } else if (*format == '%') {
      format = AppendDirective(format[1], format + 2, &rest);
    }
  }
  va_end(rest);
}

void GStringBuffer::AppendFormattedText(const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  VAppendFormattedText(format, args);
  va_end(args);
}

void GStringBuffer::AppendPositionalFormat(const GString& format, GVectorRef<GString> args) {
  GVector<unsigned char> utf8;
  format->ToUtf8Vector(&utf8);
  utf8.Append('\0');
  const char* text = reinterpret_cast<const char*>(utf8.data());
  while (*text != '\0') {
    if (*text == '\n') {
      AppendNewline();
      ++text;
    } else if (*text == '{' && IsDigit(text[1]) && text[2] == '}') {
      const int index = text[1] - '0';
      if (index < args.length()) AppendGString(args[index]);
      text += 3;
    } else {
      const std::size_t run = 1 + std::strcspn(text + 1, "{\n");
      AppendUtf8Bytes(text, static_cast<int>(run));
      text += run;
    }
  }
}

}  // namespace common_base
