// The readers and writers below the blocks: varints, length marks, header fields, URLs.
#include <string>
#include <utility>
#include <vector>

#include <doctest/doctest.h>

#include "kesu/mux/gstring_header_field_iterator.h"
#include "kesu/mux/header_field_iterator.h"
#include "kesu/mux/http_utils.h"
#include "kesu/mux/kesu_request_builder.h"
#include "kesu/mux/kesu_response_parser.h"

#include "support/bytes.h"
#include "support/log_capture.h"

using common_base::ByteVector;
using common_base::ByteView;
using common_base::GString;
using common_base::GVector;
using kesu_test::Bytes;
using kesu_test::TextOf;
using kesu_test::ToHex;
using Fields = std::vector<std::pair<std::string, std::string>>;

TEST_CASE("varints are written in as few bytes as possible") {
  const std::pair<unsigned long long, std::string> rows[] = {
      {0, "00"},
      {127, "7F"},
      {128, "80 01"},
      {300, "AC 02"},
      {0xFFFFFFFF, "FF FF FF FF 0F"},
      {0xFFFFFFFFFFFFFFFF, "FF FF FF FF FF FF FF FF FF 01"}};
  for (const auto& [value, bytes] : rows) {
    ByteVector out;
    KesuRequestBuilder(&out).WriteVarint64(value);
    CHECK(ToHex(out) == bytes);
    if (value > 0xFFFFFFFF) continue;
    UInt32ToVarint(static_cast<unsigned>(value), &out);
    KesuRequestBuilder(&out).WriteVarint32(static_cast<unsigned>(value));
    CHECK(ToHex(out) == bytes + " " + bytes);
  }
}

TEST_CASE("length marks of every width") {
  /// '1', '2', '4' and 'v' open a mark, 'a' writes so many bytes AA, '.' closes with that offset.
  struct Row {
    std::vector<std::pair<char, int>> steps;
    std::string head;
    int bytes_behind_head;
  };
  const Row rows[] = {
      {{{'1', 0}, {'a', 258}, {'.', 0}}, "02", 258},
      {{{'2', 0}, {'a', 65537}, {'.', 0}}, "00 01", 65537},
      {{{'v', 0}, {'a', 127}, {'.', 0}}, "7F", 127},
      // 2 + 128 inside, 1 + 130 = 131 in the middle, 2 + 131 = 133 outside.
      {{{'2', 0}, {'v', 0}, {'a', 1}, {'v', 0}, {'a', 128}, {'.', 0}, {'.', 0}, {'.', 0}},
       "00 85 83 01 AA 80 01",
       128},
      {{{'4', 0}, {'a', 6}, {'.', 2}}, "00 00 00 04", 6},
      {{{'2', 0}, {'v', 0}, {'.', 1}, {'.', 6}}, "FF FF FF FF FF FF 0F", 0},
  };
  for (const Row& row : rows) {
    CAPTURE(row.head);
    ByteVector out;
    KesuRequestBuilder builder(&out);
    for (const auto& [step, count] : row.steps) {
      if (step == '1') builder.Write8bitLengthMark();
      if (step == '2') builder.Write16bitLengthMark();
      if (step == '4') builder.Write32bitLengthMark();
      if (step == 'v') builder.WriteVarintLengthMark();
      if (step == '.') builder.WriteBackLengthMarkWithOffset(count);
      for (int i = 0; step == 'a' && i < count; ++i) builder.WriteUint8(0xAA);
    }
    std::string expected = row.head;
    for (int i = 0; i < row.bytes_behind_head; ++i) expected += " AA";
    CHECK(ToHex(out) == expected);
  }
  ByteVector out;
  KesuRequestBuilder(&out).WriteTaggedUtf8StringWithVarintLength(0x12, "a\xC3\xA9");
  const kesu_test::LogCapture log(common_base::kLogErrors);
  KesuRequestBuilder(&out).WriteBackLengthMark();
  CHECK(ToHex(out) == "12 03 61 C3 A9");
  CHECK(log.lines().size() == 1);
}

