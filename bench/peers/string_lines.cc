#include <string>
#include <string_view>
#include <vector>

#include <unicode/unistr.h>

#include "kesu/common/base/gstring.h"

#include "bench/benchmark.h"
#include "bench/peers/lines.h"
#include "bench/peers/typed_text.h"

namespace {

using common_base::ByteVector;
using common_base::ByteView;
using common_base::GString;

constexpr int kRepetitions = 500;
constexpr double kGoal = 0.5;
constexpr char kConverter[] = "utf-8";
constexpr unsigned kRoom = 1024;

std::string Repeat(std::string_view piece, std::size_t size) {
  std::string text;
  while (text.size() < size) text += piece;
  return text;
}

ByteView ViewOf(const std::string& text) {
  return {common_base::kReferenceExistingBuffer,
          reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size())};
}

icu::UnicodeString Convert(const std::string& utf8) {
  return {utf8.data(), static_cast<int>(utf8.size()), kConverter};
}

std::string ConvertBack(const icu::UnicodeString& text) {
  char utf8[kRoom];
  const int size = text.extract(0, text.length(), utf8, kRoom, kConverter);
  return {utf8, static_cast<std::size_t>(size)};
}

Line DecodeLine(const std::string& name, const std::string& utf8, bool is_read, double goal) {
  RequireSame(GString(ViewOf(utf8))->CodePointAt(1) == Convert(utf8).charAt(1),
              "a text is converted otherwise");
  const auto ours = [&] {
    const GString text(ViewOf(utf8));
    Keep(is_read ? text->CodePointAt(0) : text->IsEmpty());
  };
  const auto theirs = [&] { Keep(Convert(utf8).charAt(0)); };
  return RatioLine(name, {{ours}, {theirs}, kRepetitions}, goal);
}

Line EncodeLine(const std::string& name, const std::string& utf8) {
  const GString text = TypeText(utf8.c_str());
  const icu::UnicodeString plain = Convert(utf8);
  const auto ours = [&] {
    ByteVector bytes;
    text->ToUtf8Vector(&bytes);
    Keep(bytes.length());
  };
  const auto theirs = [&] { Keep(static_cast<long long>(ConvertBack(plain).size())); };
  RequireSame(ConvertBack(plain) == utf8, "a text is converted back otherwise");
  return RatioLine(name, {{ours}, {theirs}, kRepetitions}, kGoal);
}

}  // namespace

std::vector<Line> StringLines() {
  const std::string mixed = Repeat("a\u00E9\u00E8", 40);
  const std::string ascii = Repeat("abcde", 400);
  return {
      DecodeLine("string from 40 mixed bytes, read", mixed, true, kGoal),
      DecodeLine("string from 40 mixed bytes, unread", mixed, false, kNoGoal),
      EncodeLine("string to 400 bytes of ASCII", ascii),
  };
}
