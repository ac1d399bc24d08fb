#include <cstdio>
#include <string>
#include <utility>

#include <doctest/doctest.h>
#include <unicode/locid.h>

#include "kesu/common/base/gstring.h"
#include "kesu/common/base/memory.h"
#include "kesu/common/base/posix_string_storage.h"
#include "kesu/common/base/string_buffer.h"

#include "support/bytes.h"

using namespace common_base;
using kesu_test::Bytes;
using kesu_test::TextOf;
using kesu_test::ToHex;

namespace {

/// One character of two UTF-16 code units and four UTF-8 bytes.
constexpr char kSmile[] = "\xF0\x9F\x98\x80";

/// "0061 D83D": all code units.
std::string Units(const GString& string) {
  std::string units;
  for (int i = 0; string->CodePointAt(i) != 0xFFFF; ++i) {
    char unit[8];
    std::snprintf(unit, sizeof unit, i == 0 ? "%04X" : " %04X",
                  static_cast<unsigned>(string->CodePointAt(i)));
    units += unit;
  }
  return units;
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

GString Smiles(const std::string& before, int count, const std::string& after) {
  std::string text = before;
  for (int i = 0; i < count; ++i) text += kSmile;
  return GString((text + after).c_str());
}

}  // namespace

TEST_CASE("every way to an empty string leads to the shared empty storage") {
  REQUIRE(GString::shared_empty_storage() == nullptr);
  {
    const GString kEmpty[] = {GString(),
                              GString(nullptr),
                              GString(""),
                              GString(static_cast<GStringStorage*>(nullptr)),
                              GString(ByteView()),
                              NewGStringFromUtf8(nullptr),
                              NewGStringFromUtf8Vector(ByteView())};
    for (const GString& empty : kEmpty) {
      CHECK(empty->IsEmpty());
      CHECK(empty->Length() == 0);
      CHECK(empty.Storage() == GString::shared_empty_storage());
    }
    CHECK(kEmpty[0]->reference_count() == 7);
  }
  CHECK(GString::shared_empty_storage() == nullptr);
}

TEST_CASE("a writer takes the shared empty storage when it is the only holder") {
  REQUIRE(GString::shared_empty_storage() == nullptr);
  GStringBuffer alone;
  const GStringStorage* storage = alone.Storage();
  alone.AppendCodePoint('a');
  CHECK(alone.Storage() == storage);
  CHECK(GString::shared_empty_storage() == nullptr);

  const GString empty;
  CHECK(empty.Storage() != storage);
  GStringBuffer second;
  second.AppendCodePoint('b');
  CHECK(second.Storage() != empty.Storage());
  CHECK(GString::shared_empty_storage() == empty.Storage());
  CHECK(empty->IsEmpty());
}

TEST_CASE("copies share, assignment releases") {
  GString a("text");
  {
    const GString b(a);
    CHECK(b.Storage() == a.Storage());
    CHECK(a->reference_count() == 2);
    GString c("other");
    c = a;
    c = *&c;
    CHECK(a->reference_count() == 3);
  }
  CHECK(a->reference_count() == 1);
  GStringStorage* clone = a->Clone();
  CHECK(clone->reference_count() == 0);
  const GString owner(clone);
  CHECK(owner == a);
}

TEST_CASE("UTF-8 in, code units inside, UTF-8 out") {
  struct {
    const char *utf8, *units;
    int length;
    const char* out;
  } const kCases[] = {
      {"68 C3 A9 E2 82 AC", "0068 00E9 20AC", 3, "68 C3 A9 E2 82 AC"},
      {"61 00 62", "0061 0000 0062", 3, "61 00 62"},
      {"EF BB BF 61", "FEFF 0061", 2, "EF BB BF 61"},
      // Length() counts code points, and only so many code units are converted back.
      {"61 F0 9F 98 80 62", "0061 D83D DE00 0062", 3, "61 F0 9F 98 80"},
      {"F0 9F 98 80 F0 9F 98 80", "D83D DE00 D83D DE00", 2, "F0 9F 98 80"},
      {"F0 9F 98 80", "D83D DE00", 1, "EF BF BD"},
      // Malformed: each maximal part of a sequence becomes one U+FFFD.
      {"61 FF 62", "0061 FFFD 0062", 3, "61 EF BF BD 62"},
      {"E2 82", "FFFD", 1, "EF BF BD"},
      {"F0 9F 98 41", "FFFD 0041", 2, "EF BF BD 41"},
      {"C0 80", "FFFD FFFD", 2, "EF BF BD EF BF BD"},
      {"ED A0 80", "FFFD FFFD FFFD", 3, "EF BF BD EF BF BD EF BF BD"},
      {"F4 90 80 80", "FFFD FFFD FFFD FFFD", 4, "EF BF BD EF BF BD EF BF BD EF BF BD"},
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
  ByteVector out = Bytes("11");
  GString()->ToUtf8Vector(&out);
  CHECK(out.length() == 0);
}

TEST_CASE("ToUtf16Vector counts bytes and is cut at the room for Length() units") {
  PosixGStringStorage storage;
  storage.AppendUtf8String("abc", -1);
  GVector<unsigned short> out;
  for (int i = 0; i < 20; ++i) out.Append(0x7777);
  storage.ToUtf16Vector(&out);
  REQUIRE(out.length() == 8);
  // The byte-order mark takes the place of the last unit.
  const unsigned short kExpected[] = {0xFEFF, 'a', 'b', 0, 0, 0, 0, 0};
  for (int i = 0; i < 8; ++i) CHECK(out[i] == kExpected[i]);
  PosixGStringStorage().ToUtf16Vector(&out);
  CHECK(out.length() == 0);
}

TEST_CASE("AppendUtf16String takes two bytes a unit") {
  struct {
    const char *bytes, *units;
  } const kCases[] = {
      {"00 61 00 62", "0061 0062"}, {"FE FF 00 61", "0061"},      {"FF FE 61 00", "0061"},
      {"D8 3D DE 00", "D83D DE00"}, {"00 61 D8 3D", "0061 FFFD"},
  };
  for (const auto& c : kCases) {
    INFO(std::string(c.bytes));
    const ByteVector bytes = Bytes(c.bytes);
    wchar_t units[2] = {};
    GMemmove(units, bytes.data(), 4);
    auto* storage = new PosixGStringStorage;
    const GString string(storage);
    storage->AppendUtf16String(units, 2);
    CHECK(Units(string) == c.units);
    storage->ReplaceChar('a', 0x1F600);
    CHECK(string->IndexOf('a') == -1);
  }
}

TEST_CASE("CodePointAt") {
  const GString string = Smiles("a", 1, "b");
  CHECK(string->CodePointAt(1) == 0xD83D);
  for (const int beyond : {4, 5, 1000000}) CHECK(string->CodePointAt(beyond) == 0xFFFF);
  CHECK(GString()->CodePointAt(0) == 0xFFFF);
}

TEST_CASE("IndexOf") {
  struct {
    const char *text, *needle;
    int index;
  } const kStrings[] = {
      {"hello", "lo", 3}, {"hello", "l", 2}, {"hello", "hello!", -1}, {"hello", "L", -1},
      {"hello", "", -1},  {"", "", -1},      {"", "a", -1},           {"aab", "ab", 1},
  };
  for (const auto& c : kStrings) CHECK(GString(c.text)->IndexOf(GString(c.needle)) == c.index);
  const GString smile = Smiles("a", 1, "b");
  CHECK(smile->IndexOf(GString("b")) == 3);
  struct {
    unsigned code_point;
    int index;
  } const kCodePoints[] = {{'a', 0}, {'b', 3}, {'c', -1}, {0x10061, 0}, {0xDE00, 2}, {0x1F600, -1}};
  for (const auto& c : kCodePoints) CHECK(smile->IndexOf(c.code_point) == c.index);
}

TEST_CASE("Substring") {
  const GString hello("hello");
  CHECK(hello->Substring(0).Storage() == hello.Storage());
  CHECK(TextOf(hello->Substring(2)) == "llo");
  CHECK(hello->Substring(5)->IsEmpty());
  CHECK(TextOf(hello->Substring(1, 3)) == "el");
  CHECK(TextOf(hello->Substring(0, 5)) == "hello");
  for (const auto& [start, end] : {std::pair(2, 2), std::pair(5, 9), std::pair(3, 1)}) {
    CHECK(hello->Substring(start, end)->IsEmpty());
  }
  // Units from `start`, but as many as there are code points from there.
  const GString smile = Smiles("a", 1, "b");
  CHECK(Units(smile->Substring(1)) == "D83D DE00");
  CHECK(Units(smile->Substring(0, 4)) == "0061 D83D DE00 0062");
  CHECK(Units(smile->Substring(2, 4)) == "DE00 0062");
  CHECK(smile->Substring(3)->IsEmpty());
  CHECK(smile->Substring(3, 4)->IsEmpty());
}

TEST_CASE("Split") {
  struct {
    const char *text, *joined;
    int pieces;
  } const kCases[] = {
      {"a,,b", "a||b", 3}, {"", "", 1}, {",", "|", 2}, {"abc", "abc", 1}, {",a,", "|a|", 3},
  };
  for (const auto& c : kCases) {
    INFO(std::string(c.text));
    const GVector<GString> pieces = GString(c.text)->Split(',');
    CHECK(pieces.length() == c.pieces);
    std::string joined;
    for (const GString& piece : pieces)
      joined += (&piece == pieces.begin() ? "" : "|") + TextOf(piece);
    CHECK(joined == c.joined);
  }
}

TEST_CASE("Trim, TrimLeft, TrimRight") {
  struct {
    const char *text, *both, *left, *right;
  } const kCases[] = {
      {"\t hi \n", "hi", "hi \n", "\t hi"},
      {"\x01\x1F h i\r", "h i", "h i\r", "\x01\x1F h i"},
      {" \n\t", "", "", ""},
      {"\xC2\xA0x\xC2\xA0 ", "\xC2\xA0x\xC2\xA0", "\xC2\xA0x\xC2\xA0 ", "\xC2\xA0x\xC2\xA0"},
  };
  for (const auto& c : kCases) {
    const GString text(c.text);
    CHECK(TextOf(text->Trim()) == c.both);
    CHECK(TextOf(text->TrimLeft()) == c.left);
    CHECK(TextOf(text->TrimRight()) == c.right);
  }
  const GString untouched("hi");
  CHECK(untouched->Trim().Storage() == untouched.Storage());
}

TEST_CASE("StartsWith") {
  struct {
    const char *text, *prefix;
    bool starts;
  } const kCases[] = {
      {"hello", "", true},      {"", "", true},           {"hello", "hell", true},
      {"hello", "hello", true}, {"", "h", false},         {"hello", "hello!", false},
      {"hello", "Hell", false}, {"hello", "ello", false},
  };
  for (const auto& c : kCases) {
    INFO(std::string(c.prefix));
    CHECK(GString(c.text)->StartsWith(c.prefix) == c.starts);
  }
}

TEST_CASE("Hash") {
  CHECK(GString()->Hash() == 17);
  CHECK(GString("a")->Hash() == 624);
  CHECK(GString("ab")->Hash() == 19442);
  // Only the first of the two code units counts: Length() is 1.
  CHECK(Smiles("", 1, "")->Hash() == 17 * 31 + 0xD83D);
}

TEST_CASE("comparisons") {
  const GString abc("abc");
  CHECK(abc->Equals(abc));
  CHECK(abc->EqualsUtf8("abc"));
  CHECK_FALSE(abc->EqualsUtf8("ABC"));
  CHECK_FALSE(abc->Equals(static_cast<const GStringStorage*>(nullptr)));
  CHECK(GString()->EqualsUtf8(nullptr));
  CHECK(abc->CompareIgnoreCase(static_cast<const GStringStorage*>(nullptr)) == 1);

  const ScopedLocale english("en");
  struct {
    const char *a, *b;
    int ignoring_case, natural;
  } const kCases[] = {
      {"abc", "abc", 0, 0},
      {"ABC", "abc", 0, 1},
      {"a", "B", -1, -1},
      {"b", "A", 1, 1},
      {"stra\xC3\x9F"
       "e",
       "STRASSE", 0, 1},
      {"\xC3\xA9", "f", 1, -1},
      {"", "a", -1, -1},
  };
  for (const auto& c : kCases) {
    INFO(std::string(c.a));
    INFO(std::string(c.b));
    CHECK(GString(c.a)->CompareIgnoreCase(GString(c.b)) == c.ignoring_case);
    CHECK(GString(c.a)->CompareNaturalSortOrder(c.b) == c.natural);
  }
}

TEST_CASE("natural order is that of the locale in which the shared collator was made") {
  const GString a_with_diaeresis("\xC3\xA4");
  {
    // A clone holds no collator, even when its original does.
    GString clone;
    const GString z("z");
    {
      const ScopedLocale swedish("sv");
      CHECK(z->CompareNaturalSortOrder(a_with_diaeresis) == -1);
    }
    clone = GString(z->Clone());
    const ScopedLocale german("de");
    CHECK(clone->CompareNaturalSortOrder(a_with_diaeresis) == -1);
  }
  // The last storage that had compared took the collator with it.
  const ScopedLocale german("de");
  CHECK(GString("z")->CompareNaturalSortOrder(a_with_diaeresis) == 1);
}

TEST_CASE("ToLowerCase follows the default locale") {
  const GString upper("\xC3\x80I\xCE\xA3");
  {
    const ScopedLocale english("en");
    CHECK(TextOf(upper->ToLowerCase()) == "\xC3\xA0i\xCF\x82");
  }
  {
    const ScopedLocale turkish("tr");
    CHECK(TextOf(GString("I")->ToLowerCase()) == "\xC4\xB1");
  }
  CHECK(upper->IndexOf('I') == 1);
  CHECK(GString()->ToLowerCase()->IsEmpty());
}

TEST_CASE("CodePointToUcs2 lets 0x10000 through") {
  CHECK(CodePointToUcs2('A') == 'A');
  CHECK(CodePointToUcs2(0xFFFF) == 0xFFFF);
  CHECK(CodePointToUcs2(0x10000) == 0x10000);
  CHECK(CodePointToUcs2(0x10001) == 0xFFFD);
}
