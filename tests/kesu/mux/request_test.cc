#include <memory>
#include <vector>

#include <doctest/doctest.h>

#include "kesu/mux/header_request.h"
#include "kesu/mux/mux_fixture.h"
#include "kesu/mux/plain_request.h"

#include "support/bytes.h"

using common_base::ByteVector;
using common_base::ByteView;
using common_base::DataOutputStream;
using common_kesu::ChunkProviderInterface;
using common_kesu::HeaderRequest;
using common_kesu::MuxConfig;
using common_kesu::PlainRequest;
using common_kesu::Request;
using common_kesu::ServiceVersion;
using kesu_test::TextOf;
using kesu_test::ToHex;

namespace {

std::string Written(Request* request) {
  ByteVector bytes;
  DataOutputStream stream(&bytes);
  request->WriteHeader(&stream);
  request->WriteBody(&stream);
  return ToHex(bytes);
}

}  // namespace

TEST_CASE("the block of a plain request") {
  const ByteView two = kesu_test::ViewOf("AB");
  const ByteView none;
  struct Row {
    std::string what;
    const char* service;
    ServiceVersion version;
    const ByteView* payload;
    short id;
    int body_length;
    const char* bytes;
  };
  const Row rows[] = {
      {"with payload", "g:loc/ql", ServiceVersion::kVersion1, &two, 0x0102, 20,
       "00 00 00 14 01 00 01 02 00 08 67 3A 6C 6F 63 2F 71 6C 00 01 00 00 00 02 41 42"},
      {"without payload", "g:loc/ql", ServiceVersion::kVersion0, nullptr, 0, 18,
       "00 00 00 12 01 00 00 00 00 08 67 3A 6C 6F 63 2F 71 6C 00 00 00 00 00 00"},
      {"an empty payload", "", ServiceVersion::kVersion0, &none, -2, 10,
       "00 00 00 0A 01 00 FF FE 00 00 00 00 00 00 00 00"},
      {"the service counts in bytes of UTF-8", "\xC3\xA9", ServiceVersion(-1), &two, 1, 14,
       "00 00 00 0E 01 00 00 01 00 02 C3 A9 FF FF 00 00 00 02 41 42"},
  };
  for (const Row& row : rows) {
    CAPTURE(row.what);
    PlainRequest request(row.service, row.version, row.payload);
    CHECK(request.id() == 0);
    CHECK(request.body_length() == -1);
    request.set_id(row.id);
    CHECK(request.GetTotalLength() == row.body_length + 6);
    CHECK(request.GetBodyLength() == row.body_length);
    CHECK(Written(&request) == row.bytes);
    const std::unique_ptr<ChunkProviderInterface> chunks(request.AsChunkProvider());
    ByteVector bytes;
    DataOutputStream stream(&bytes);
    chunks->WriteToStream(&stream);
    CHECK(ToHex(bytes) == row.bytes);
  }
}

TEST_CASE("the body length is computed once, the chunks too until they are reset") {
  const ByteView two = kesu_test::ViewOf("AB");
  PlainRequest request("", ServiceVersion::kVersion1);
  CHECK(request.GetBodyLength() == 10);
  std::unique_ptr<ChunkProviderInterface> chunks(request.AsChunkProvider());
  request.set_payload(&two);
  request.set_id(9);
  CHECK(request.GetBodyLength() == 10);
  chunks.reset(request.AsChunkProvider());
  CHECK(ToHex(chunks->ReadByteChunk(0, 99)) == "00 00 00 0A 01 00 00 00 00 00 00 01 00 00 00 00");
  request.ResetChunkBuffer();
  request.set_body_length(common_kesu::Block::kBodyLengthUnknown);
  chunks.reset(request.AsChunkProvider());
  CHECK(ToHex(chunks->ReadByteChunk(0, 99)) ==
        "00 00 00 0C 01 00 00 09 00 00 00 01 00 00 00 02 41 42");
}

TEST_CASE("a plain request is sent twice at most, after waits that double") {
  PlainRequest request("u", ServiceVersion::kVersion1);
  CHECK(request.ShouldRetry());
  CHECK_FALSE(request.ShouldRetry());
  CHECK_FALSE(request.ShouldRetry());
  CHECK(request.GetRetryTimeout() == 500000);
  CHECK(request.GetRetryTimeout() == 1000000);
  CHECK(request.GetRetryTimeout() == 2000000);
  request.set_retry_timeout(7);
  CHECK(request.GetRetryTimeout() == 7);
  CHECK(request.GetRetryTimeout() == 14);
}

TEST_CASE("the header block") {
  const std::unique_ptr<MuxConfig> config(kesu_test::MuxFixture::NewConfig("http://x/"));
  HeaderRequest header(*config);
  CHECK(TextOf(header.client_version_text()) == "prod,1.0,plat,ch,en");
  header.set_cookie(0x0102030405060708);
  CHECK(header.GetBodyLength() == 34);
  CHECK(header.GetTotalLength() == 42);
  CHECK(Written(&header) ==
        "00 01 00 00 00 22 00 01 "
        "00 13 70 72 6F 64 2C 31 2E 30 2C 70 6C 61 74 2C 63 68 2C 65 6E "
        "01 02 03 04 05 06 07 08 00 03 63 66 67");
  header.set_cookie(-2);
  CHECK(Written(&header).substr(29 * 3, 8 * 3) == "FF FF FF FF FF FF FF FE ");
  CHECK_FALSE(header.ShouldRetry());
  CHECK(header.GetRetryTimeout() == -1);

  const MuxConfig empty;
  HeaderRequest blank(empty);
  CHECK(Written(&blank) ==
        "00 01 00 00 00 10 00 01 00 04 2C 2C 2C 2C 00 00 00 00 00 00 00 00 00 00");
}
