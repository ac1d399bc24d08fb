#include <algorithm>
#include <climits>
#include <cstring>
#include <ctime>
#include <sstream>
#include <string>

#include <doctest/doctest.h>
#include <unicode/locid.h>

#include "kesu/common/base/posix_string_storage.h"
#include "kesu/common/base/string_buffer.h"
#include "kesu/common/base/string_format.h"

#include "support/bytes.h"

using namespace common_base;
using namespace kesu_test;
using Buffer = GStringBuffer;

namespace {

std::string Units(const GString& string) {
  std::ostringstream units;
  for (int i = 0; string->CodePointAt(i) != 0xFFFF; ++i) {
    units << (i > 0 ? " " : "") << std::hex << string->CodePointAt(i);
  }
  return units.str();
}

/// Sets ICU's default locale for as long as it lives.
struct ScopedLocale {
  explicit ScopedLocale(const char* name) { icu::Locale::setDefault(icu::Locale(name), status); }
  ~ScopedLocale() { icu::Locale::setDefault(before, status); }

  const icu::Locale before;
  UErrorCode status = U_ZERO_ERROR;
};

}  // namespace

TEST_CASE("strings share where nothing has to be copied; so do all empty ones") {
  REQUIRE(GString::shared_empty_storage() == nullptr);
  {
    GStringStorage* const none = nullptr;
    const GString all[] = {GString(), GString(nullptr), GString(""), GString(none),
                           GString(ByteView())};
    for (const GString& empty : all) CHECK(empty.Storage() == GString::shared_empty_storage());
    CHECK(all[0]->reference_count() == 5);
  }
  CHECK(GString::shared_empty_storage() == nullptr);
  Buffer writer;
  const GStringStorage* storage = writer.Storage();
  writer.AppendCodePoint('a');
  CHECK(writer.Storage() == storage);
  CHECK(GString()->IsEmpty());

  GString text("text");
  {
    GString assigned("other");
    assigned = text;
    assigned = *&assigned;
    Buffer buffer;
    buffer.AppendGString(text);
    const GString all[] = {assigned, buffer.ToString(), text->Substring(0), text->Trim()};
    for (const GString& string : all) CHECK(string.Storage() == text.Storage());
  }
  CHECK(text->reference_count() == 1);
}

TEST_CASE("UTF-8 in, code units inside, UTF-8 out") {
  struct {
    const char *what, *utf8, *units, *out;
  } const kCases[] = {
      {"one to three bytes", "68 C3 A9 E2 82 AC", "68 e9 20ac", "68 C3 A9 E2 82 AC"},
      {"zero and a byte-order mark", "EF BB BF 00 62", "feff 0 62", "EF BB BF 00 62"},
      {"only Length() units go out", "61 F0 9F 98 80 62", "61 d83d de00 62", "61 F0 9F 98 80"},
      {"half a pair goes out", "F0 9F 98 80", "d83d de00", "EF BF BD"},
      {"malformed: cut, overlong", "F0 9F 98 41 C0 80", "fffd 41 fffd fffd",
       "EF BF BD 41 EF BF BD EF BF BD"},
  };
  for (const auto& c : kCases) {
    CAPTURE(c.what);
    const GString string(Bytes(c.utf8));
    CHECK(Units(string) == c.units);
    ByteVector out = Bytes("11 22 33 44 55 66 77 88");
    string->ToUtf8Vector(&out);
    CHECK(ToHex(out) == c.out);
  }
}

TEST_CASE("UTF-16 out counts bytes and is cut at the room for Length() units; in, two a unit") {
  auto* storage = new PosixGStringStorage;
  const GString string(storage);
  wchar_t units[2] = {};
  std::memcpy(units, Bytes("00 61 00 62").data(), 4);
  storage->AppendUtf16String(units, 2);
  storage->AppendUtf8String("cd", 1);
  CHECK(TextOf(string) == "abc");
  GVector<unsigned short> out;
  storage->ToUtf16Vector(&out);
  // The byte-order mark takes the place of the last unit.
  const unsigned short kExpected[] = {0xFEFF, 'a', 'b', 0, 0, 0, 0, 0};
  REQUIRE(out.length() == 8);
  CHECK(std::memcmp(out.data(), kExpected, sizeof kExpected) == 0);
}

