#include "kesu/common/base/string_buffer.h"

#include <climits>
#include <string>

#include <doctest/doctest.h>

#include "kesu/common/base/string_format.h"

#include "support/bytes.h"

using namespace common_base;
using kesu_test::Bytes;
using kesu_test::TextOf;

namespace {

GStringBuffer BufferOf(const char* text) {
  GStringBuffer buffer;
  buffer.AppendUtf8String(text);
  return buffer;
}

}  // namespace

TEST_CASE("edits, and a string handed out before each keeps its text") {
  struct {
    const char* name;
    void (*edit)(GStringBuffer*);
    const char* after;
  } const kCases[] = {
      {"AppendUtf8String", [](GStringBuffer* b) { b->AppendUtf8String("\xC3\xA9"); },
       "abc\xC3\xA9"},
      {"AppendUtf8Vector", [](GStringBuffer* b) { b->AppendUtf8Vector(Bytes("64 65")); }, "abcde"},
      {"AppendNewline", [](GStringBuffer* b) { b->AppendNewline(); }, "abc\r\n"},
      {"AppendGString", [](GStringBuffer* b) { b->AppendGString("xy"); }, "abcxy"},
      {"AppendGString of itself", [](GStringBuffer* b) { b->AppendGString(*b); }, "abcabc"},
      {"AppendCodePoint", [](GStringBuffer* b) { b->AppendCodePoint(0x20AC); }, "abc\xE2\x82\xAC"},
      {"AppendCodePoint beyond", [](GStringBuffer* b) { b->AppendCodePoint(0x110000); }, "abc"},
      {"ReplaceCodePoint", [](GStringBuffer* b) { b->ReplaceCodePoint('b', 'x'); }, "axc"},
      {"ReplaceCodePoint by nothing", [](GStringBuffer* b) { b->ReplaceCodePoint('b', 0x110000); },
       "ac"},
      {"ReplaceCodePoint of nothing", [](GStringBuffer* b) { b->ReplaceCodePoint(0x110000, 'x'); },
       "abc"},
      {"Delete at the start", [](GStringBuffer* b) { b->Delete(0, 2); }, "c"},
      {"Delete past the end", [](GStringBuffer* b) { b->Delete(1, 99); }, "a"},
      {"Delete nothing", [](GStringBuffer* b) { b->Delete(1, 1); }, "abc"},
      {"Delete with the end cut to before the start", [](GStringBuffer* b) { b->Delete(5, 99); },
       "abc"},
      {"InsertGString in front", [](GStringBuffer* b) { b->InsertGString(0, "xy"); }, "xyabc"},
      {"InsertGString at the end", [](GStringBuffer* b) { b->InsertGString(3, "xy"); }, "abcxy"},
      {"InsertGString of itself", [](GStringBuffer* b) { b->InsertGString(1, *b); }, "aabcbc"},
      {"InsertGString of nothing", [](GStringBuffer* b) { b->InsertGString(1, ""); }, "abc"},
  };
  for (const auto& c : kCases) {
    INFO(std::string(c.name));
    GStringBuffer buffer = BufferOf("abc");
    const GString kept = buffer.ToString();
    CHECK(kept.Storage() == buffer.Storage());
    c.edit(&buffer);
    CHECK(TextOf(buffer) == c.after);
    CHECK(TextOf(kept) == "abc");
  }
}

TEST_CASE("sharing where nothing has to be copied") {
  const GString text("text");
  GStringBuffer buffer;
  buffer.AppendGString(text);
  CHECK(buffer.Storage() == text.Storage());
  buffer.AppendCodePoint('!');
  CHECK(TextOf(text) == "text");
  CHECK(text->reference_count() == 1);

  GStringBuffer empty;
  const GString kept = empty.ToString();
  empty.ReplaceCodePoint('a', 'b');
  CHECK(empty.Storage() == kept.Storage());
}

TEST_CASE("supplementary characters in edits") {
  GStringBuffer buffer;
  buffer.AppendCodePoint(0x1F600);
  CHECK(buffer->CodePointAt(0) == 0xD83D);
  CHECK(buffer->CodePointAt(1) == 0xDE00);
  buffer.AppendUtf8String("aa");
  // Four units, three code points: only the first three units are looked at.
  buffer.ReplaceCodePoint('a', 'b');
  CHECK(buffer->CodePointAt(2) == 'b');
  CHECK(buffer->CodePointAt(3) == 'a');
  buffer.Delete(3, 4);
  CHECK(buffer->CodePointAt(3) == 'a');
  buffer.ReplaceCodePoint(0x1F600, 'x');
  CHECK(TextOf(buffer) == "xba");
}

