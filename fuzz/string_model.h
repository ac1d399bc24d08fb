#ifndef FUZZ_STRING_MODEL_H_
#define FUZZ_STRING_MODEL_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// What the strings of the library do, once more, in plain loops over UTF-16 code units.
namespace kesu_fuzz {

using Units = std::u16string;
using UnitView = std::u16string_view;

/// Whether a surrogate pair starts at unit `i`.
inline bool IsPairAt(UnitView units, std::size_t i) {
  return i + 1 < units.size() && units[i] >> 10 == 0x36 && units[i + 1] >> 10 == 0x37;
}

inline int CountCodePoints(UnitView units) {
  int count = 0;
  for (std::size_t i = 0; i < units.size(); i += IsPairAt(units, i) ? 2 : 1) ++count;
  return count;
}

/// The first units, as many as there are code points.
inline UnitView FirstUnits(UnitView units) {
  return units.substr(0, static_cast<std::size_t>(CountCodePoints(units)));
}

inline Units UnitsOf(std::uint32_t code_point) {
  if (code_point > 0x10FFFF) return {};
  if (code_point <= 0xFFFF) return {static_cast<char16_t>(code_point)};
  const std::uint32_t bits = code_point - 0x10000;
  return {static_cast<char16_t>(0xD800 + bits / 0x400),
          static_cast<char16_t>(0xDC00 + bits % 0x400)};
}

/// With U+FFFD for each half of a pair that stands alone.
inline Units WellFormed(Units units) {
  for (std::size_t i = 0; i < units.size(); ++i) {
    if (IsPairAt(units, i)) {
      ++i;
    } else if (units[i] >> 11 == 0x1B) {
      units[i] = 0xFFFD;
    }
  }
  return units;
}

inline std::string EncodeUtf8(UnitView text) {
  const Units units = WellFormed(Units(text));
  std::string bytes;
  for (std::size_t i = 0; i < units.size(); ++i) {
    std::uint32_t c = units[i];
    if (IsPairAt(units, i)) c = 0x10000 + (c - 0xD800) * 0x400 + (units[++i] - 0xDC00U);
    const int following = c < 0x80 ? 0 : c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
    const std::uint32_t lead = following == 0 ? 0 : 0xFF80U >> following;
    bytes += static_cast<char>(lead | c >> 6 * following);
    for (int n = following; n-- > 0;) bytes += static_cast<char>(0x80 | (c >> 6 * n & 0x3F));
  }
  return bytes;
}

/// Each longest beginning of a sequence that is not completed becomes one U+FFFD, and so does every
/// other byte out of place.
inline Units DecodeUtf8(std::string_view bytes) {
  Units units;
  for (std::size_t i = 0; i < bytes.size();) {
    const auto lead = static_cast<unsigned char>(bytes[i++]);
    int missing = lead < 0x80 ? 0 : lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
    const bool is_lead = lead < 0x80 || (lead >= 0xC2 && lead <= 0xF4);
    std::uint32_t code_point = missing == 0 ? lead : lead & 0x3FU >> missing;
    unsigned low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    unsigned high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    for (; is_lead && missing > 0 && i < bytes.size(); --missing, ++i) {
      const auto byte = static_cast<unsigned char>(bytes[i]);
      if (byte < low || byte > high) break;
      code_point = code_point << 6 | (byte & 0x3F);
      low = 0x80;
      high = 0xBF;
    }
    units += UnitsOf(is_lead && missing == 0 ? code_point : 0xFFFD);
  }
  return units;
}

/// Where `needle` stands in `text`, at or behind `start` and without cutting a pair; or npos.
inline std::size_t Find(UnitView text, UnitView needle, std::size_t start) {
  for (std::size_t i = start; !needle.empty() && i + needle.size() <= text.size(); ++i) {
    const bool cuts = (i > start && IsPairAt(text, i - 1)) || IsPairAt(text, i + needle.size() - 1);
    if (!cuts && text.substr(i, needle.size()) == needle) return i;
  }
  return UnitView::npos;
}

/// Every `from` that lies wholly within the first units, as many as there are code points.
inline Units Replace(UnitView text, UnitView from, UnitView to) {
  Units out;
  std::size_t start = 0;
  for (std::size_t at; (at = Find(FirstUnits(text), from, start)) != UnitView::npos;
       start = at + from.size()) {
    out.append(text.substr(start, at - start)).append(to);
  }
  return out.append(text.substr(start));
}

}  // namespace kesu_fuzz

#endif  // FUZZ_STRING_MODEL_H_
