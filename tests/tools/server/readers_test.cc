#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <doctest/doctest.h>

#include "support/bytes.h"
#include "tools/kesu-server/echo_service.h"
#include "tools/kesu-server/http_call.h"
#include "tools/kesu-server/post_reader.h"

namespace {

using kesu_server::Echo;
using kesu_server::HttpCall;
using kesu_server::Post;
using kesu_server::ReadPost;
using kesu_test::Bytes;
using kesu_test::TextOf;

/// The first bytes of `whole`, with none to spare, for the address sanitizer to notice a read past
/// them.
std::vector<char> Cut(const std::string& whole, std::size_t length) {
  return {whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)};
}

// Version 1, then a header block of 13 bytes: "t", the cookie 42, an empty configuration.
const std::string kHeader = "00 01  00 00 00 0D 00 01  00 01 74  00 00 00 00 00 00 00 2A  00 00 ";
constexpr std::size_t kHeaderEnd = 21;

TEST_CASE("a POST of three requests") {
  const std::string body =
      TextOf(Bytes(kHeader + "00 00 00 0E 01 00  00 07  00 01 78  00 02 "
                             "00 00 00 03 41 00 43 "
                             "00 00 00 0A 01 00  FF FE  00 00  FF FF  00 00 00 00 "
                             // Multipart: everything behind the version is payload.
                             "00 00 00 09 01 01  00 07  00 01 78  00 02  41 42"));
  Post post;
  REQUIRE_FALSE(ReadPost(body, &post));
  CHECK(post.client_version == "t");
  CHECK(post.cookie == 42);
  CHECK(post.configuration.empty());
  const kesu_server::ServiceRequest expected[] = {
      {7, "x", 2, {"A\0C", 3}, false}, {-2, "", -1, "", false}, {7, "x", 2, "AB", true}};
  REQUIRE(post.requests.size() == std::size(expected));
  for (std::size_t i = 0; i < std::size(expected); ++i) {
    CAPTURE(i);
    CHECK(post.requests[i].id == expected[i].id);
    CHECK(post.requests[i].service == expected[i].service);
    CHECK(post.requests[i].version == expected[i].version);
    CHECK(post.requests[i].payload == expected[i].payload);
    CHECK(post.requests[i].is_multipart == expected[i].is_multipart);
  }

  const std::set<std::size_t> block_ends = {kHeaderEnd, kHeaderEnd + 20, kHeaderEnd + 36};
  for (std::size_t length = 0; length < body.size(); ++length) {
    CAPTURE(length);
    const std::vector<char> cut = Cut(body, length);
    Post cut_post;
    const auto error = ReadPost({cut.data(), length}, &cut_post);
    CHECK(error.has_value() == !block_ends.contains(length));
    if (error) CHECK(error->offset <= length);
  }
}

