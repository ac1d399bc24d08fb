// Request blocks, byte for byte, and the chunks that they are read in.
#include <algorithm>
#include <climits>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <doctest/doctest.h>

#include "kesu/mux/http_request.h"

#include "support/bytes.h"

using common_base::DataOutputStream;
using common_kesu::Block;
using common_kesu::BodyPart;
using common_kesu::BufferChunkProvider;
using common_kesu::ChunkProviderInterface;
using common_kesu::HttpRequest;
using common_kesu::PlainRequest;
using common_kesu::Request;
using kesu_test::TextOf;
using kesu_test::ViewOf;

namespace {

template <typename Write>
std::string Written(Write write) {
  common_base::ByteVector bytes;
  DataOutputStream stream(&bytes);
  write(&stream);
  return kesu_test::ToHex(bytes);
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
  CHECK(request->GetTotalLength() == kesu_test::Bytes(block).length());
  return block;
}

ChunkProviderInterface* NewBody(std::string_view text) {
  return new BufferChunkProvider(ViewOf(text));
}

}  // namespace

TEST_CASE("the length and the chunks of a plain request stay until they are reset") {
  const common_base::ByteView two = ViewOf("AB");
  PlainRequest request("\xC3\xA9", common_kesu::ServiceVersion(-1), &two);
  request.set_id(-2);
  const std::string block = "00 00 00 0E 01 00 FF FE 00 02 C3 A9 FF FF 00 00 00 02 41 42";
  CHECK(BlockOf(&request) == block);
  request.set_payload(nullptr);
  CHECK(Chunked(&request) == block);
  request.ResetChunkBuffer();
  request.set_body_length(Block::kBodyLengthUnknown);
  CHECK(BlockOf(&request) == "00 00 00 0C 01 00 FF FE 00 02 C3 A9 FF FF 00 00 00 00");
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
    CHECK(BlockOf(&request) == row.block);
  }
}

TEST_CASE("every setter of an HTTP request reaches what was written before") {
  const common_base::ByteView payload = ViewOf("hi");
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
  for (const auto& set : setters) {
    set(&request);
    const std::string after = BlockOf(&request);
    CHECK(after != before);
    before = after;
  }
  // As many headers as their count can tell.
  HttpRequest full("http:echo");
  std::string headers = "FF";
  for (int i = 0; i < 300; ++i) {
    full.SetConnectionProperty("n", "v");
    if (i < 255) headers += " 00 01 6E 00 01 76";
  }
  CHECK(Written([&](DataOutputStream* out) { full.WriteHttpHeaders(out); }) == headers);
}

TEST_CASE("chunks are the bytes of the providers one after the other, wherever they are cut") {
  const std::vector<std::string> layouts[] = {
      {}, {"abc", "", "defgh", "i", "", "jk"}, {std::string(4096, 'a'), "b"}};
  for (const auto& layout : layouts) {
    std::string text;
    common_kesu::ChunkProviderList list;
    for (const std::string& part : layout) {
      text += part;
      list.Append(NewBody(part));
    }
    const std::unique_ptr<ChunkProviderInterface> clone(list.Clone());
    BufferChunkProvider buffer(ViewOf(text));
    ChunkProviderInterface* const providers[] = {&list, clone.get(), &buffer};
    for (ChunkProviderInterface* provider : providers) {
      CHECK(Written([&](DataOutputStream* out) { provider->WriteToStream(out); }) ==
            kesu_test::ToHex(ViewOf(text)));
      for (std::size_t offset = 0; offset < 14; ++offset) {
        const std::string rest = text.substr(std::min(offset, text.size()));
        for (int length = 0; length < 14; ++length) {
          CHECK(TextOf(provider->ReadByteChunk(static_cast<int>(offset), length)) ==
                rest.substr(0, static_cast<std::size_t>(length)));
        }
      }
      CHECK(TextOf(provider->ReadByteChunk(0, INT_MAX)) == text);
      CHECK(provider->ReadByteChunk(INT_MIN, INT_MAX).IsEmpty());
      CHECK(provider->ReadByteChunk(0, -1).IsEmpty());
    }
  }
}