TEST_CASE("indices count units, lengths code points") {
  const GString hello("hello");
  const GString smile("a\xF0\x9F\x98\x80\x62");  // Three code points, four units.
  CHECK(hello->IndexOf("") == -1);
  CHECK(smile->IndexOf("b") == 3);
  CHECK(smile->IndexOf(0xDE00U) == 2);
  CHECK(smile->IndexOf(0x10061U) == 0);  // Cut to 16 bits.
  CHECK(smile->IndexOf('x') == -1);
  for (const int beyond : {4, INT_MAX}) CHECK(smile->CodePointAt(beyond) == 0xFFFF);
  CHECK(TextOf(hello->Substring(3)) == "lo");
  CHECK(TextOf(hello->Substring(1, 3)) == "el");
  CHECK(hello->Substring(3, 1)->IsEmpty());
  CHECK(hello->Substring(5)->IsEmpty());
  CHECK(Units(smile->Substring(1)) == "d83d de00");  // Length() - 1 units.
  CHECK(Units(smile->Substring(2, 4)) == "de00 62");
  CHECK(smile->Substring(3, 4)->IsEmpty());  // Starts at Length().
  CHECK(GString("ab")->Hash() == (17 * 31 + 'a') * 31 + 'b');
  CHECK(smile->Hash() == ((17U * 31 + 'a') * 31 + 0xD83D) * 31 + 0xDE00);  // Length() units.
  CHECK(CodePointToUcs2(0x10000) == 0x10000);
  CHECK(CodePointToUcs2(0x10001) == 0xFFFD);
}

TEST_CASE("Split, Trim and StartsWith") {
  std::string pieces;
  for (const GString& piece : GString(",a,,b")->Split(',')) pieces += "<" + TextOf(piece) + ">";
  CHECK(pieces == "<><a><><b>");
  CHECK(GString()->Split(',').length() == 1);
  const GString padded("\t\xC2\xA0 x\x1F\n");  // A no-break space stays.
  CHECK(TextOf(padded->Trim()) == "\xC2\xA0 x");
  CHECK(TextOf(padded->TrimLeft()) == "\xC2\xA0 x\x1F\n");
  CHECK(TextOf(padded->TrimRight()) == "\t\xC2\xA0 x");
  CHECK(GString(" \n\t")->Trim()->IsEmpty());
  for (const char* prefix : {"", "hell", "hello"}) CHECK(GString("hello")->StartsWith(prefix));
  for (const char* no : {"hello!", "Hell", "ello"}) CHECK_FALSE(GString("hello")->StartsWith(no));
}

TEST_CASE("comparisons and lower case") {
  const ScopedLocale english("en");
  struct {
    const char *a, *b;
    int ignoring_case, natural;
  } const kCases[] = {{"ABC", "abc", 0, 1}, {"a", "B", -1, -1}, {"\xC3\xA9", "f", 1, -1}};
  for (const auto& c : kCases) {
    CHECK(GString(c.a)->CompareIgnoreCase(GString(c.b)) == c.ignoring_case);
    CHECK(GString(c.a)->CompareNaturalSortOrder(c.b) == c.natural);
  }
  const GStringStorage* const none = nullptr;
  CHECK(GString("abc")->EqualsUtf8("abc"));
  CHECK_FALSE(GString("abc")->EqualsUtf8("ABC"));
  CHECK_FALSE(GString()->Equals(none));
  CHECK(GString()->CompareIgnoreCase(none) == 1);
  CHECK(TextOf(GString("\xC3\x80I\xCE\xA3")->ToLowerCase()) == "\xC3\xA0i\xCF\x82");
  CHECK(GString()->ToLowerCase()->IsEmpty());
  const ScopedLocale turkish("tr");
  CHECK(TextOf(GString("I")->ToLowerCase()) == "\xC4\xB1");
}

TEST_CASE("natural order is that of the locale in which the shared collator was made") {
  const GString umlaut("\xC3\xA4");
  GString clone;
  {
    const ScopedLocale swedish("sv");
    const GString z("z");
    CHECK(z->CompareNaturalSortOrder(umlaut) == -1);
    clone = GString(z->Clone());
    const ScopedLocale german("de");
    CHECK(GString(z->Clone())->CompareNaturalSortOrder(umlaut) == -1);
  }
  // The last storage that had compared took the collator with it; a clone does not hold it.
  const ScopedLocale german("de");
  CHECK(clone->CompareNaturalSortOrder(umlaut) == 1);
}

