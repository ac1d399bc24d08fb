#include "kesu/mux/http_request.h"

#include <functional>

#include <doctest/doctest.h>

#include "support/bytes.h"

namespace {

using common_base::ByteVector;
using common_base::ByteView;
using common_base::DataOutputStream;
using common_base::ScopedPtr;
using common_kesu::Block;
using common_kesu::BodyPart;
using common_kesu::BufferChunkProvider;
using common_kesu::ChunkProviderInterface;
using common_kesu::HttpRequest;
using kesu_test::Bytes;
using kesu_test::TextOf;
using kesu_test::ToHex;
using kesu_test::ViewOf;

std::string Written(HttpRequest* request) {
  ByteVector bytes;
  DataOutputStream stream(&bytes);
  request->WriteHeader(&stream);
  request->WriteBody(&stream);
  return ToHex(bytes);
}

std::string Chunked(HttpRequest* request) {
  const ScopedPtr<ChunkProviderInterface> chunks(request->AsChunkProvider());
  ByteVector bytes;
  DataOutputStream stream(&bytes);
  chunks->WriteToStream(&stream);
  return ToHex(bytes);
}

ChunkProviderInterface* NewBody(const char* text) {
  return new BufferChunkProvider(ViewOf(text));
}

void AddTwoParts(HttpRequest* request) {
  auto* known = new BodyPart("text/xml;q=1", NewBody("AB"));
  known->set_content_id("c1");
  known->AddProperty("p", "v");
  request->AddBodyPart(known);
  request->AddBodyPart(new BodyPart("x/y", NewBody("")));
}

struct Case {
  const char* name;
  std::function<void(HttpRequest*)> fill;
  const char* bytes;
};

const Case kCases[] = {
    {"no headers", [](HttpRequest*) {},
     "00 00 00 1D 01 00"
     "00 07 00 09 68 74 74 70 3A 65 63 68 6F 00 01"
     "00 00 00 0A"
     "00 03 47 45 54 00 00 00 00 00"},
    {"headers only, the content type not sent",
     [](HttpRequest* request) {
       request->set_method("PUT");
       request->SetConnectionProperty("Accept", "A/b");
       request->SetConnectionProperty("accept", "c");
       request->SetConnectionProperty("Content-TYPE", "text/xml");
     },
     "00 00 00 35 01 00"
     "00 07 00 09 68 74 74 70 3A 65 63 68 6F 00 01"
     "00 00 00 22"
     "00 03 50 55 54"
     "02 00 06 61 63 63 65 70 74 00 03 41 2F 62 00 06 61 63 63 65 70 74 00 01 63"
     "00 00 00 00"},
    {"root body", [](HttpRequest* request) { request->set_root_body(NewBody("hi")); },
     "00 00 00 1F 01 00"
     "00 07 00 09 68 74 74 70 3A 65 63 68 6F 00 01"
     "00 00 00 0C"
     "00 03 47 45 54 00 00 00 00 02"
     "68 69"},
    {"two body parts, of a known and an unknown type", AddTwoParts,
     "00 00 00 49 01 01"
     "00 07 00 09 68 74 74 70 3A 65 63 68 6F 00 01"
     "00 03 47 45 54 6D 72 00 00 00 00 00 00 00 00 00"
     "00 02"
     "74 78 00 03 71 3D 31 00 02 63 31 01 00 01 70 00 01 76 00 00 00 02 00 00 41 42"
     "00 00 00 03 78 2F 79 00 00 00 00 00 00 00"},
    {"body parts, root body, content type",
     [](HttpRequest* request) {
       request->SetConnectionProperty("content-type", "multipart/related;b=1");
       request->SetConnectionProperty("a", "b");
       request->set_root_body(NewBody("hi"));
       request->AddBodyPart(new BodyPart("image/jpeg", NewBody("J")));
     },
     "00 00 00 61 01 01"
     "00 07 00 09 68 74 74 70 3A 65 63 68 6F 00 01"
     "00 03 47 45 54 6D 72 00 03 62 3D 31 00 00"
     "02 00 0C 43 6F 6E 74 65 6E 74 2D 54 79 70 65"
     "00 15 6D 75 6C 74 69 70 61 72 74 2F 72 65 6C 61 74 65 64 3B 62 3D 31"
     "00 01 61 00 01 62"
     "00 00 00 02 00 00"
     "68 69"
     "00 01"
     "69 6A 00 00 00 00 00 00 00 00 01 00 00 4A"},
    {"multipart block type without body parts, with a content type",
     [](HttpRequest* request) {
       request->set_type(Block::kMultipartRequestBlock);
       request->SetConnectionProperty("Content-Type", "x");
     },
     "00 00 00 2E 01 01"
     "00 07 00 09 68 74 74 70 3A 65 63 68 6F 00 01"
     "00 00 00 1B"
     "00 03 47 45 54 01 00 0C 43 6F 6E 74 65 6E 74 2D 54 79 70 65 00 01 78 00 00 00 00"},
};

TEST_CASE("an HTTP request block, byte for byte") {
  for (const Case& c : kCases) {
    CAPTURE(c.name);
    HttpRequest request("http:echo");
    request.set_id(7);
    c.fill(&request);
    const std::string expected = ToHex(Bytes(c.bytes));
    CHECK(Written(&request) == expected);
    CHECK(Chunked(&request) == expected);
    CHECK(request.GetTotalLength() == Bytes(c.bytes).length());
  }
}

TEST_CASE("every setter of an HTTP request reaches what was written before") {
  const std::function<void(HttpRequest*)> setters[] = {
      [](HttpRequest* request) { request->set_id(8); },
      [](HttpRequest* request) { request->set_type(Block::kMultipartRequestBlock); },
      [](HttpRequest* request) { request->set_method("POST"); },
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
}

TEST_CASE("a payload is the root body of an HTTP request") {
  const ByteVector bytes = Bytes("68 69");
  const ByteView view(bytes);
  HttpRequest made_with("http:echo", &view);
  HttpRequest made_without("http:echo");
  made_without.set_payload(&view);
  HttpRequest expected("http:echo", NewBody("hi"));
  CHECK(Written(&made_with) == Written(&expected));
  CHECK(Written(&made_without) == Written(&expected));
}

TEST_CASE("an HTTP request takes no more headers than it can count") {
  HttpRequest request("http:echo");
  for (int i = 0; i < 300; ++i) request.SetConnectionProperty("n", "v");
  ByteVector bytes;
  DataOutputStream stream(&bytes);
  request.WriteHttpHeaders(&stream);
  CHECK(bytes[0] == 254);
  CHECK(bytes.length() == 1 + 254 * 6);
}

}  // namespace
