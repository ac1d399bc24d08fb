#include <string>
#include <utility>
#include <vector>

#include <doctest/doctest.h>

#include "kesu/mux/gstring_header_field_iterator.h"
#include "kesu/mux/header_field_iterator.h"
#include "kesu/mux/http_utils.h"

#include "support/bytes.h"

using common_base::ByteVector;
using common_base::ByteView;
using common_base::GString;
using common_base::GVector;
using kesu_test::TextOf;
using kesu_test::ViewOf;
using Fields = std::vector<std::pair<std::string, std::string>>;

namespace {

std::pair<std::string, std::string> Field(const HeaderFieldIteratorInterface& fields) {
  return {TextOf(fields.FieldName()), TextOf(fields.FieldValue())};
}

Fields FieldsOf(HeaderFieldIteratorInterface* iterator) {
  Fields fields;
  for (; !iterator->AtEnd(); iterator->Next()) fields.push_back(Field(*iterator));
  return fields;
}

}  // namespace

TEST_CASE("raw header text is split into fields") {
  struct {
    std::string text;
    Fields fields;
  } const kCases[] = {
      {"", {}},
      {"Host: a\r\nX:\r\n", {{"Host", "a"}, {"X", ""}}},
      {"Key:   value  \r\n", {{"Key", "value  "}}},
      {"Key:\t v\r\n", {{"Key", "v"}}},
      {"no line end: here", {{"no line end", "here"}}},
      {"NoColon\r\nA: b\r\n", {{"NoColon\r\n", ""}, {"A", "b"}}},
      {"NoColon", {{"NoColon", ""}}},
      {"A:", {{"A", ""}}},
      {"A:b", {{"A", "b"}}},
      {"A: b: c\r\n", {{"A", "b: c"}}},
      {": v\r\n", {{"", "v"}}},
      {" A : b\r\n", {{" A ", "b"}}},
      {"A: b\r\n folded: c\r\n", {{"A", "b"}, {" folded", "c"}}},
      {"A: b\nC: d\re\r\n", {{"A", "b\nC: d\re"}}},
      {"A: \r \n\r\nB: c", {{"A", ""}, {"B", "c"}}},
      {"A: b\r", {{"A", "b\r"}}},
      {"A:\r\nB: c\r\n", {{"A", ""}, {"B", "c"}}},
      {std::string("A\0B: \0\xFF\r\n", 9), {{std::string("A\0B", 3), std::string("\0\xFF", 2)}}},
  };
  for (const auto& c : kCases) {
    CAPTURE(c.text);
    HeaderFieldIterator iterator(ViewOf(c.text));
    CHECK(FieldsOf(&iterator) == c.fields);
    iterator.Next();
    CHECK(iterator.AtEnd());
    iterator.Reset();
    CHECK(FieldsOf(&iterator) == c.fields);
  }
}

TEST_CASE("the blank line that closes a header block is a field with neither name nor value") {
  const std::string text = "A: b\r\n\r\n";
  HeaderFieldIterator iterator(ViewOf(text));
  iterator.Next();
  CHECK_FALSE(iterator.AtEnd());
  CHECK(iterator.FieldName().IsEmpty());
  CHECK(iterator.FieldValue().IsEmpty());
  iterator.Next();
  CHECK(iterator.AtEnd());
}

TEST_CASE("header text cut at any byte is read to its end") {
  const std::string text = "Host: a\r\nKey:  \t value \r\n\r\nNoColon\r\nX:\r\n";
  for (std::size_t length = 0; length <= text.size(); ++length) {
    CAPTURE(length);
    // On the heap and of exactly this size, so that a sanitizer sees a read beyond it.
    const ByteVector bytes(common_base::kAllocateAndCopy,
                           reinterpret_cast<const unsigned char*>(text.data()),
                           static_cast<int>(length));
    HeaderFieldIterator iterator{ByteView(bytes)};
    std::size_t ends = 0;
    for (std::size_t i = 2; i <= length; ++i) ends += text.compare(i - 2, 2, "\r\n") == 0;
    const bool has_open_line = length != 0 && (length < 2 || text.compare(length - 2, 2, "\r\n"));
    CHECK(FieldsOf(&iterator).size() == ends + has_open_line);
  }
}

TEST_CASE("lists of names and values") {
  GVector<GString> names;
  GVector<GString> values;
  GStringHeaderFieldIterator nothing(names, values);
  CHECK(nothing.AtEnd());
  nothing.Next();
  CHECK(nothing.AtEnd());

  for (const char* name : {"A", "\xC3\xA9", ""}) names.Append(name);
  for (const char* value : {"1", "", "3"}) values.Append(value);
  GStringHeaderFieldIterator iterator(names, values);
  CHECK(FieldsOf(&iterator) == Fields{{"A", "1"}, {"\xC3\xA9", ""}, {"", "3"}});
  iterator.Reset();
  CHECK_FALSE(iterator.AtEnd());
  // The field last read stays until the next one is.
  CHECK(Field(iterator) == std::pair<std::string, std::string>("", "3"));
  iterator.Next();
  CHECK(TextOf(iterator.FieldName()) == "\xC3\xA9");
}

TEST_CASE("GetDomainForUrl") {
  struct {
    const char *url, *domain;
  } const kCases[] = {
      {"", ""},
      {"HTTP://node7:80/a?b", "node7:80"},
      {"http://Host", "Host"},
      {"http://host?q/r#s", "host"},
      {"http://host#f?q", "host"},
      {"host/path", "host"},
      {"https://host/", "https:"},
      {"ftp://host/", "ftp:"},
      {"http://", ""},
      {"http:///x", ""},
      {"/x", ""},
      {"http://http://x", "http:"},
      {"http:/", "http:"},
  };
  for (const auto& c : kCases) {
    INFO(std::string(c.url));
    CHECK(TextOf(HttpUtils::GetDomainForUrl(c.url)) == c.domain);
  }
}

TEST_CASE("IsRedirect") {
  std::vector<int> redirects;
  for (int status = -1; status < 600; ++status) {
    if (HttpUtils::IsRedirect(status)) redirects.push_back(status);
  }
  CHECK(redirects == std::vector<int>{301, 302, 303, 307});
}
