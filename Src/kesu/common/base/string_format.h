#ifndef KESU_COMMON_BASE_STRING_FORMAT_H_
#define KESU_COMMON_BASE_STRING_FORMAT_H_

#include <cstdarg>

#include "kesu/common/base/gstring.h"
#include "kesu/common/base/vector.h"

namespace common_base {

/// New strings from a format. The directives of the first two are those of
/// GStringBuffer::AppendFormattedText, the places {0} to {9} of the others those of
/// GStringBuffer::AppendPositionalFormat.
GString NewGStringFromFormat(const char* format, ...);
GString VNewGStringFromFormat(const char* format, std::va_list args);

GString NewGStringFromPositionalFormat(const GString& format, const GVectorRef<GString>& args);
GString NewGStringFromPositionalFormat(const GString& format, const GString& a);
GString NewGStringFromPositionalFormat(const GString& format, const GString& a, const GString& b);
GString NewGStringFromPositionalFormat(const GString& format, const GString& a, const GString& b,
                                       const GString& c);
GString NewGStringFromPositionalFormat(const GString& format, const GString& a, const GString& b,
                                       const GString& c, const GString& d);
GString NewGStringFromPositionalFormat(const GString& format, const GString& a, const GString& b,
                                       const GString& c, const GString& d, const GString& e);

/// Appends the first `count` of the strings that follow to `out`, in order.
template <typename... Strings>
void VarArgToGVector(GVector<GString>* out, int count, const Strings&... strings) {
  int taken = 0;
  (static_cast<void>(taken++ < count ? out->Append(GString(strings)) : void()), ...);
}

}  // namespace common_base

#endif  // KESU_COMMON_BASE_STRING_FORMAT_H_
