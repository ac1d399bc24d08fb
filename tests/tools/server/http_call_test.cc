#include "tools/kesu-server/http_call.h"

#include <string>
#include <string_view>
#include <vector>

#include <doctest/doctest.h>

#include "support/bytes.h"
#include "tools/kesu-server/echo_service.h"

namespace {

using kesu_server::Echo;
using kesu_server::HttpCall;
using kesu_server::ReadHttpCall;
using kesu_server::ServiceReply;
using kesu_server::ServiceRequest;
using kesu_test::Bytes;
using kesu_test::TextOf;
using kesu_test::ToHex;
using kesu_test::ViewOf;

ServiceRequest RequestOf(std::string_view payload, bool is_multipart) {
  return {7, "http:echo", 1, payload, is_multipart};
}

// "PUT", a header "a: b", the body "hi".
constexpr char kPlain[] = "00 03 50 55 54  01 00 01 61 00 01 62  00 00 00 02 68 69";

// "GET", "multipart/related;b=1" in its short form, no encoding.
constexpr char kMultipartStart[] = "00 03 47 45 54  6D 72 00 03 62 3D 31  00 00 ";
// A header "a: b".
constexpr char kHeader[] = "01 00 01 61 00 01 62 ";
// Two parts: "text/xml;q=1" with the content id "c1", a property "p: v" and the body "AB"; "x/y"
// with nothing, which has no encoding either.
constexpr char kParts[] =
    "00 02 "
    "74 78 00 03 71 3D 31  00 02 63 31  01 00 01 70 00 01 76  00 00 00 02 00 00  41 42 "
    "00 00 00 03 78 2F 79  00 00  00  00 00 00 00";

std::string Multipart(std::string_view body) {
  return std::string(kMultipartStart).append(kHeader).append(body).append(kParts);
}

TEST_CASE("an HTTP-like request is echoed, byte for byte") {
  struct Case {
    const char* description;
    bool is_multipart;
    std::string payload;
    const char* reply;
  };
  // X-Method: GET, X-Multipart: multipart/related;b=1, a: b, X-Part-1: 2 text/xml;q=1,
  // X-Part-2: 0 x/y.
  constexpr char kMultipartHeaders[] =
      "05 "
      "00 08 58 2D 4D 65 74 68 6F 64  00 03 47 45 54 "
      "00 0B 58 2D 4D 75 6C 74 69 70 61 72 74 "
      "00 15 6D 75 6C 74 69 70 61 72 74 2F 72 65 6C 61 74 65 64 3B 62 3D 31 "
      "00 01 61 00 01 62 "
      "00 08 58 2D 50 61 72 74 2D 31  00 0E 32 20 74 65 78 74 2F 78 6D 6C 3B 71 3D 31 "
      "00 08 58 2D 50 61 72 74 2D 32  00 05 30 20 78 2F 79 ";
  const std::string with_body = std::string(kMultipartHeaders).append("68 69 41 42");
  const std::string without_body = std::string(kMultipartHeaders).append("41 42");
  const Case cases[] = {
      {"plain", false, kPlain,
       "02 00 08 58 2D 4D 65 74 68 6F 64 00 03 50 55 54  00 01 61 00 01 62  68 69"},
      {"plain, nothing in it", false, "00 00  00  00 00 00 00",
       "01 00 08 58 2D 4D 65 74 68 6F 64 00 00"},
      {"multipart", true, Multipart("00 00 00 02 00 00 68 69 "), with_body.c_str()},
      {"multipart without a root body", true, Multipart("00 00 00 00 "), without_body.c_str()},
      {"multipart with an empty root body", true, Multipart("00 00 00 00 00 00 "),
       without_body.c_str()},
  };
  for (const Case& c : cases) {
    CAPTURE(c.description);
    const std::string payload = TextOf(Bytes(c.payload));
    const ServiceReply reply = Echo(RequestOf(payload, c.is_multipart));
    CHECK(reply.status == 200);
    CHECK(ToHex(ViewOf(reply.payload)) == ToHex(Bytes(c.reply)));

    // Cut short it is never whole. The copies have no byte to spare, for the address sanitizer to
    // notice a read past them.
    for (std::size_t length = 0; length < payload.size(); ++length) {
      CAPTURE(length);
      const std::vector<char> cut(payload.begin(),
                                  payload.begin() + static_cast<std::ptrdiff_t>(length));
      const ServiceReply refusal = Echo(RequestOf({cut.data(), cut.size()}, c.is_multipart));
      CHECK(refusal.status == 400);
      CHECK(refusal.payload.empty());
    }
  }
}

TEST_CASE("malformed HTTP-like requests") {
  struct Case {
    const char* description;
    bool is_multipart;
    std::string payload;
    std::size_t offset;
  };
  const std::string start = kMultipartStart;
  const Case cases[] = {
      {"a byte to spare", false, std::string(kPlain).append(" 00"), 18},
      {"a negative body length", false, "00 00  00  FF FF FF FF", 3},
      {"a body past the end", false, "00 00  00  7F FF FF FF 41", 3},
      {"fewer headers than counted", false, "00 00  FF  00 01 61 00 01 62", 9},
      {"a MIME type without a meaning", true, "00 00  12 34 00 00", 2},
      {"an encoding of the whole", true, "00 00  6D 72 00 00  00 01 67", 6},
      {"an encoding of the body", true, start + "00  00 00 00 01 00 01 67 41", 19},
      {"a negative body length in a multipart", true, start + "00  80 00 00 00 00 00", 15},
      {"no part", true, start + "00  00 00 00 01 00 00 41  00 00", 22},
      {"a byte behind the last part", true, Multipart("00 00 00 00 ") + " 00", 67},
      {"a plain request said to be multipart", true, kPlain, 7},
  };
  for (const Case& c : cases) {
    CAPTURE(c.description);
    const std::string payload = TextOf(Bytes(c.payload));
    HttpCall call;
    const auto error = ReadHttpCall(RequestOf(payload, c.is_multipart), &call);
    REQUIRE(error);
    CAPTURE(error->description);
    CHECK(error->offset == c.offset);
    CHECK(Echo(RequestOf(payload, c.is_multipart)).status == 400);
  }
}

TEST_CASE("a request with more headers than an answer can count is refused") {
  // The method is one header more.
  for (const int count : {254, 255}) {
    CAPTURE(count);
    std::string payload("\0\0", 2);
    payload.push_back(static_cast<char>(count));
    for (int i = 0; i < count; ++i) payload.append("\0\0\0\0", 4);
    payload.append("\0\0\0\0", 4);
    CHECK(Echo(RequestOf(payload, false)).status == (count == 254 ? 200 : 400));
  }
}

}  // namespace
