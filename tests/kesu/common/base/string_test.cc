#include <climits>
#include <string>
#include <utility>

#include <doctest/doctest.h>
#include <unicode/locid.h>

#include "kesu/common/base/gstring.h"
#include "kesu/common/base/posix_string_storage.h"
#include "kesu/common/base/string_buffer.h"
#include "kesu/common/base/string_format.h"

#include "support/bytes.h"

using namespace common_base;
using kesu_test::Bytes;
using kesu_test::TextOf;
using kesu_test::ToHex;
using Buffer = GStringBuffer;

namespace {

/// "00 61 D8 3D": all code units, big-endian.
std::string Units(const GString& string) {
  ByteVector bytes;
  for (int i = 0; string->CodePointAt(i) != 0xFFFF; ++i) {
    bytes.Append(static_cast<unsigned char>(string->CodePointAt(i) >> 8));
    bytes.Append(static_cast<unsigned char>(string->CodePointAt(i)));
  }
  return ToHex(bytes);
}

/// Sets ICU's default locale for as long as it lives.
class ScopedLocale {
 public:
  explicit ScopedLocale(const char* name) { Set(icu::Locale(name)); }
  ~ScopedLocale() { Set(before_); }

 private:
  static void Set(const icu::Locale& locale) {
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale::setDefault(locale, status);
    CHECK(U_SUCCESS(status));
  }

  const icu::Locale before_;
};

/// Three code points, four UTF-16 code units.
constexpr char kSmile[] = "a\xF0\x9F\x98\x80\x62";

}  // namespace

TEST_CASE("the shared empty storage: every way to it, and out of it by writing") {
  REQUIRE(GString::shared_empty_storage() == nullptr);
  {
    GStringStorage* const none = nullptr;
    const GString kEmpty[] = {GString(), GString(nullptr), GString(""), GString(none),
                              GString(ByteView())};
    for (const GString& empty : kEmpty) {
      CHECK(empty->IsEmpty());
      CHECK(empty.Storage() == GString::shared_empty_storage());
    }
    CHECK(kEmpty[0]->reference_count() == 5);
  }
  CHECK(GString::shared_empty_storage() == nullptr);

  Buffer only_holder;
  const GStringStorage* storage = only_holder.Storage();
  only_holder.AppendCodePoint('a');
  CHECK(only_holder.Storage() == storage);
  CHECK(GString::shared_empty_storage() == nullptr);
  const GString empty;
  Buffer second;
  second.AppendCodePoint('b');
  CHECK(second.Storage() != empty.Storage());
  CHECK(GString::shared_empty_storage() == empty.Storage());
  CHECK(empty->IsEmpty());
}

TEST_CASE("strings share where nothing has to be copied") {
  GString a("text");
  {
    const GString b(a);
    GString c("other");
    c = a;
    c = *&c;
    Buffer buffer;
    buffer.AppendGString(a);
    const GString same[] = {b, c, buffer, buffer.ToString(), a->Substring(0), a->Trim()};
    for (const GString& string : same) CHECK(string.Storage() == a.Storage());
  }
  CHECK(a->reference_count() == 1);
}

TEST_CASE("UTF-8 in, code units inside, UTF-8 out") {
  struct {
    const char *utf8, *units;
    int length;
    const char* out;
  } const kCases[] = {
      {"68 C3 A9 E2 82 AC", "00 68 00 E9 20 AC", 3, "68 C3 A9 E2 82 AC"},
      {"61 00 62", "00 61 00 00 00 62", 3, "61 00 62"},
      {"EF BB BF 61", "FE FF 00 61", 2, "EF BB BF 61"},
      // Length() counts code points, and only so many code units are converted back.
      {"61 F0 9F 98 80 62", "00 61 D8 3D DE 00 00 62", 3, "61 F0 9F 98 80"},
      {"F0 9F 98 80", "D8 3D DE 00", 1, "EF BF BD"},
      // Malformed: each maximal part of a sequence becomes one U+FFFD.
      {"61 FF 62", "00 61 FF FD 00 62", 3, "61 EF BF BD 62"},
      {"F0 9F 98 41", "FF FD 00 41", 2, "EF BF BD 41"},
      {"C0 80 E2 82", "FF FD FF FD FF FD", 3, "EF BF BD EF BF BD EF BF BD"},
  };
  for (const auto& c : kCases) {
    INFO(std::string(c.utf8));
    const GString string(Bytes(c.utf8));
    CHECK(Units(string) == c.units);
    CHECK(string->Length() == c.length);
    ByteVector out = Bytes("11 22 33 44 55 66 77 88");
    string->ToUtf8Vector(&out);
    CHECK(ToHex(out) == c.out);
  }
}

