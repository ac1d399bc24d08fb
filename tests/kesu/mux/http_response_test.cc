#include "kesu/mux/http_response.h"

#include <doctest/doctest.h>

#include "kesu/common/base/data_input_stream.h"
#include "kesu/common/base/scoped_ptr.h"

#include "support/bytes.h"

namespace {

using common_base::ByteVector;
using common_base::ByteView;
using common_base::DataInputStream;
using common_base::ScopedPtr;
using common_kesu::HttpResponse;
using common_kesu::NonMultipartResponse;
using kesu_test::Bytes;
using kesu_test::TextOf;

/// Id 5, status 201, no encodings, and then the payload.
constexpr char kBlockStart[] = "00 05 00 C9 00 00 00 00 00 00";

/// A reply block around a payload, and the HTTP response made of it.
struct Reply {
  explicit Reply(const char* payload) : bytes(Bytes(std::string(kBlockStart) + " " + payload)) {
    DataInputStream stream(&view);
    bool ok = false;
    block.Initialize(&stream, bytes.length(), &ok);
    REQUIRE(ok);
    response.reset(HttpResponse::NewHttpResponseFrom(&block));
  }

  ByteVector bytes;
  ByteView view = bytes;
  NonMultipartResponse block;
  ScopedPtr<HttpResponse> response;
};

TEST_CASE("an HTTP response is read, or refused") {
  const struct {
    const char* name;
    const char* payload;
    const char* body;  // Null: refused.
  } cases[] = {
      {"no headers, no body", "00", ""},
      {"no headers, the rest is the body", "00 68 69", "hi"},
      {"two headers and a body", "02 00 01 61 00 01 62 00 01 63 00 00 68 69", "hi"},
      {"empty payload", "", nullptr},
      {"header count too large", "02 00 01 61 00 01 62", nullptr},
      {"name cut short", "01 00 05 61", nullptr},
      {"value missing", "01 00 01 61", nullptr},
      {"text longer in bytes than in characters", "01 00 02 C3 A9 00 00 68 69", nullptr},
  };
  for (const auto& c : cases) {
    CAPTURE(c.name);
    const Reply reply(c.payload);
    CHECK(bool(reply.response) == (c.body != nullptr));
    if (!reply.response || c.body == nullptr) continue;
    const ScopedPtr<DataInputStream> stream(reply.response->GetInputStream());
    CHECK(TextOf(stream->ReadFully()) == c.body);
    CHECK(reply.response->ComputePayloadLength() == static_cast<int>(std::string(c.body).size()));
    CHECK(reply.response->id() == 5);
  }
}

TEST_CASE("header lookup is exact, and an empty value counts as absent") {
  const Reply reply("03 00 01 61 00 01 31 00 01 61 00 01 32 00 01 65 00 00");
  REQUIRE(reply.response);
  CHECK(TextOf(reply.response->ValueOfHeader("a")) == "1");
  CHECK(TextOf(reply.response->ValueOfHeader("A")).empty());
  CHECK(reply.response->HasHeader("a"));
  CHECK_FALSE(reply.response->HasHeader("e"));

  std::string all;
  const ScopedPtr<HeaderFieldIteratorInterface> header(reply.response->NewHeaderFieldIterator());
  for (; !header->AtEnd(); header->Next()) {
    all += TextOf(header->FieldName()) + "=" + TextOf(header->FieldValue()) + ";";
  }
  CHECK(all == "a=1;a=2;e=;");
}

TEST_CASE("the status of an HTTP response is that of its block") {
  const Reply reply("00");
  REQUIRE(reply.response);
  CHECK(reply.response->status_code() == 201);
  reply.response->set_status_code(404);
  CHECK(reply.response->source()->status_code() == 404);
}

}  // namespace
