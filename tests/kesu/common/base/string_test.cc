#include <algorithm>
#include <climits>
#include <cstring>
#include <ctime>
#include <string>

#include <doctest/doctest.h>
#include <unicode/locid.h>

#include "kesu/common/base/posix_string_storage.h"
#include "kesu/common/base/string_buffer.h"
#include "kesu/common/base/string_format.h"

#include "support/bytes.h"

// What strings do without a locale, edits and formats among it, is compared with a model of its own
// by the fuzz target "string", whose seeds run as a test.

using namespace common_base;
using namespace kesu_test;

namespace {

/// Sets ICU's default locale for as long as it lives.
struct ScopedLocale {
  explicit ScopedLocale(const char* name) { icu::Locale::setDefault(icu::Locale(name), status); }
  ~ScopedLocale() { icu::Locale::setDefault(before, status); }

  const icu::Locale before;
  UErrorCode status = U_ZERO_ERROR;
};

}  // namespace

TEST_CASE("all empty strings share one storage") {
  REQUIRE(GString::shared_empty_storage() == nullptr);
  GStringStorage* const none = nullptr;
  const GString all[] = {GString(), GString(nullptr), GString(""), GString(none),
                         GString(ByteView())};
  for (const GString& empty : all) CHECK(empty.Storage() == GString::shared_empty_storage());
  CHECK(all[0]->reference_count() == 5);
}

TEST_CASE("UTF-16 goes in two bytes a unit, UTF-8 up to the given length") {
  auto* storage = new PosixGStringStorage;
  const GString string(storage);
  wchar_t units[2] = {};
  std::memcpy(units, Bytes("00 61 00 62").data(), 4);
  storage->AppendUtf16String(units, 2);
  storage->AppendUtf8String("cd", 1);
  ByteVector out = Bytes("11 22 33 44 55 66 77 88");
  string->ToUtf8Vector(&out);
  CHECK(TextOf(out) == "abc");
  CHECK(CodePointToUcs2(0x10000) == 0x10000);
  CHECK(CodePointToUcs2(0x10001) == 0xFFFD);
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

TEST_CASE("replacing takes time in proportion to the text") {
  const auto cpu_time = [](std::size_t size) {
    std::clock_t best = LONG_MAX;
    for (int i = 0; i < 3; ++i) {
      GStringBuffer buffer;
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

TEST_CASE("new strings from formats, and padded hexadecimal numbers") {
  GVector<GString> args;
  VarArgToGVector(&args, 2, "p", GString("q"), "left out");
  GStringBuffer hex;
  hex.AppendUintAsCHex(255, 4, true);
  hex.AppendUintAsCHex(0x12345, 2, false);
  const struct {
    GString formatted;
    const char* expected;
  } kCases[] = {
      {hex.ToString(), "0x00ff12345"},
      {NewGStringFromFormat("%d|%s", INT_MIN, "text"), "-2147483648|text"},
      {NewGStringFromPositionalFormat("{0}{1}", "{1}"), "{1}"},
      {NewGStringFromPositionalFormat("{1}{0}", "a", "b"), "ba"},
      {NewGStringFromPositionalFormat("{2}{1}{0}", "a", "b", "c"), "cba"},
      {NewGStringFromPositionalFormat("{3}{0}", "a", "b", "c", "d"), "da"},
      {NewGStringFromPositionalFormat("{4}{0}", "a", "b", "c", "d", "e"), "ea"},
      {NewGStringFromPositionalFormat("{0}{1}{2}", args), "pq"},
  };
  for (const auto& c : kCases) CHECK(TextOf(c.formatted) == c.expected);
}