TEST_CASE("UTF-16 out counts bytes and is cut at the room for Length() units; in, two a unit") {
  auto* storage = new PosixGStringStorage;
  const GString string(storage);
  wchar_t units[2] = {};
  GMemmove(units, Bytes("00 61 00 62").data(), 4);
  storage->AppendUtf16String(units, 2);
  storage->AppendUtf8String("cd", 1);
  CHECK(TextOf(string) == "abc");
  GVector<unsigned short> out;
  storage->ToUtf16Vector(&out);
  REQUIRE(out.length() == 8);
  // The byte-order mark takes the place of the last unit.
  const unsigned short kExpected[] = {0xFEFF, 'a', 'b', 0, 0, 0, 0, 0};
  for (int i = 0; i < 8; ++i) CHECK(out[i] == kExpected[i]);
}

TEST_CASE("IndexOf and CodePointAt") {
  struct {
    const char *text, *needle;
    int index;
  } const kStrings[] = {
      {"hello", "lo", 3}, {"hello", "L", -1}, {"hello", "", -1}, {kSmile, "b", 3}};
  for (const auto& c : kStrings) CHECK(GString(c.text)->IndexOf(GString(c.needle)) == c.index);
  const GString smile(kSmile);
  CHECK(smile->IndexOf(0xDE00U) == 2);
  CHECK(smile->IndexOf(0x10061U) == 0);  // Cut to 16 bits.
  CHECK(smile->IndexOf(0x1F600U) == -1);
  for (const int beyond : {4, 5, INT_MAX}) CHECK(smile->CodePointAt(beyond) == 0xFFFF);
}

TEST_CASE("Substring") {
  const GString hello("hello");
  CHECK(TextOf(hello->Substring(3)) == "lo");
  CHECK(TextOf(hello->Substring(1, 3)) == "el");
  CHECK(hello->Substring(5)->IsEmpty());
  for (const auto& [start, end] : {std::pair(2, 2), std::pair(5, 9), std::pair(3, 1)}) {
    CHECK(hello->Substring(start, end)->IsEmpty());
  }
  // Units from `start`, but as many as there are code points from there.
  const GString smile(kSmile);
  CHECK(Units(smile->Substring(1)) == "D8 3D DE 00");
  CHECK(Units(smile->Substring(2, 4)) == "DE 00 00 62");
  CHECK(smile->Substring(3)->IsEmpty());
  CHECK(smile->Substring(3, 4)->IsEmpty());
}

TEST_CASE("Split, Trim and StartsWith") {
  struct {
    const char* text;
    std::string joined;
  } const kSplits[] = {{"a,,b", "<a><><b>"}, {"", "<>"}, {",", "<><>"}, {",a,", "<><a><>"}};
  for (const auto& c : kSplits) {
    std::string joined;
    for (const GString& piece : GString(c.text)->Split(',')) joined += "<" + TextOf(piece) + ">";
    CHECK(joined == c.joined);
  }
  struct {
    const char *text, *both, *left, *right;
  } const kTrims[] = {
      {"\t hi \n", "hi", "hi \n", "\t hi"},
      {" \n\t", "", "", ""},
      {"\xC2\xA0 x\x1F\xC2\xA0 ", "\xC2\xA0 x\x1F\xC2\xA0", "\xC2\xA0 x\x1F\xC2\xA0 ",
       "\xC2\xA0 x\x1F\xC2\xA0"},
  };
  for (const auto& c : kTrims) {
    CHECK(TextOf(GString(c.text)->Trim()) == c.both);
    CHECK(TextOf(GString(c.text)->TrimLeft()) == c.left);
    CHECK(TextOf(GString(c.text)->TrimRight()) == c.right);
  }
  const GString hello("hello");
  for (const char* prefix : {"", "hell", "hello"}) CHECK(hello->StartsWith(prefix));
  for (const char* other : {"hello!", "Hell", "ello"}) CHECK_FALSE(hello->StartsWith(other));
}

