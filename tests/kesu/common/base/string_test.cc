#include <climits>
#include <cstring>
#include <string>

#include <doctest/doctest.h>
#include <unicode/locid.h>

#include "kesu/common/base/posix_string_storage.h"
#include "kesu/common/base/string_buffer.h"
#include "kesu/common/base/string_format.h"

#include "support/bytes.h"

using namespace common_base;
using namespace kesu_test;
using namespace std::string_literals;

namespace {

/// Sets ICU's default locale for as long as it lives.
struct ScopedLocale {
  explicit ScopedLocale(const char* name) { icu::Locale::setDefault(icu::Locale(name), status); }
  ~ScopedLocale() { icu::Locale::setDefault(before, status); }

  const icu::Locale before;
  UErrorCode status = U_ZERO_ERROR;
};

GString Text(const std::string& utf8) {
  return NewGStringFromUtf8Vector(ViewOf(utf8));
}

/// The very units, half pairs among them.
GString Text(std::u16string_view units) {
  GStringBuffer buffer;
  for (const char16_t unit : units) buffer.AppendCodePoint(unit);
  return buffer.ToString();
}

std::u16string UnitsOf(const GString& text) {
  std::u16string units;
  for (int unit = 0; (unit = text->CodePointAt(static_cast<int>(units.size()))) != 0xFFFF;) {
    units += static_cast<char16_t>(unit);
  }
  return units;
}

}  // namespace

TEST_CASE("all empty strings share one storage, which a writer takes out of use") {
  REQUIRE(GString::shared_empty_storage() == nullptr);
  GStringStorage* const none = nullptr;
  {
    const GString all[] = {GString(), GString(nullptr), GString(""), GString(none),
                           GString(ByteView())};
    for (const GString& empty : all) CHECK(empty.Storage() == GString::shared_empty_storage());
    CHECK(all[0]->reference_count() == 5);
  }
  GStringBuffer buffer;
  buffer.AppendCodePoint('a');
  CHECK(GString::shared_empty_storage() == nullptr);
  CHECK(GString()->IsEmpty());
}

