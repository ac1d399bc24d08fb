// The framing, byte for byte: varints, length marks, request blocks, and the chunks that they are
// read in. Replies and header texts are the fuzz targets' affair.
#include <algorithm>
#include <climits>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <doctest/doctest.h>
#include <unicode/uloc.h>

#include "kesu/mux/http_request.h"
#include "kesu/mux/http_utils.h"
#include "kesu/mux/kesu_request_builder.h"
#include "kesu/mux/kesu_response_parser.h"
#include "kesu/mux/non_multipart_response.h"

#include "support/bytes.h"
#include "support/log_capture.h"

using namespace common_kesu;
using common_base::ByteVector;
using common_base::ByteView;
using common_base::DataOutputStream;
using namespace kesu_test;
using Lines = std::vector<std::string>;

static int sink_lines = 0;

namespace common_base {

// The platform sink of this test program, in place of the library's: dumps of bytes go here alone.
void LogInternal(const GString&) {
  ++sink_lines;
}

}  // namespace common_base

namespace {

template <typename Write>
std::string Written(Write write) {
  ByteVector bytes;
  KesuRequestBuilder stream(&bytes);
  write(&stream);
  return ToHex(bytes);
}

std::string Chunked(Request* request) {
  const std::unique_ptr<ChunkProviderInterface> chunks(request->AsChunkProvider());
  return Written([&](DataOutputStream* out) { chunks->WriteToStream(out); });
}

/// The block of a request, whether it is written or read in chunks.
std::string BlockOf(Request* request) {
  std::string block = Written([&](DataOutputStream* out) {
    request->WriteHeader(out);
    request->WriteBody(out);
  });
  CHECK(Chunked(request) == block);
  CHECK(request->GetTotalLength() == (static_cast<int>(block.size()) + 1) / 3);
  return block;
}

ChunkProviderInterface* NewBody(std::string_view text) {
  return new BufferChunkProvider(ViewOf(text));
}

}  // namespace