TEST_CASE("Hash, comparisons and lower case") {
  CHECK(GString()->Hash() == 17);
  CHECK(GString("ab")->Hash() == 19442);
  // Only as many code units count as there are code points.
  CHECK(GString(kSmile)->Hash() == ((17U * 31 + 'a') * 31 + 0xD83D) * 31 + 0xDE00);
  CHECK(CodePointToUcs2(0x10000) == 0x10000);
  CHECK(CodePointToUcs2(0x10001) == 0xFFFD);
  const GString abc("abc");
  CHECK(abc->EqualsUtf8("abc"));
  CHECK_FALSE(abc->EqualsUtf8("ABC"));
  CHECK_FALSE(abc->Equals(static_cast<const GStringStorage*>(nullptr)));
  CHECK(abc->CompareIgnoreCase(static_cast<const GStringStorage*>(nullptr)) == 1);
  const ScopedLocale english("en");
  struct {
    const char *a, *b;
    int ignoring_case, natural;
  } const kCases[] = {
      {"abc", "abc", 0, 0},     {"ABC", "abc", 0, 1},     {"a", "B", -1, -1}, {"b", "A", 1, 1},
      {"\xC3\x9F", "SS", 0, 1}, {"\xC3\xA9", "f", 1, -1}, {"", "a", -1, -1},
  };
  for (const auto& c : kCases) {
    CHECK(GString(c.a)->CompareIgnoreCase(GString(c.b)) == c.ignoring_case);
    CHECK(GString(c.a)->CompareNaturalSortOrder(c.b) == c.natural);
  }
  const GString upper("\xC3\x80I\xCE\xA3");
  CHECK(TextOf(upper->ToLowerCase()) == "\xC3\xA0i\xCF\x82");
  CHECK(upper->IndexOf('I') == 1);
  const ScopedLocale turkish("tr");
  CHECK(TextOf(GString("I")->ToLowerCase()) == "\xC4\xB1");
}

TEST_CASE("natural order is that of the locale in which the shared collator was made") {
  const GString umlaut("\xC3\xA4");
  GString clone;
  {
    // A clone holds no collator, even when its original does.
    const ScopedLocale swedish("sv");
    const GString z("z");
    CHECK(z->CompareNaturalSortOrder(umlaut) == -1);
    clone = GString(z->Clone());
    const ScopedLocale german("de");
    CHECK(clone->CompareNaturalSortOrder(umlaut) == -1);
    clone = GString(z->Clone());
  }
  // The last storage that had compared took the collator with it.
  const ScopedLocale german("de");
  CHECK(clone->CompareNaturalSortOrder(umlaut) == 1);
}

TEST_CASE("edits of \"abc\", and a string handed out before each keeps its text") {
  struct {
    void (*edit)(Buffer*);
    const char* after;
  } const kCases[] = {
      {[](Buffer* b) { b->AppendUtf8String("\xC3\xA9"); }, "abc\xC3\xA9"},
      {[](Buffer* b) { b->AppendUtf8Vector(Bytes("64 65")); }, "abcde"},
      {[](Buffer* b) { b->AppendNewline(); }, "abc\r\n"},
      {[](Buffer* b) { b->AppendCodePoint(0x110000); }, "abc"},
      {[](Buffer* b) { b->ReplaceCodePoint('b', 'x'); }, "axc"},
      {[](Buffer* b) { b->ReplaceCodePoint('b', 0x110000); }, "ac"},
      {[](Buffer* b) { b->ReplaceCodePoint(0x110000, 'x'); }, "abc"},
      {[](Buffer* b) { b->Delete(0, 2); }, "c"},
      {[](Buffer* b) { b->Delete(1, 99); }, "a"},
      {[](Buffer* b) { b->Delete(5, 99); }, "abc"},
      {[](Buffer* b) { b->InsertGString(3, "xy"); }, "abcxy"},
      {[](Buffer* b) { b->InsertGString(1, *b); }, "aabcbc"},
      {[](Buffer* b) { b->AppendFormattedText("[%S]", b); }, "abc[abc[]"},
      {[](Buffer* b) { b->AppendInt32(INT_MIN); }, "abc-2147483648"},
      {[](Buffer* b) { b->AppendInt64(LLONG_MIN); }, "abc-9223372036854775808"},
      {[](Buffer* b) { b->AppendUint32(UINT_MAX); }, "abc4294967295"},
      {[](Buffer* b) { b->AppendUint64(ULLONG_MAX); }, "abc18446744073709551615"},
      {[](Buffer* b) { b->AppendUint32AsHex(0xABCDEF09); }, "abcabcdef09"},
      {[](Buffer* b) { b->AppendUint64AsHex(ULLONG_MAX); }, "abcffffffffffffffff"},
      {[](Buffer* b) { b->AppendUintAsHex(10, 2); }, "abc0a"},
      {[](Buffer* b) { b->AppendUintAsCHex(255, 4, true); }, "abc0x00ff"},
      {[](Buffer* b) { b->AppendUintAsCHex(0x12345, 2, false); }, "abc12345"},
      {[](Buffer* b) { b->AppendUintAsCHex(1, 70, false); },
       "abc0000000000000000000000000000000000000000000000000000000000000000000001"},
  };
  for (const auto& c : kCases) {
    INFO(std::string(c.after));
    Buffer buffer;
    buffer.AppendUtf8String("abc");
    const GString kept = buffer.ToString();
    c.edit(&buffer);
    CHECK(TextOf(buffer) == c.after);
    CHECK(TextOf(kept) == "abc");
  }
}