TEST_CASE("UTF-8 is decoded, and written up to as many units as there are code points") {
  const struct {
    std::string utf8;
    std::u16string units;
    std::string back = utf8;
  } kCases[] = {
      {"a\xC3\xA9\xE2\x82\xAC\0z"s, u"a\u00E9\u20AC\0z"s},
      {"a\xF0\x9F\x98\x80"s + "b", u"a\U0001F600b", "a\xF0\x9F\x98\x80"},
      {"\xF4\x8F\xBF\xBF", u"\U0010FFFF", "\xEF\xBF\xBD"},
      {"\xF0\x9F\x98\x80", u"\U0001F600", "\xEF\xBF\xBD"},
      {"a\xFF\xC0\x80\xE2\x82q\xF0\x9F\x98", u"a\uFFFD\uFFFD\uFFFD\uFFFDq\uFFFD",
       "a\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBDq\xEF\xBF\xBD"},
      {"\xED\xA0\x80\xF4\x90", u"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD",
       "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
      {"\xE0\x9F\xC1\xBF", u"\uFFFD\uFFFD\uFFFD\uFFFD",
       "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
      {"\xC2\x80\xDF\xBF\xE0\xA0\x80\xF8", u"\u0080\u07FF\u0800\uFFFD",
       "\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBD"},
      {"\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBE", u"\uD7FF\uE000\uFFFE"},
      {std::string(100, 'x') + "\xC3\xA9", std::u16string(100, u'x') + u"\u00E9"},
      {std::string(300, 'x') + "\xC3\xA9", std::u16string(300, u'x') + u"\u00E9"},
      {"\xC3" + std::string(300, 'x'), u"\uFFFD" + std::u16string(300, u'x'),
       "\xEF\xBF\xBD" + std::string(300, 'x')},
  };
  for (const auto& c : kCases) {
    CAPTURE(c.utf8);
    const GString text = Text(c.utf8);
    CHECK(TextOf(text) == c.back);
    CHECK(UnitsOf(text) == c.units);
    CHECK(TextOf(text) == c.back);
    CHECK(TextOf(Text(c.units)) == c.back);
    CHECK(text == Text(c.units));
    // A literal ends at its first NUL.
    CHECK((text == c.utf8.c_str()) == (c.utf8.find('\0') == std::string::npos));
    CHECK_FALSE(text == (c.utf8 + "\x7F").c_str());
    CHECK_FALSE(text == c.utf8.substr(0, 1).c_str());
  }
  CHECK(Text(u"\xD83D\x61\xDE00")->Length() == 3);
  CHECK(TextOf(Text(u"\xD83D\x61\xDE00")) == "\xEF\xBF\xBD\x61\xEF\xBF\xBD");
}

TEST_CASE("UTF-16 goes in two bytes a unit and comes out behind a mark, UTF-8 to a given length") {
  auto* storage = new PosixGStringStorage;
  const GString string(storage);
  wchar_t units[2] = {};
  std::memcpy(units, Bytes("00 61 00 62 00 63").data(), 6);
  storage->AppendUtf16String(units, 3);
  storage->AppendUtf8String("de", 1);
  storage->AppendUtf8String("f", -1);
  ByteVector out = Bytes("11 22 33 44 55 66 77 88");
  string->ToUtf8Vector(&out);
  CHECK(TextOf(out) == "abcdf");
  storage->ReplaceChar('f', 0x20AC);
  GVector<unsigned short> utf16;
  storage->ToUtf16Vector(&utf16);
  // The mark takes the place of the last unit; the length counts bytes.
  const std::u16string expected = u"\uFEFF"s + u"abcd" + std::u16string(7, u'\0');
  CHECK(std::u16string(utf16.begin(), utf16.end()) == expected);
  CHECK(UnitsOf(string) == u"abcd\u20AC");
  CHECK(CodePointToUcs2(0x10000) == 0x10000);
  CHECK(CodePointToUcs2(0x10001) == 0xFFFD);
}

TEST_CASE("edits, of texts that are UTF-8 still and of others, leave the copies alone") {
  using Edit = void (*)(GStringBuffer*);
  const struct {
    const char *what, *before;
    Edit edit;
    std::u16string after;
  } kCases[] = {
      {"code points", "a", [](auto* b) { b->AppendCodePoint(0xE9); }, u"a\u00E9"},
      {"a pair", "", [](auto* b) { b->AppendCodePoint(0x10FFFF); }, u"\U0010FFFF"},
      {"two halves", "", [](auto* b) { (b->AppendCodePoint(0xD83D), b->AppendCodePoint(0xDE00)); },
       u"\U0001F600"},
      {"no code point", "a", [](auto* b) { b->AppendCodePoint(0x110000); }, u"a"},
      {"newline", "a", [](auto* b) { b->AppendNewline(); }, u"a\r\n"},
      {"itself", "ab", [](auto* b) { b->AppendGString(*b); }, u"abab"},
      {"UTF-8, each piece for itself", "a",
       [](auto* b) { (b->AppendUtf8String("\xC3"), b->AppendUtf8String("\xA9")); },
       u"a\uFFFD\uFFFD"},
      {"no text", "a", [](auto* b) { b->AppendUtf8String(nullptr); }, u"a"},
      {"replaced by more, but at the end", "a,b\xF0\x9F\x98\x80,c,",
       [](auto* b) { b->ReplaceCodePoint(',', 0x1F601); }, u"a\U0001F601b\U0001F600\U0001F601c,"},
      {"replaced by less", "\xF0\x9F\x98\x80\xF0\x9F\x98\x80xyz",
       [](auto* b) { b->ReplaceCodePoint(0x1F600, '-'); }, u"--xyz"},
      {"replaced by none", "abab", [](auto* b) { b->ReplaceCodePoint('b', 0x110000); }, u"aa"},
      {"none replaced", "ab", [](auto* b) { b->ReplaceCodePoint(0x110000, 'x'); }, u"ab"},
      {"half a pair stays", "\xF0\x9F\x98\x80zz", [](auto* b) { b->ReplaceCodePoint(0xD83D, 'x'); },
       u"\U0001F600zz"},
      {"a long text", "a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a-a",
       [](auto* b) { b->ReplaceCodePoint('-', 0x20AC); },
       u"a\u20ACa\u20ACa\u20ACa\u20ACa\u20ACa\u20ACa\u20ACa\u20ACa\u20ACa\u20ACa\u20ACa\u20ACa"
       u"\u20ACa\u20ACa\u20ACa\u20ACa\u20ACa\u20ACa"},
      {"deleted", "0123456", [](auto* b) { b->Delete(3, 5); }, u"01256"},
      {"deleted from before the start", "0123", [](auto* b) { b->Delete(-2, 1); }, u"123"},
      {"deleted to beyond the length", "\xF0\x9F\x98\x80z", [](auto* b) { b->Delete(0, INT_MAX); },
       u"z"},
      {"nothing deleted", "01", [](auto* b) { (b->Delete(1, 1), b->Delete(2, 1)); }, u"01"},
      {"inserted", "ab", [](auto* b) { b->InsertGString(1, "--"); }, u"a--b"},
      {"inserted before and behind", "ab",
       [](auto* b) { (b->InsertGString(-1, "<"), b->InsertGString(INT_MAX, ">")); }, u"<ab>"},
      {"inserted into itself", "ab", [](auto* b) { b->InsertGString(1, *b); }, u"aabb"},
      {"nothing inserted", "ab", [](auto* b) { b->InsertGString(1, GString()); }, u"ab"},
  };
  for (const auto& c : kCases) {
    CAPTURE(c.what);
    const GString copies[] = {Text(std::string(c.before)), Text(UnitsOf(c.before))};
    const std::u16string before = UnitsOf(c.before);
    for (const GString& copy : copies) {
      GStringBuffer buffer;
      buffer.AppendGString(copy);
      CHECK(buffer.Storage() == copy.Storage());
      c.edit(&buffer);
      CHECK(UnitsOf(buffer) == c.after);
      CHECK(buffer.IsEmpty() == c.after.empty());
      CHECK(UnitsOf(copy) == before);
    }
  }
}

TEST_CASE("parts, and where they are found") {
  const GString pairs("\xF0\x9F\x98\x80,\xF0\x9F\x98\x80q");
  REQUIRE(pairs->Length() == 4);
  const GString hello("hello");
  std::u16string parts;
  for (const GString& part :
       {hello->Substring(1, 3), hello->Substring(2, 2), hello->Substring(3, 2),
        hello->Substring(-1, 2), hello->Substring(4), hello->Substring(5), hello->Substring(-1),
        hello->Substring(5, 7), hello->Substring(3, INT_MAX), pairs->Substring(2),
        pairs->Substring(5, 6), pairs->Substring(4, 6), pairs->Substring(1, 3)}) {
    parts += UnitsOf(part) + u'|';
  }
  CHECK((parts == u"el||||o||||lo|,\xD83D|q||\xDE00,|"));
  parts.clear();
  const GString text("\t hi \n");
  // Only as many units as there are code points, and those as UTF-8 has them.
  for (const GString& part : {hello->TrimLeft(), text->Trim(), text->TrimLeft(), text->TrimRight(),
                              GString(" \x01\x1F")->Trim(), GString("\x7F \xC2\xA0")->Trim(),
                              GString(" \xF0\x9F\x98\x80 ")->Trim(),
                              GString(" \xF0\x9F\x98\x80")->Trim(), Text(u" \xDE00z ")->Trim()}) {
    parts += UnitsOf(part) + u'|';
  }
  CHECK((parts == u"hello|hi|hi \n|\t hi||\x7F \u00A0|\U0001F600|\uFFFD|\uFFFDz|"));
  for (const GString& same : {hello->Substring(0), hello->Trim(), hello->TrimRight()}) {
    CHECK(same.Storage() == hello.Storage());
  }
  CHECK(pairs->Trim().Storage() == pairs.Storage());

  parts.clear();
  for (const GString& whole : {GString("a,,b"), GString(), GString(","), pairs}) {
    for (const GString& piece : whole->Split(',')) parts += UnitsOf(piece) + u'|';
    parts += u'.';
  }
  CHECK((parts == u"a||b|.|.||.\U0001F600|\xD83D|."));
  CHECK(hello->IndexOf(GString("lo")) == 3);
  CHECK(pairs->IndexOf(0x1DE00) == 1);
  CHECK(hello->IndexOf('l') == 2);
  for (const GString& absent : {GString("lx"), GString(), Text(u"\xDE00")}) {
    CHECK(hello->IndexOf(absent) + pairs->IndexOf(absent) == -2);
  }
  CHECK(hello->IndexOf('x') == -1);
  CHECK(hello->CodePointAt(5) == 0xFFFF);
}

TEST_CASE("comparisons, hash and lower case") {
  const struct {
    GString text, prefix;
    bool starts, equals;
  } kPrefixes[] = {
      {"hello", "", true, false},
      {"hello", "hell", true, false},
      {"hello", "hello", true, true},
      {"hello", "hello!", false, false},
      {"hello", "help", false, false},
      {"", "", true, true},
      {"\xC3\xA9z", "\xC3\xA9", true, false},
      {Text(u"\xD83Dz"), "\xEF\xBF\xBD", true, false},
      {"\xF0\x9F\x98\x80", Text(u"\xD83D"), true, false},
      {"a\xF0\x9F\x98\x80", "a\xF0\x9F\x98\x81", true, false},
      {"\xF0\x9F\x98\x80zz", "\xF0\x9F\x98\x80z", true, false},
  };
  for (const auto& c : kPrefixes) {
    CAPTURE(TextOf(c.prefix));
    CHECK(c.text->StartsWith(c.prefix) == c.starts);
    CHECK(c.text->Equals(c.prefix) == c.equals);
    CHECK((c.prefix == c.text) == c.equals);
    CHECK((!c.equals || c.text->Hash() == c.prefix->Hash()));
  }
  CHECK(GString()->Hash() == 17);
  CHECK(GString("a")->Hash() == 624);
  CHECK(GString("a\xF0\x9F\x98\x80")->Hash() == 624 * 31 + 0xD83D);

  const ScopedLocale english("en");
  const struct {
    const char *a, *b;
    int ignoring_case, natural;
  } kCases[] = {{"ABC", "abc", 0, 1}, {"a", "B", -1, -1}, {"\xC3\xA9", "f", 1, -1},
                {"a", "a", 0, 0},     {"b", "a", 1, 1},   {"", "a", -1, -1}};
  for (const auto& c : kCases) {
    CHECK(GString(c.a)->CompareIgnoreCase(GString(c.b)) == c.ignoring_case);
    CHECK(GString(c.a)->CompareNaturalSortOrder(c.b) == c.natural);
  }
  const GStringStorage* const none = nullptr;
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

TEST_CASE("formats, and padded hexadecimal numbers") {
  const GString text("q\xC3\xA9");
  GVector<GString> args;
  VarArgToGVector(&args, 2, "p", GString("q"), "left out");
  GStringBuffer buffer;
  buffer.AppendUintAsCHex(255, 4, true);
  buffer.AppendUintAsCHex(0x12345, 2, false);
  buffer.AppendFormattedText("%S%s", &buffer, "");
  const auto none = static_cast<const void*>(nullptr);
  const struct {
    GString formatted;
    const char* expected;
  } kCases[] = {
      {buffer.ToString(), "0x00ff123450x00ff12345"},
      {NewGStringFromFormat("%d|%u|%x", INT_MIN, ~0U, 255U), "-2147483648|4294967295|ff"},
      {NewGStringFromFormat("%D|%U|%X", LLONG_MIN, ~0ULL, ~0ULL),
       "-9223372036854775808|18446744073709551615|ffffffffffffffff"},
      {NewGStringFromFormat("%d%%%c%c|%s|%S", 0, 0x20ACU, 0x110000U, "t", &text),
       "0%\xE2\x82\xAC|t|q\xC3\xA9"},
      {NewGStringFromFormat("<%s%S%q%5d>%", none, none, 7), "<d>"},
      {NewGStringFromFormat("a\n%\n\xC3%d\xA9", 7),
       "a\r\n\xEF\xBF\xBD"
       "7\xEF\xBF\xBD"},
      {NewGStringFromPositionalFormat("{0}{1}", "{1}"), "{1}"},
      {NewGStringFromPositionalFormat("{1}{0}", "a", "b"), "ba"},
      {NewGStringFromPositionalFormat("{2}{1}{0}", "a", "b", "c"), "cba"},
      {NewGStringFromPositionalFormat("{3}{0}", "a", "b", "c", "d"), "da"},
      {NewGStringFromPositionalFormat("{4}{0}", "a", "b", "c", "d", "e"), "ea"},
      {NewGStringFromPositionalFormat("{0}\n{1}{2}{9}-", args), "p\r\nq-"},
      {NewGStringFromPositionalFormat("{{0}{a}{12}{}{0{", "x"), "{x{a}{12}{}{0{"},
      {NewGStringFromPositionalFormat(Text("{0}\0{0}"s), "x"), "x"},
  };
  for (const auto& c : kCases) CHECK(TextOf(c.formatted) == c.expected);
}
