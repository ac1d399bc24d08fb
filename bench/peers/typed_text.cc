#include "bench/peers/typed_text.h"

#include "kesu/common/base/string_buffer.h"

common_base::GString TypeText(const char* utf8) {
  const common_base::GString text(utf8);
  common_base::GStringBuffer typed;
  for (int i = 0; i < text->Length(); ++i) typed.AppendCodePoint(text->CodePointAt(i));
  return typed.ToString();
}
