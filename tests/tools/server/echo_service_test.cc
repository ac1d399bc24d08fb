
#include "tools/kesu-server/echo_service.h"

#include <string>
#include <string_view>
#include <vector>

#include <doctest/doctest.h>

#include "support/bytes.h"

namespace {

using kesu_test::Bytes;
using kesu_test::TextOf;

// "PUT", a header "a: b", the body "hi".
const std::string kPlain = "00 03 50 55 54  01 00 01 61 00 01 62  00 00 00 02 68 69 ";

// "GET", "multipart/related;b=1" in its short form, no encoding; then a header "a: b".
const std::string kStart = "00 03 47 45 54  6D 72 00 03 62 3D 31  00 00  01 00 01 61 00 01 62 ";
const std::string kNoRootBody = "00 00 00 00 ";
// "text/xml;q=1" with the content id "c1", a property "p: v" and the body "AB"; "x/y" with nothing,
// which has no encoding either.
const std::string kTwoParts =
    "00 02 "
    "74 78 00 03 71 3D 31  00 02 63 31  01 00 01 70 00 01 76  00 00 00 02 00 00  41 42 "
    "00 00 00 03 78 2F 79  00 00  00  00 00 00 00 ";

int StatusOfEcho(bool is_multipart, std::string_view payload) {
  return kesu_server::Echo({7, "http:echo", 1, payload, is_multipart}).status;
}

TEST_CASE("HTTP-like requests that are cut short") {
  for (const bool is_multipart : {false, true}) {
    const std::string payload =
        TextOf(Bytes(is_multipart ? kStart + "00 00 00 02 00 00 68 69 " + kTwoParts : kPlain));
    CHECK(StatusOfEcho(is_multipart, payload) == 200);
    for (std::size_t length = 0; length < payload.size(); ++length) {
      CAPTURE(length);
      // Without a byte to spare, for the address sanitizer to notice a read past them.
      const std::vector<char> cut(payload.data(), payload.data() + length);
      CHECK(StatusOfEcho(is_multipart, {cut.data(), length}) == 400);
    }
  }
}

TEST_CASE("malformed HTTP-like requests") {
  const struct {
    bool is_multipart;
    std::string payload;
    std::string description;
  } cases[] = {
      {false, kPlain + "00", "a byte to spare"},
      {false, "00 00  00  FF FF FF FF", "a negative body length"},
      {false, "00 00  00  7F FF FF FF 41", "a body past the end"},
      {false, "00 00  FF  00 01 61 00 01 62", "fewer headers than counted"},
      {true, "00 00  12 34 00 00  00 00  00  00 00 00 00 " + kTwoParts, "an unknown MIME type"},
      {true, "00 00  6D 72 00 00  00 01 67  00  00 00 00 00 " + kTwoParts, "a whole encoded"},
      {true, kStart + "00 00 00 01 00 01 67 41 " + kTwoParts, "a body encoded"},
      {true, kStart + "00 00 00 01 00 00 41  00 00", "no part"},
      {true, kStart + kNoRootBody + kTwoParts + "00", "a byte behind the last part"},
  };
  for (const auto& row : cases) {
    CAPTURE(row.description);
    CHECK(StatusOfEcho(row.is_multipart, TextOf(Bytes(row.payload))) == 400);
  }
}

TEST_CASE("a request with more headers than an answer can count is refused") {
  // The method is one header more.
  for (const std::size_t count : {254U, 255U}) {
    CAPTURE(count);
    std::string payload("\0\0", 2);
    payload += static_cast<char>(count);
    payload.append(4 * count + 4, '\0');
    CHECK(StatusOfEcho(false, payload) == (count == 254 ? 200 : 400));
  }
}

}  // namespace