TEST_CASE("varints are written in as few bytes as possible, and read back") {
  struct Row {
    std::string bytes;
    unsigned long long value;
    unsigned value32;
    int taken32;
    std::string errors;
    int taken64 = 0;
  };
  // Bit 31 is extended into the upper half of a 64-bit result, and what lies above is dropped.
  const Row rows[] = {
      {"00", 0, 0, 1, ""},
      {"7F", 127, 127, 1, ""},
      {"80 01", 128, 128, 2, ""},
      {"80 80 80 80 08", 0xFFFFFFFF80000000, 0x80000000, 5, ""},
      {"81 80 80 80 90 01", 1, 1, 5, ""},
      {"85 80 80 80 80 80 80 80 80 FF 01", 5, 5, 5, "", 10},
      {"", 0, 0, 0, "32 64"},
      {"81 82", 0x101, 0x101, 2, "32 64"},
      {"FF FF FF FF FF", 0xFFFFFFFFFFFFFFFF, 0xFFFFFFFF, 5, "64"},
  };
  for (const Row& row : rows) {
    CAPTURE(row.bytes);
    const ByteVector bytes = Bytes(row.bytes);
    const ByteView view(bytes);
    KesuResponseParser parser32(&view), parser64(&view);
    CHECK(parser32.ReadVarint32() == row.value32);
    CHECK(parser32.position() == row.taken32);
    CHECK(parser32.hit_error() == (row.errors == "32 64"));
    CHECK(parser64.ReadVarint64() == row.value);
    CHECK(parser64.position() == (row.taken64 != 0 ? row.taken64 : bytes.length()));
    CHECK(parser64.hit_error() == !row.errors.empty());
    if (!row.errors.empty() || row.value > 128) continue;
    ByteVector out;
    UInt32ToVarint(row.value32, &out);
    CHECK(Written([&](auto* builder) { builder->WriteVarint32(row.value32); }) == ToHex(out));
    if (row.taken32 == bytes.length()) CHECK(ToHex(out) == row.bytes);
  }
  CHECK(Written([](auto* builder) { builder->WriteVarint64(~0ULL); }) ==
        "FF FF FF FF FF FF FF FF FF 01");
  CHECK(Written([](auto* builder) { builder->WriteVarint32(~0U); }) == "FF FF FF FF 0F");
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

TEST_CASE("length marks of every width") {
  /// 'b', 'w', 'd' and 'v' open a mark of 8, 16, 32 bits or a varint, 'x' writes a byte AA, '*' all
  /// the bytes AA behind the head, and a digit closes a mark with that offset.
  struct Row {
    std::string_view steps;
    std::string head;
    int bytes_behind_head;
  };
  const Row rows[] = {
      {"b*0", "02", 258},
      {"w*0", "00 01", 65537},
      {"v*0", "7F", 127},
      // 2 + 128 inside, 1 + 130 = 131 in the middle, 2 + 131 = 133 outside.
      {"wvxv*000", "00 85 83 01 AA 80 01", 128},
      {"d*2", "00 00 00 04", 6},
      {"wv16", "FF FF FF FF FF FF 0F", 0},
  };
  for (const Row& row : rows) {
    std::string expected = row.head;
    for (int i = 0; i < row.bytes_behind_head; ++i) expected += " AA";
    CHECK(Written([&](KesuRequestBuilder* builder) {
            for (const char step : row.steps) {
              if (step == 'b') builder->Write8bitLengthMark();
              if (step == 'w') builder->Write16bitLengthMark();
              if (step == 'd') builder->Write32bitLengthMark();
              if (step == 'v') builder->WriteVarintLengthMark();
              if (step >= '0' && step <= '9') builder->WriteBackLengthMarkWithOffset(step - '0');
              const int count = step == '*' ? row.bytes_behind_head : step == 'x' ? 1 : 0;
              for (int i = 0; i < count; ++i) builder->WriteUint8(0xAA);
            }
          }) == expected);
  }
  const LogCapture log(common_base::kLogErrors);
  CHECK(Written([](KesuRequestBuilder* builder) {
          builder->WriteTaggedUtf8StringWithVarintLength(0x12, "a\xC3\xA9");
          builder->WriteBackLengthMark();
        }) == "12 03 61 C3 A9");
  CHECK(log.lines().size() == 1);
}

TEST_CASE("the payload of a reply is logged, and not copied for each encoding that does nothing") {
  std::string encodings = "n";
  while (encodings.size() < 65535) encodings += ",n";
  const LogCapture log(common_base::kLogDebug);
  sink_lines = 0;
  for (const unsigned length : {0U, 1024U, 1025U}) {
    const std::string body = std::string("\0\7\0\xC8\xFF\xFF", 6) + encodings + "....";
    const std::string block = body + std::string(length, 'p');
    const ByteView view = ViewOf(block);
    common_base::DataInputStream stream(&view);
    NonMultipartResponse response;
    bool ok = false;
    response.Initialize(&stream, view.length(), &ok);
    CHECK(ok);
    CHECK(response.payload().data() == response.raw_payload().data());
  }
  CHECK(
      log.lines() ==
      Lines{"  D: There is no kesu response payload",
            "  D: response body size is: [1024], the body follows",
            "  D: response body size is: [1025], which is large so only the first [1024] follow"});
  // With two dumps, of a heading and 64 lines.
  CHECK(sink_lines == 3 + 2 * 65);
}

TEST_CASE("redirects and domains") {
  std::vector<int> redirects;
  for (int status = -1; status < 600; ++status) {
    if (HttpUtils::IsRedirect(status)) redirects.push_back(status);
  }
  CHECK(redirects == std::vector<int>{301, 302, 303, 307});
  const std::pair<const char*, std::string> rows[] = {{"", ""},
                                                      {"HTTP://node7:80/a?b", "node7:80"},
                                                      {"a#b/c", "a"},
                                                      {"a?b", "a"},
                                                      {"https://x/", "https:"}};
  for (const auto& [url, domain] : rows) CHECK(TextOf(HttpUtils::GetDomainForUrl(url)) == domain);
}

TEST_CASE("the length and the chunks of a plain request stay until they are reset") {
  const ByteView two = ViewOf("AB");
  PlainRequest request("\xC3\xA9", ServiceVersion(-1), &two);
  request.set_id(-2);
  const std::string block = "00 00 00 0E 01 00 FF FE 00 02 C3 A9 FF FF 00 00 00 02 41 42";
  CHECK(BlockOf(&request) == block);
  request.set_payload(nullptr);
  CHECK(Chunked(&request) == block);
  request.ResetChunkBuffer();
  request.set_body_length(Block::kBodyLengthUnknown);
  CHECK(BlockOf(&request) == "00 00 00 0C 01 00 FF FE 00 02 C3 A9 FF FF 00 00 00 00");
  // The longest time-out doubles without wrapping around.
  request.set_retry_timeout(LLONG_MAX);
  CHECK(request.GetRetryTimeout() == LLONG_MAX);
  CHECK(request.GetRetryTimeout() == LLONG_MAX - 1);
}

TEST_CASE("the block of an HTTP request") {
  struct Row {
    std::function<void(HttpRequest*)> fill;
    std::string block;
  };
  const Row rows[] = {
      // The content type is not sent without a body.
      {[](HttpRequest* request) {
         request->set_method("PUT");
         request->SetConnectionProperty("Accept", "A/b");
         request->SetConnectionProperty("accept", "c");
         request->SetConnectionProperty("Content-TYPE", "text/xml");
       },
       "00 00 00 35 01 00 00 07 00 09 68 74 74 70 3A 65 63 68 6F 00 01 00 00 00 22 00 03 50 55 54 "
       "02 00 06 61 63 63 65 70 74 00 03 41 2F 62 00 06 61 63 63 65 70 74 00 01 63 00 00 00 00"},
      {[](HttpRequest* request) {
         auto* known = new BodyPart("text/xml;q=1", NewBody("AB"));
         known->set_content_id("c1");
         known->AddProperty("p", "v");
         CHECK(Written([&](DataOutputStream* out) { known->WritePayload(out); }) == "41 42");
         request->AddBodyPart(known);
         request->AddBodyPart(new BodyPart("x/y", NewBody("")));
       },
       "00 00 00 49 01 01 00 07 00 09 68 74 74 70 3A 65 63 68 6F 00 01 "
       "00 03 47 45 54 6D 72 00 00 00 00 00 00 00 00 00 00 02 "
       "74 78 00 03 71 3D 31 00 02 63 31 01 00 01 70 00 01 76 00 00 00 02 00 00 41 42 "
       "00 00 00 03 78 2F 79 00 00 00 00 00 00 00"},
      {[](HttpRequest* request) {
         request->SetConnectionProperty("content-type", "multipart/related;b=1");
         request->SetConnectionProperty("a", "b");
         request->set_root_body(NewBody("hi"));
         request->AddBodyPart(new BodyPart("image/jpeg", NewBody("J")));
       },
       "00 00 00 61 01 01 00 07 00 09 68 74 74 70 3A 65 63 68 6F 00 01 "
       "00 03 47 45 54 6D 72 00 03 62 3D 31 00 00 "
       "02 00 0C 43 6F 6E 74 65 6E 74 2D 54 79 70 65 "
       "00 15 6D 75 6C 74 69 70 61 72 74 2F 72 65 6C 61 74 65 64 3B 62 3D 31 00 01 61 00 01 62 "
       "00 00 00 02 00 00 68 69 00 01 69 6A 00 00 00 00 00 00 00 00 01 00 00 4A"},
  };
  for (const Row& row : rows) {
    HttpRequest request("http:echo");
    request.set_id(7);
    row.fill(&request);
    CHECK(BlockOf(&request) == row.block);
  }
}

TEST_CASE("what is set after an HTTP request was written is as if it had been set before") {
  const ByteView payload = ViewOf("hi");
  const std::function<void(HttpRequest*)> setters[] = {
      [](HttpRequest* request) { request->set_id(8); },
      [](HttpRequest* request) { request->set_type(Block::kMultipartRequestBlock); },
      [](HttpRequest* request) { request->set_method("POST"); },
      [&](HttpRequest* request) { request->set_payload(&payload); },
      [](HttpRequest* request) { request->set_root_body(NewBody("body")); },
      [](HttpRequest* request) { request->SetConnectionProperty("n", "v"); },
      [](HttpRequest* request) { request->AddBodyPart(new BodyPart("x/y", NewBody("part"))); },
  };
  HttpRequest request("http:echo");
  std::string before = BlockOf(&request);
  for (const auto* end = std::begin(setters); end != std::end(setters); ++end) {
    (*end)(&request);
    HttpRequest fresh("http:echo");
    std::for_each(std::begin(setters), end + 1, [&](const auto& set) { set(&fresh); });
    const std::string after = BlockOf(&request);
    CHECK(after == BlockOf(&fresh));
    CHECK(after != std::exchange(before, after));
  }
}

TEST_CASE("an HTTP request takes as many headers and parts as can be counted; names are ASCII") {
  const std::string old_locale = uloc_getDefault();
  UErrorCode error = U_ZERO_ERROR;
  uloc_setDefault("tr", &error);
  const LogCapture log(common_base::kLogErrors);
  HttpRequest full("http:echo");
  std::string headers = "FF";
  for (int i = 0; i < 256; ++i) {
    full.SetConnectionProperty("I", "v");
    if (i < 255) headers += " 00 01 69 00 01 76";
  }
  CHECK(log.lines().size() == 1);
  full.SetConnectionProperty("CONTENT-TYPE", "a/b");
  CHECK(log.lines().size() == 2);
  CHECK(Written([&](DataOutputStream* out) { full.WriteHttpHeaders(out); }) == headers);
  uloc_setDefault(old_locale.c_str(), &error);

  HttpRequest request("u");
  for (int i = 0; i < 65536; ++i) request.AddBodyPart(new BodyPart("", NewBody("")));
  CHECK(log.lines().size() == 3);
  // The block, the method, the content type, no headers, no body; the count; each part.
  CHECK(BlockOf(&request).substr(87, 9) == "FF FF 00 ");
  CHECK(request.GetTotalLength() == 31 + 65535 * 11);
}

TEST_CASE("chunks are the bytes of the providers one after the other, wherever they are cut") {
  const Lines layouts[] = {{}, {"abc", "", "defgh", "i", "", "jk"}, {std::string(4096, 'a'), "b"}};
  for (const auto& layout : layouts) {
    std::string text;
    ChunkProviderList list;
    for (const std::string& part : layout) {
      text += part;
      list.Append(NewBody(part));
    }
    const std::unique_ptr<ChunkProviderInterface> clone(list.Clone());
    BufferChunkProvider buffer(ViewOf(text));
    ChunkProviderInterface* const providers[] = {&list, clone.get(), &buffer};
    for (ChunkProviderInterface* provider : providers) {
      CHECK(Written([&](DataOutputStream* out) { provider->WriteToStream(out); }) ==
            ToHex(ViewOf(text)));
      // Forwards, and now and then back.
      for (const unsigned offset : {0U, 1U, 3U, 2U, 4U, 8U, 9U, 5U, 10U, 11U, 12U, 13U, 7U, 6U}) {
        const std::string rest = text.substr(std::min<std::size_t>(offset, text.size()));
        for (int length = 0; length < 14; ++length) {
          CHECK(TextOf(provider->ReadByteChunk(static_cast<int>(offset), length)) ==
                rest.substr(0, static_cast<std::size_t>(length)));
        }
      }
      CHECK(TextOf(provider->ReadByteChunk(0, INT_MAX)) == text);
      CHECK(provider->ReadByteChunk(INT_MIN, INT_MAX).IsEmpty());
      CHECK(provider->ReadByteChunk(0, -1).IsEmpty());
    }
    CHECK(buffer.ReadByteChunk(-1, 5).IsEmpty());
  }
}