TEST_CASE("numbers") {
  struct {
    void (*append)(GStringBuffer*);
    const char* text;
  } const kCases[] = {
      {[](GStringBuffer* b) { b->AppendInt32(0); }, "0"},
      {[](GStringBuffer* b) { b->AppendInt32(INT_MIN); }, "-2147483648"},
      {[](GStringBuffer* b) { b->AppendInt64(LLONG_MIN); }, "-9223372036854775808"},
      {[](GStringBuffer* b) { b->AppendInt64(LLONG_MAX); }, "9223372036854775807"},
      {[](GStringBuffer* b) { b->AppendUint32(UINT_MAX); }, "4294967295"},
      {[](GStringBuffer* b) { b->AppendUint64(ULLONG_MAX); }, "18446744073709551615"},
      {[](GStringBuffer* b) { b->AppendUint32AsHex(0xABCDEF09); }, "abcdef09"},
      {[](GStringBuffer* b) { b->AppendUint64AsHex(0); }, "0"},
      {[](GStringBuffer* b) { b->AppendUint64AsHex(ULLONG_MAX); }, "ffffffffffffffff"},
      {[](GStringBuffer* b) { b->AppendUintAsHex(10, 2); }, "0a"},
      {[](GStringBuffer* b) { b->AppendUintAsCHex(255, 4, true); }, "0x00ff"},
      {[](GStringBuffer* b) { b->AppendUintAsCHex(0x12345, 2, false); }, "12345"},
      {[](GStringBuffer* b) { b->AppendUintAsCHex(0, 0, true); }, "0x0"},
      {[](GStringBuffer* b) { b->AppendUintAsCHex(1, 70, false); },
       "0000000000000000000000000000000000000000000000000000000000000000000001"},
  };
  for (const auto& c : kCases) {
    GStringBuffer buffer;
    c.append(&buffer);
    CHECK(TextOf(buffer) == c.text);
  }
}

TEST_CASE("printf-like formats") {
  const GString string("str");
  const GString empty;
  const struct {
    GString formatted;
    const char* expected;
  } kCases[] = {
      {NewGStringFromFormat(""), ""},
      {NewGStringFromFormat("%u|%x", 4294967295U, 255U), "4294967295|ff"},
      {NewGStringFromFormat("%d,%D", -5, LLONG_MIN), "-5,-9223372036854775808"},
      {NewGStringFromFormat("%U %X", ULLONG_MAX, 0xFEEDFACECAFEULL),
       "18446744073709551615 feedfacecafe"},
      {NewGStringFromFormat("<%s|%S|%S>", "h\xC3\xA9", &string, &empty), "<h\xC3\xA9|str|>"},
      {NewGStringFromFormat("%S%S", &string, &string), "strstr"},
      {NewGStringFromFormat("%c%c%c", 'A', 0x20ACU, 0x110000U), "A\xE2\x82\xAC"},
      {NewGStringFromFormat("100%% %d", 1), "100% 1"},
      {NewGStringFromFormat("%q%d", 7), "7"},
      {NewGStringFromFormat("%5d", 7), "d"},
      {NewGStringFromFormat("a\nb\n"), "a\r\nb\r\n"},
      {NewGStringFromFormat("a\r\nb"), "a\r\r\nb"},
      {NewGStringFromFormat("a%\nb"), "ab"},
      {NewGStringFromFormat("end%"), "end"},
      {NewGStringFromFormat("%"), ""},
      {NewGStringFromFormat("%%%"), "%"},
  };
  for (const auto& c : kCases) CHECK(TextOf(c.formatted) == c.expected);
  CHECK(TextOf(string) == "str");
}

TEST_CASE("a buffer may be an argument of its own format") {
  GStringBuffer buffer = BufferOf("ab");
  buffer.AppendFormattedText("[%S]", &buffer);
  CHECK(TextOf(buffer) == "ab[ab[]");
}

TEST_CASE("positional formats") {
  struct {
    const char *format, *expected;
  } const kCases[] = {
      {"{0}-{1}", "x-y"},   {"{1}{1}{0}", "yyx"}, {"{a} and {12}", "{a} and {12}"},
      {"{2}|{9}|", "||"},   {"{0", "{0"},         {"{", "{"},
      {"{{0}}", "{x}"},     {"}{}", "}{}"},       {"a\nb{0}\n", "a\r\nbx\r\n"},
      {"{\n0}", "{\r\n0}"}, {"%d{0}", "%dx"},     {"", ""},
  };
  for (const auto& c : kCases) {
    INFO(std::string(c.format));
    CHECK(TextOf(NewGStringFromPositionalFormat(c.format, "x", "y")) == c.expected);
  }
  CHECK(TextOf(NewGStringFromPositionalFormat("{0}", "{1}")) == "{1}");
  CHECK(TextOf(NewGStringFromPositionalFormat("{2}{1}{0}", "a", "b", "c")) == "cba");
  CHECK(TextOf(NewGStringFromPositionalFormat("{3}{0}", "a", "b", "c", "d")) == "da");
  CHECK(TextOf(NewGStringFromPositionalFormat("{4}{0}", "a", "b", "c", "d", "e")) == "ea");
  CHECK(TextOf(NewGStringFromPositionalFormat("-{0}-", GVectorRef<GString>())) == "--");
  GVector<GString> args;
  VarArgToGVector(&args, 2, "p", GString("q"), "left out");
  CHECK(args.length() == 2);
  CHECK(TextOf(NewGStringFromPositionalFormat("{0}{1}{2}", args)) == "pq");
}