TEST_CASE("varints are read back") {
  struct Row {
    std::string bytes;
    unsigned value32;
    int taken32;
    unsigned long long value64;
    int taken64;
    std::string errors;
  };
  // Bit 31 is extended into the upper half of a 64-bit result, and what lies above is dropped.
  const Row rows[] = {
      {"80 01", 128, 2, 128, 2, ""},
      {"FF FF FF FF 07", 0x7FFFFFFF, 5, 0x7FFFFFFF, 5, ""},
      {"80 80 80 80 08", 0x80000000, 5, 0xFFFFFFFF80000000, 5, ""},
      {"81 80 80 80 90 01", 1, 5, 1, 6, ""},
      {"85 80 80 80 80 80 80 80 80 FF 01", 5, 5, 5, 10, ""},
      {"", 0, 0, 0, 0, "32 64"},
      {"81 82", 0x101, 2, 0x101, 2, "32 64"},
      {"FF FF FF FF FF", 0xFFFFFFFF, 5, 0xFFFFFFFFFFFFFFFF, 5, "64"},
  };
  for (const Row& row : rows) {
    CAPTURE(row.bytes);
    const ByteVector bytes = Bytes(row.bytes);
    const ByteView view(bytes);
    KesuResponseParser parser32(&view);
    CHECK(parser32.ReadVarint32() == row.value32);
    CHECK(parser32.position() == row.taken32);
    CHECK(parser32.hit_error() == (row.errors == "32 64"));
    KesuResponseParser parser64(&view);
    CHECK(parser64.ReadVarint64() == row.value64);
    CHECK(parser64.position() == row.taken64);
    CHECK(parser64.hit_error() == !row.errors.empty());
  }
  const std::pair<const char*, std::string> strings[] = {
      {"03 61 C3 A9 62", "a\xC3\xA9"}, {"02 61", ""}, {"FF FF FF FF 0F 61", ""}};
  for (const auto& [hex, text] : strings) {
    const ByteVector bytes = Bytes(hex);
    const ByteView view(bytes);
    KesuResponseParser parser(&view);
    CHECK(TextOf(parser.ReadVarintLengthString()) == text);
    CHECK(parser.hit_error() == text.empty());
  }
}

static Fields FieldsOf(HeaderFieldIteratorInterface* iterator) {
  Fields fields;
  for (; !iterator->AtEnd(); iterator->Next()) {
    fields.emplace_back(TextOf(iterator->FieldName()), TextOf(iterator->FieldValue()));
  }
  return fields;
}

TEST_CASE("raw header text is split into fields") {
  const std::pair<std::string, Fields> rows[] = {
      {"", {}},
      {"Host: a\r\nX:\r\n\r\n", {{"Host", "a"}, {"X", ""}, {"", ""}}},
      {"Key: \t value  \r\nno line end:b: c", {{"Key", "value  "}, {"no line end", "b: c"}}},
      {"NoColon\r\nA: b\r\n", {{"NoColon\r\n", ""}, {"A", "b"}}},
      {": v\r\n A : b\r\n", {{"", "v"}, {" A ", "b"}}},
      {"A: b\nC: d\re\r\n", {{"A", "b\nC: d\re"}}},
      {"A: \r \n\r\nB: c\r", {{"A", ""}, {"B", "c\r"}}},
  };
  for (const auto& [text, fields] : rows) {
    HeaderFieldIterator iterator(kesu_test::ViewOf(text));
    CHECK(FieldsOf(&iterator) == fields);
    iterator.Reset();
    CHECK(FieldsOf(&iterator) == fields);
    for (std::size_t length = 0; length < text.size(); ++length) {
      // Of exactly this size, so that a sanitizer sees a read beyond it.
      const ByteView cut(common_base::kAllocateAndCopy,
                         reinterpret_cast<const unsigned char*>(text.data()),
                         static_cast<int>(length));
      HeaderFieldIterator cut_iterator(cut);
      CHECK(FieldsOf(&cut_iterator).size() <= fields.size());
    }
  }
}

TEST_CASE("lists of names and values are walked like header text") {
  GVector<GString> names;
  GVector<GString> values;
  for (const char* name : {"A", "\xC3\xA9", ""}) names.Append(name);
  for (const char* value : {"1", "", "3"}) values.Append(value);
  GStringHeaderFieldIterator iterator(names, values);
  CHECK(FieldsOf(&iterator) == Fields{{"A", "1"}, {"\xC3\xA9", ""}, {"", "3"}});
  iterator.Reset();
  // The field last read stays until the next one is.
  CHECK(FieldsOf(&iterator) == Fields{{"", "3"}, {"\xC3\xA9", ""}, {"", "3"}});
}

TEST_CASE("domains and redirects") {
  const std::pair<const char*, std::string> urls[] = {{"", ""},
                                                      {"http:/", "http:"},
                                                      {"HTTP://node7:80/a?b", "node7:80"},
                                                      {"http://host?q/r#s", "host"},
                                                      {"https://host/", "https:"}};
  for (const auto& [url, domain] : urls) CHECK(TextOf(HttpUtils::GetDomainForUrl(url)) == domain);
  std::vector<int> redirects;
  for (int status = -1; status < 600; ++status) {
    if (HttpUtils::IsRedirect(status)) redirects.push_back(status);
  }
  CHECK(redirects == std::vector<int>{301, 302, 303, 307});
}
