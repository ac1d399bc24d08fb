#include "client/text.h"

#include <algorithm>

namespace kesu::detail {
namespace {

constexpr int kEndOfText = 0xFFFF;
constexpr unsigned kReplacementCharacter = 0xFFFD;

bool IsHighSurrogate(unsigned unit) {
  return unit >= 0xD800 && unit < 0xDC00;
}
bool IsLowSurrogate(unsigned unit) {
  return unit >= 0xDC00 && unit < 0xE000;
}

/// `code_point` is above U+07FF.
void AppendLong(unsigned code_point, std::string* out) {
  const auto add = [out](unsigned byte) { out->push_back(static_cast<char>(byte)); };
  if (code_point > 0xFFFF) {
    add(0xF0 | code_point >> 18);
    add(0x80 | (code_point >> 12 & 0x3F));
  } else {
    add(0xE0 | code_point >> 12);
  }
  add(0x80 | (code_point >> 6 & 0x3F));
  add(0x80 | (code_point & 0x3F));
}

void Append(unsigned code_point, std::string* out) {
  if (code_point > 0x7FF) {
    AppendLong(code_point, out);
  } else if (code_point > 0x7F) {
    out->push_back(static_cast<char>(0xC0 | code_point >> 6));
    out->push_back(static_cast<char>(0x80 | (code_point & 0x3F)));
  } else {
    out->push_back(static_cast<char>(code_point));
  }
}

/// Unit by unit, with the pairs put together.
std::string TextWithPairs(const common_base::GString& text) {
  std::string utf8;
  int unit = 0;
  for (int i = 0; (unit = text->CodePointAt(i)) != kEndOfText; ++i) {
    unsigned code_point = static_cast<unsigned>(unit);
    const auto next = static_cast<unsigned>(text->CodePointAt(i + 1));
    if (IsHighSurrogate(code_point) && IsLowSurrogate(next)) {
      code_point = 0x10000 + ((code_point - 0xD800) << 10) + (next - 0xDC00);
      ++i;
    } else if (IsHighSurrogate(code_point) || IsLowSurrogate(code_point)) {
      code_point = kReplacementCharacter;
    }
    Append(code_point, &utf8);
  }
  return utf8;
}

}  // namespace

std::string TextOf(const common_base::GString& text) {
  // Length() counts code points: where a unit stands behind so many, some of them are pairs.
  if (text->CodePointAt(text->Length()) != kEndOfText) return TextWithPairs(text);
  common_base::ByteVector utf8;
  text->ToUtf8Vector(&utf8);
  return {utf8.begin(), utf8.end()};
}

std::size_t CharacterCount(std::string_view utf8) {
  return static_cast<std::size_t>(std::count_if(utf8.begin(), utf8.end(), [](char c) {
    return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  }));
}

}  // namespace kesu::detail