TEST_CASE("supplementary characters in edits") {
  Buffer buffer;
  buffer.AppendCodePoint(0x1F600);
  buffer.AppendUtf8String("aa");
  // Four units, three code points: only the first three units are looked at.
  buffer.ReplaceCodePoint('a', 'b');
  CHECK(Units(buffer) == "D8 3D DE 00 00 62 00 61");
  buffer.Delete(3, 4);
  buffer.ReplaceCodePoint(0x1F600, 'x');
  CHECK(TextOf(buffer) == "xba");
}

TEST_CASE("printf-like formats") {
  const GString string("str");
  const struct {
    GString formatted;
    const char* expected;
  } kCases[] = {
      {NewGStringFromFormat("%u|%x", 4294967295U, 255U), "4294967295|ff"},
      {NewGStringFromFormat("%d,%D", -5, LLONG_MIN), "-5,-9223372036854775808"},
      {NewGStringFromFormat("%U %X", ULLONG_MAX, 0xFEEDFACECAFEULL),
       "18446744073709551615 feedfacecafe"},
      {NewGStringFromFormat("<%s|%S|%S>", "h\xC3\xA9", &string, &string), "<h\xC3\xA9|str|str>"},
      {NewGStringFromFormat("%c%c%c", 'A', 0x20ACU, 0x110000U), "A\xE2\x82\xAC"},
      {NewGStringFromFormat("100%% %5d"), "100% d"},
      {NewGStringFromFormat("%q%d", 7), "7"},
      {NewGStringFromFormat("a\nb\r\n"), "a\r\nb\r\r\n"},
      {NewGStringFromFormat("a%\nb%"), "ab"},
  };
  for (const auto& c : kCases) CHECK(TextOf(c.formatted) == c.expected);
}

TEST_CASE("positional formats") {
  struct {
    const char *format, *expected;
  } const kCases[] = {
      {"{0}-{1}", "x-y"}, {"{1}{1}{0}", "yyx"}, {"{a} and {12}", "{a} and {12}"},
      {"{2}|{9}|", "||"}, {"{0", "{0"},         {"{", "{"},
      {"{{0}}", "{x}"},   {"}{}", "}{}"},       {"{\n0}a\nb{0}", "{\r\n0}a\r\nbx"},
  };
  for (const auto& c : kCases) {
    CHECK(TextOf(NewGStringFromPositionalFormat(c.format, "x", "y")) == c.expected);
  }
  CHECK(TextOf(NewGStringFromPositionalFormat("{0}", "{1}")) == "{1}");
  CHECK(TextOf(NewGStringFromPositionalFormat("{2}{1}{0}", "a", "b", "c")) == "cba");
  CHECK(TextOf(NewGStringFromPositionalFormat("{3}{0}", "a", "b", "c", "d")) == "da");
  CHECK(TextOf(NewGStringFromPositionalFormat("{4}{0}", "a", "b", "c", "d", "e")) == "ea");
  GVector<GString> args;
  VarArgToGVector(&args, 2, "p", GString("q"), "left out");
  CHECK(args.length() == 2);
  CHECK(TextOf(NewGStringFromPositionalFormat("{0}{1}{2}", args)) == "pq");
}
