#include "kesu/common/base/string_format.h"

#include "kesu/common/base/string_buffer.h"

namespace common_base {
namespace {

template <typename... Strings>
GString FormatWith(const GString& format, const Strings&... strings) {
  GVector<GString> args;
  VarArgToGVector(&args, static_cast<int>(sizeof...(strings)), strings...);
  return NewGStringFromPositionalFormat(format, args);
}

}  // namespace

GString VNewGStringFromFormat(const char* format, std::va_list args) {
  GStringBuffer buffer;
  buffer.VAppendFormattedText(format, args);
  return buffer.ToString();
}

GString NewGStringFromFormat(const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  const GString text = VNewGStringFromFormat(format, args);
  va_end(args);
  return text;
}

GString NewGStringFromPositionalFormat(const GString& format, const GVectorRef<GString>& args) {
  GStringBuffer buffer;
  buffer.AppendPositionalFormat(format, args);
  return buffer.ToString();
}

GString NewGStringFromPositionalFormat(const GString& format, const GString& a) {
  return FormatWith(format, a);
}

GString NewGStringFromPositionalFormat(const GString& format, const GString& a, const GString& b) {
  return FormatWith(format, a, b);
}

GString NewGStringFromPositionalFormat(const GString& format, const GString& a, const GString& b,
                                       const GString& c) {
  return FormatWith(format, a, b, c);
}

GString NewGStringFromPositionalFormat(const GString& format, const GString& a, const GString& b,
                                       const GString& c, const GString& d) {
  return FormatWith(format, a, b, c, d);
}

GString NewGStringFromPositionalFormat(const GString& format, const GString& a, const GString& b,
                                       const GString& c, const GString& d, const GString& e) {
  return FormatWith(format, a, b, c, d, e);
}

}  // namespace common_base