TEST_CASE("malformed POSTs") {
  const struct {
    std::string description;
    std::string bytes;
    std::size_t offset;
  } cases[] = {
      {"half a version", "00", 0},
      {"another version", "00 02 00 00 00 0D 00 01", 0},
      {"a negative header length", "00 01 FF FF FF FF 00 01 00 00", 2},
      {"a request block first", "00 01 00 00 00 0A 01 00 00 01 00 00 00 01 00 00 00 00", 6},
      {"a client version beyond the header block",
       "00 01 00 00 00 0D 00 01 00 0C 74 00 00 00 00 00 00 00 2A 00 00", 8},
      {"a header block that ends in its last field",
       "00 01 00 00 00 0C 00 01 00 01 74 00 00 00 00 00 00 00 2A 00 00", 19},
      {"a header block with a byte to spare",
       "00 01 00 00 00 0E 00 01 00 01 74 00 00 00 00 00 00 00 2A 00 00 55", kHeaderEnd},
      {"a length far past the end", kHeader + "7F FF FF FF 01 00 00 07", kHeaderEnd},
      {"the most negative length", kHeader + "80 00 00 00 01 00 00 07", kHeaderEnd},
      {"a reply block", kHeader + "00 00 00 00 81 00", kHeaderEnd + 4},
      {"an empty request block", kHeader + "00 00 00 00 01 00", kHeaderEnd + 6},
      {"a service name beyond the block, though not the body",
       kHeader + "00 00 00 05 01 00 00 07 00 02 78 00 02 00 00 00 00", kHeaderEnd + 8},
      {"a negative payload length", kHeader + "00 00 00 0B 01 00 00 07 00 01 78 00 02 FF FF FF FF",
       kHeaderEnd + 13},
      {"a payload beyond the block",
       kHeader + "00 00 00 0B 01 00 00 07 00 01 78 00 02 00 00 00 01 41", kHeaderEnd + 13},
      {"a payload that leaves bytes of the block",
       kHeader + "00 00 00 0D 01 00 00 07 00 01 78 00 02 00 00 00 01 41 42", kHeaderEnd + 18},
  };
  for (const auto& row : cases) {
    CAPTURE(row.description);
    Post post;
    const auto error = ReadPost(TextOf(Bytes(row.bytes)), &post);
    REQUIRE(error);
    CHECK_MESSAGE(error->offset == row.offset, error->description);
  }
}

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

TEST_CASE("an HTTP-like request that is cut short is never whole") {
  for (const bool is_multipart : {false, true}) {
    const std::string payload =
        TextOf(Bytes(is_multipart ? kStart + "00 00 00 02 00 00 68 69 " + kTwoParts : kPlain));
    CHECK(Echo({7, "http:echo", 1, payload, is_multipart}).status == 200);
    for (std::size_t length = 0; length < payload.size(); ++length) {
      CAPTURE(length);
      const std::vector<char> cut = Cut(payload, length);
      const auto refusal = Echo({7, "http:echo", 1, {cut.data(), length}, is_multipart});
      CHECK(refusal.status == 400);
      CHECK(refusal.payload.empty());
    }
  }
}

TEST_CASE("malformed HTTP-like requests") {
  const struct {
    std::string description;
    bool is_multipart;
    std::string payload;
    std::size_t offset;
  } cases[] = {
      {"a byte to spare", false, kPlain + "00", 18},
      {"a negative body length", false, "00 00  00  FF FF FF FF", 3},
      {"a body past the end", false, "00 00  00  7F FF FF FF 41", 3},
      {"fewer headers than counted", false, "00 00  FF  00 01 61 00 01 62", 9},
      {"a MIME type without a meaning", true, "00 00  12 34 00 00", 2},
      {"an encoding of the whole", true, "00 00  6D 72 00 00  00 01 67", 6},
      {"an encoding of the body", true, kStart + "00 00 00 01 00 01 67 41", 25},
      {"a negative body length in a multipart", true, kStart + "80 00 00 00 00 00", 21},
      {"no part", true, kStart + "00 00 00 01 00 00 41  00 00", 28},
      {"a byte behind the last part", true, kStart + kNoRootBody + kTwoParts + "00", 67},
  };
  for (const auto& row : cases) {
    CAPTURE(row.description);
    const std::string payload = TextOf(Bytes(row.payload));
    HttpCall call;
    const auto error = ReadHttpCall({7, "http:echo", 1, payload, row.is_multipart}, &call);
    REQUIRE(error);
    CHECK_MESSAGE(error->offset == row.offset, error->description);
  }
}

TEST_CASE("a request with more headers than an answer can count is refused") {
  // The method is one header more.
  for (const int count : {254, 255}) {
    CAPTURE(count);
    std::string payload("\0\0", 2);
    payload += static_cast<char>(count);
    payload.append(static_cast<std::size_t>(4 * count + 4), '\0');
    CHECK(Echo({7, "http:echo", 1, payload, false}).status == (count == 254 ? 200 : 400));
  }
}

}  // namespace