TEST_CASE("edits, and a string handed out before each keeps its text") {
  struct {
    const char* before;
    void (*edit)(Buffer*);
    const char* after;
  } const kCases[] = {
      {"abc", [](Buffer* b) { b->AppendUtf8Vector(Bytes("64 65")); }, "abcde"},
      {"abc", [](Buffer* b) { b->AppendCodePoint(0x1F600); }, "abc\xF0\x9F\x98\x80"},
      {"abc", [](Buffer* b) { b->AppendCodePoint(0x110000); }, "abc"},
      {"abc", [](Buffer* b) { b->ReplaceCodePoint('b', 0x110000); }, "ac"},
      {"abc", [](Buffer* b) { b->ReplaceCodePoint(0x110000, 'x'); }, "abc"},
      {"abc", [](Buffer* b) { b->Delete(1, 99); }, "a"},
      {"abc", [](Buffer* b) { b->Delete(5, 99); }, "abc"},
      {"abc", [](Buffer* b) { b->InsertGString(1, *b); }, "aabcbc"},
      {"abc", [](Buffer* b) { b->AppendFormattedText("[%S]", b); }, "abc[abc[]"},
      {"abc", [](Buffer* b) { b->AppendUintAsCHex(255, 4, true); }, "abc0x00ff"},
      {"abc", [](Buffer* b) { b->AppendUintAsCHex(0x12345, 2, false); }, "abc12345"},
      // Only the first Length() units are looked at.
      {"\xF0\x9F\x98\x80rr", [](Buffer* b) { b->ReplaceCodePoint('r', 's'); },
       "\xF0\x9F\x98\x80sr"},
      {"\xF0\x9F\x98\x80rs", [](Buffer* b) { b->Delete(2, 4); }, "\xF0\x9F\x98\x80s"},
  };
  for (const auto& c : kCases) {
    INFO(std::string(c.after));
    Buffer buffer;
    buffer.AppendUtf8String(c.before);
    const GString kept = buffer.ToString();
    c.edit(&buffer);
    CHECK(Units(buffer) == Units(c.after));
    CHECK(Units(kept) == Units(c.before));
    const int length = buffer->Length();
    buffer.AppendNewline();
    CHECK(buffer->Length() == length + 2);
  }
}

TEST_CASE("replacing takes time in proportion to the text") {
  const auto cpu_time = [](std::size_t size) {
    std::clock_t best = LONG_MAX;
    for (int i = 0; i < 3; ++i) {
      Buffer buffer;
      buffer.AppendUtf8String(std::string(size, 'a').c_str());
      const std::clock_t start = std::clock();
      buffer.ReplaceCodePoint('a', 0x1F600);
      best = std::min(best, std::clock() - start);
    }
    return best + 1;
  };
  // 16 times as long: 16 times the time, or 256 times if the rest were moved at each place.
  CHECK(cpu_time(200'000) < 64 * cpu_time(12'500));
}

TEST_CASE("formats") {
  const GString string("str");
  GVector<GString> args;
  VarArgToGVector(&args, 2, "p", GString("q"), "left out");
  const struct {
    GString formatted;
    const char* expected;
  } kCases[] = {
      {NewGStringFromFormat("%u|%x|%d", 4294967295U, 255U, INT_MIN), "4294967295|ff|-2147483648"},
      {NewGStringFromFormat("%D|%U|%X", LLONG_MIN, ULLONG_MAX, 1ULL << 44),
       "-9223372036854775808|18446744073709551615|100000000000"},
      {NewGStringFromFormat("%c|%s|%S|%%", 0x20ACU, "text", &string), "\xE2\x82\xAC|text|str|%"},
      {NewGStringFromFormat("%5d%q%d", 7), "d7"},
      {NewGStringFromFormat("a\nb\r\n%\n%"), "a\r\nb\r\r\n"},
      {NewGStringFromPositionalFormat("{0}-{a}{1}{12}{{0}}{", "x", "y"), "x-{a}y{12}{x}{"},
      {NewGStringFromPositionalFormat("{\n0}{9}|{0", "{0}"), "{\r\n0}|{0"},
      {NewGStringFromPositionalFormat("{0}{1}", "{1}"), "{1}"},
      {NewGStringFromPositionalFormat("{2}{1}{0}", "a", "b", "c"), "cba"},
      {NewGStringFromPositionalFormat("{3}{0}", "a", "b", "c", "d"), "da"},
      {NewGStringFromPositionalFormat("{4}{0}", "a", "b", "c", "d", "e"), "ea"},
      {NewGStringFromPositionalFormat("{0}{1}{2}", args), "pq"},
  };
  for (const auto& c : kCases) CHECK(TextOf(c.formatted) == c.expected);
}
