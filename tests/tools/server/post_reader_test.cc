#include "tools/kesu-server/post_reader.h"

#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <doctest/doctest.h>

#include "support/bytes.h"

namespace {

using kesu_server::Post;
using kesu_server::ReadPost;
using kesu_test::Bytes;
using kesu_test::TextOf;

// Version 1, then a header block of 13 bytes: "t", the cookie 42, an empty configuration.
constexpr char kHeader[] = "00 01  00 00 00 0D 00 01  00 01 74  00 00 00 00 00 00 00 2A  00 00 ";
constexpr std::size_t kHeaderEnd = 21;

TEST_CASE("a POST of two requests") {
  const std::string body = TextOf(
      Bytes(std::string(kHeader) + "00 00 00 0E 01 00  00 07  00 01 78  00 02  00 00 00 03 41 "
                                   "00 43  00 00 00 0A 01 00  FF FE  00 00  FF FF  00 00 00 00"));
  Post post;
  REQUIRE_FALSE(ReadPost(body, &post));
  CHECK(post.client_version == "t");
  CHECK(post.cookie == 42);
  CHECK(post.configuration.empty());
  REQUIRE(post.requests.size() == 2);
  CHECK(post.requests[0].id == 7);
  CHECK(post.requests[0].service == "x");
  CHECK(post.requests[0].version == 2);
  CHECK(post.requests[0].payload == std::string_view("A\0C", 3));
  CHECK(post.requests[1].id == -2);
  CHECK(post.requests[1].service.empty());
  CHECK(post.requests[1].version == -1);
  CHECK(post.requests[1].payload.empty());

  // Cut short, it is whole only where a block ends. The copies have no byte to spare, for the
  // address sanitizer to notice a read past them.
  const std::set<std::size_t> block_ends = {kHeaderEnd, kHeaderEnd + 20, body.size()};
  for (std::size_t length = 0; length <= body.size(); ++length) {
    CAPTURE(length);
    const std::vector<char> cut(body.begin(), body.begin() + static_cast<std::ptrdiff_t>(length));
    Post cut_post;
    const auto error = ReadPost({cut.data(), cut.size()}, &cut_post);
    CHECK(error.has_value() == !block_ends.contains(length));
    if (error) CHECK(error->offset <= length);
  }
}

TEST_CASE("a multipart request has everything behind its version for a payload") {
  const std::string body =
      TextOf(Bytes(std::string(kHeader) + "00 00 00 09 01 01  00 07  00 01 78  00 02  41 42"));
  Post post;
  REQUIRE_FALSE(ReadPost(body, &post));
  REQUIRE(post.requests.size() == 1);
  CHECK(post.requests[0].is_multipart);
  CHECK(post.requests[0].version == 2);
  CHECK(post.requests[0].payload == "AB");
}

TEST_CASE("malformed POSTs") {
  struct Case {
    const char* description;
    bool has_header;
    const char* bytes;
    std::size_t offset;
  };
  constexpr Case kCases[] = {
      {"nothing at all", false, "", 0},
      {"half a version", false, "00", 0},
      {"another version", false, "00 02 00 00 00 0D 00 01", 0},
      {"a negative header length", false, "00 01 FF FF FF FF 00 01 00 00", 2},
      {"a request block first", false, "00 01 00 00 00 0A 01 00 00 01 00 00 00 01 00 00 00 00", 6},
      {"a client version beyond the header block", false,
       "00 01 00 00 00 0D 00 01 00 0C 74 00 00 00 00 00 00 00 2A 00 00", 8},
      {"a header block that ends in its last field", false,
       "00 01 00 00 00 0C 00 01 00 01 74 00 00 00 00 00 00 00 2A 00 00", 19},
      {"a header block with a byte to spare", false,
       "00 01 00 00 00 0E 00 01 00 01 74 00 00 00 00 00 00 00 2A 00 00 55", kHeaderEnd},
      {"one byte after the last block", true, "00", kHeaderEnd},
      {"a length far past the end", true, "7F FF FF FF 01 00 00 07", kHeaderEnd},
      {"the most negative length", true, "80 00 00 00 01 00 00 07", kHeaderEnd},
      {"a reply block", true, "00 00 00 00 81 00", kHeaderEnd + 4},
      {"a multipart block that ends in its version", true, "00 00 00 06 01 01 00 07 00 01 78 00",
       kHeaderEnd + 11},
      {"an empty request block", true, "00 00 00 00 01 00", kHeaderEnd + 6},
      {"a service name beyond the block, though not the body", true,
       "00 00 00 0B 01 00 00 07 FF FF 78 00 02 00 00 00 00", kHeaderEnd + 8},
      {"a negative payload length", true, "00 00 00 0B 01 00 00 07 00 01 78 00 02 FF FF FF FF",
       kHeaderEnd + 13},
      {"a payload beyond the block", true, "00 00 00 0B 01 00 00 07 00 01 78 00 02 00 00 00 01 41",
       kHeaderEnd + 13},
      {"a payload that leaves bytes of the block", true,
       "00 00 00 0D 01 00 00 07 00 01 78 00 02 00 00 00 01 41 42", kHeaderEnd + 18},
  };
  for (const Case& c : kCases) {
    CAPTURE(c.description);
    const std::string body = TextOf(Bytes((c.has_header ? kHeader : std::string()) + c.bytes));
    Post post;
    const auto error = ReadPost(body, &post);
    REQUIRE(error);
    CAPTURE(error->description);
    CHECK(error->offset == c.offset);
    CHECK_FALSE(error->description.empty());
  }
}

}  // namespace
