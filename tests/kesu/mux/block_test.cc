// Request blocks, byte for byte, and the chunks that they are read in.
#include <algorithm>
#include <climits>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <doctest/doctest.h>

#include "kesu/mux/header_request.h"
#include "kesu/mux/http_request.h"
#include "kesu/mux/mux_fixture.h"

using common_base::ByteVector;
using common_base::ByteView;
using common_base::DataOutputStream;
using common_kesu::Block;
using common_kesu::BodyPart;
using common_kesu::BufferChunkProvider;
using common_kesu::ChunkProviderInterface;
using common_kesu::ChunkProviderList;
using common_kesu::HttpRequest;
using common_kesu::PlainRequest;
using common_kesu::Request;
using kesu_test::Bytes;
using kesu_test::TextOf;
using kesu_test::ToHex;
using kesu_test::ViewOf;

namespace {

std::string Written(Request* request) {
  ByteVector bytes;
  DataOutputStream stream(&bytes);
  request->WriteHeader(&stream);
  request->WriteBody(&stream);
  return ToHex(bytes);
}

std::string Chunked(Request* request) {
  const std::unique_ptr<ChunkProviderInterface> chunks(request->AsChunkProvider());
  ByteVector bytes;
  DataOutputStream stream(&bytes);
  chunks->WriteToStream(&stream);
  return ToHex(bytes);
}

ChunkProviderInterface* NewBody(std::string_view text) {
  return new BufferChunkProvider(ViewOf(text));
}

void CheckBlock(Request* request, std::string_view bytes) {
  CHECK(Written(request) == bytes);
  CHECK(Chunked(request) == bytes);
  CHECK(request->GetTotalLength() == Bytes(bytes).length());
}

}  // namespace

TEST_CASE("the blocks of plain requests and the header, as far as no whole POST shows them") {
  const ByteView two = ViewOf("AB");
  const ByteView none;
  PlainRequest request("\xC3\xA9", common_kesu::ServiceVersion(-1), &two);
  request.set_id(-2);
  CheckBlock(&request, "00 00 00 0E 01 00 FF FE 00 02 C3 A9 FF FF 00 00 00 02 41 42");
  // Its length and chunks stay until they are reset.
  request.set_payload(&none);
  CHECK(Chunked(&request) == "00 00 00 0E 01 00 FF FE 00 02 C3 A9 FF FF 00 00 00 02 41 42");
  request.ResetChunkBuffer();
  request.set_body_length(Block::kBodyLengthUnknown);
  CheckBlock(&request, "00 00 00 0C 01 00 FF FE 00 02 C3 A9 FF FF 00 00 00 00");
  const common_kesu::MuxConfig empty;
  common_kesu::HeaderRequest header(empty);
  CheckBlock(&header, "00 01 00 00 00 10 00 01 00 04 2C 2C 2C 2C 00 00 00 00 00 00 00 00 00 00");
}

TEST_CASE("the longest retry time-out doubles without wrapping around") {
  PlainRequest request("u", common_kesu::ServiceVersion::kVersion1);
  request.set_retry_timeout(LLONG_MAX);
  CHECK(request.GetRetryTimeout() == LLONG_MAX);
  CHECK(request.GetRetryTimeout() == LLONG_MAX - 1);
}

TEST_CASE("the block of an HTTP request") {
  struct Row {
    std::function<void(HttpRequest*)> fill;
    const char* bytes;
  };
  const Row rows[] = {
      // The content type is not sent without a body.
      {[](HttpRequest* request) {
         request->set_method("PUT");
         request->SetConnectionProperty("Accept", "A/b");
         request->SetConnectionProperty("accept", "c");
         request->SetConnectionProperty("Content-TYPE", "text/xml");
       },
       "00 00 00 35 01 00 00 07 00 09 68 74 74 70 3A 65 63 68 6F 00 01 "
       "00 00 00 22 00 03 50 55 54 "
       "02 00 06 61 63 63 65 70 74 00 03 41 2F 62 00 06 61 63 63 65 70 74 00 01 63 "
       "00 00 00 00"},
      {[](HttpRequest* request) {
         auto* known = new BodyPart("text/xml;q=1", NewBody("AB"));
         known->set_content_id("c1");
         known->AddProperty("p", "v");
         request->AddBodyPart(known);
         request->AddBodyPart(new BodyPart("x/y", NewBody("")));
       },
       "00 00 00 49 01 01 00 07 00 09 68 74 74 70 3A 65 63 68 6F 00 01 "
       "00 03 47 45 54 6D 72 00 00 00 00 00 00 00 00 00 "
       "00 02 "
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
       "00 15 6D 75 6C 74 69 70 61 72 74 2F 72 65 6C 61 74 65 64 3B 62 3D 31 "
       "00 01 61 00 01 62 "
       "00 00 00 02 00 00 68 69 "
       "00 01 69 6A 00 00 00 00 00 00 00 00 01 00 00 4A"},
  };
  for (const Row& row : rows) {
    HttpRequest request("http:echo");
    request.set_id(7);
    row.fill(&request);
    CheckBlock(&request, row.bytes);
  }
}

TEST_CASE("every setter of an HTTP request reaches what was written before") {
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
  std::string before = Chunked(&request);
  for (const auto& set : setters) {
    set(&request);
    const std::string after = Chunked(&request);
    CHECK(after != before);
    CHECK(after == Written(&request));
    before = after;
  }
  HttpRequest full("http:echo");
  for (int i = 0; i < 300; ++i) full.SetConnectionProperty("n", "v");
  ByteVector bytes;
  DataOutputStream stream(&bytes);
  full.WriteHttpHeaders(&stream);
  CHECK(bytes[0] == 254);
  CHECK(bytes.length() == 1 + 254 * 6);
}

TEST_CASE("chunks are the bytes of the providers one after the other, wherever they are cut") {
  const std::vector<std::string> layouts[] = {
      {}, {""}, {"abc"}, {"abc", "", "defgh", "i", "", "jk"}, {std::string(4096, 'a'), "b"}};
  for (const auto& layout : layouts) {
    std::string text;
    ChunkProviderList list;
    for (const std::string& part : layout) {
      text += part;
      list.Append(NewBody(part));
    }
    const auto total = static_cast<int>(text.size());
    const std::unique_ptr<ChunkProviderInterface> clone(list.Clone());
    BufferChunkProvider buffer(ViewOf(text));
    ChunkProviderInterface* const providers[] = {&list, clone.get(), &buffer};
    for (ChunkProviderInterface* provider : providers) {
      CHECK(provider->GetTotalDataLength() == total);
      ByteVector bytes;
      DataOutputStream stream(&bytes);
      provider->WriteToStream(&stream);
      CHECK(TextOf(bytes) == text);
      for (int i = 0; i < 14 * 14; ++i) {
        const int offset = std::min(i / 14, total);
        CHECK(TextOf(provider->ReadByteChunk(i / 14, i % 14)) ==
              text.substr(static_cast<std::size_t>(offset), static_cast<std::size_t>(i % 14)));
      }
      CHECK(TextOf(provider->ReadByteChunk(0, 2147483647)) == text);
      CHECK(provider->ReadByteChunk(-2147483647 - 1, 2147483647).IsEmpty());
      CHECK(provider->ReadByteChunk(0, -1).IsEmpty());
    }
  }
}
