#include "kesu/mux/protocol_reader.h"

#include <memory>
#include <string>
#include <vector>

#include <doctest/doctest.h>

#include "kesu/mux/non_multipart_response.h"

#include "support/bytes.h"
#include "support/log_capture.h"

using common_base::ByteVector;
using common_base::ByteView;
using common_base::DataInputStream;
using common_kesu::NonMultipartResponse;
using common_kesu::ProtocolReader;
using common_kesu::Response;
using kesu_test::Bytes;
using kesu_test::TextOf;
using kesu_test::ToHex;

namespace {

/// gzip (RFC 1952) of 4096 bytes "z" and then some: ten bytes of header and one stored block. The
/// decoder takes one buffer of 4096 bytes and no more, so what follows them is not looked at.
std::string GzipOfOneBuffer() {
  const std::string header("\x1F\x8B\x08\0\0\0\0\0\0\xFF", 10);
  const std::string stored_5000("\x01\x88\x13\x77\xEC", 5);
  return header + stored_5000 + std::string(5000, 'z');
}

/// gzip of "hi", from RFC 1951 and RFC 1952: stored, its CRC 0xD8932AAC.
std::string GzipOfHi() {
  return std::string("\x1F\x8B\x08\0\0\0\0\0\0\xFF\x01\x02\0\xFD\xFF", 15) + "hi" +
         std::string("\xAC\x2A\x93\xD8\x02\0\0\0", 8);
}

/// What the blocks of a reply yield: "id/status/payload" of a response, "skipped", and at last
/// "end" where the reader says so.
std::vector<std::string> ReadAll(const ByteView& bytes) {
  DataInputStream stream(&bytes);
  ProtocolReader reader(&stream);
  bool ok = true;
  reader.InitializeInput(&ok);
  if (!ok) return {"version " + std::to_string(reader.version())};
  std::vector<std::string> found;
  while (true) {
    const std::unique_ptr<Response> response(reader.ReadResponse(&ok));
    if (!ok) {
      CHECK(response == nullptr);
      found.push_back("end");
      return found;
    }
    if (response == nullptr) {
      found.push_back("skipped");
      continue;
    }
    const std::unique_ptr<DataInputStream> payload(response->GetInputStream());
    found.push_back(std::to_string(response->id()) + "/" + std::to_string(response->status_code()) +
                    "/" + TextOf(payload->ReadFully()));
  }
}

struct DecodedBlock {
  std::unique_ptr<NonMultipartResponse> response = std::make_unique<NonMultipartResponse>();
  std::string body;
  ByteView view;
  bool ok = false;
};

DecodedBlock Decode(const std::string& encodings, const std::string& payload) {
  DecodedBlock block;
  const auto length = static_cast<unsigned>(encodings.size());
  block.body = std::string("\0\7\0\xC8", 4) + static_cast<char>(length >> 8) +
               static_cast<char>(length) + encodings + "\xFF\xFF\xFF\xFE" + payload;
  block.view = kesu_test::ViewOf(block.body);
  DataInputStream stream(&block.view);
  block.response->Initialize(&stream, block.view.length(), &block.ok);
  return block;
}

}  // namespace

TEST_CASE("replies, good and malformed") {
  struct Row {
    std::string what;
    std::string bytes;
    std::vector<std::string> found;
  };
  const Row rows[] = {
      {"empty", "", {"version 0"}},
      {"half a version", "00", {"version 0"}},
      {"another version", "00 02 00 00 00 0A 81 00", {"version 2"}},
      {"the version the wrong way round", "01 00", {"version 256"}},
      {"only the version", "00 01", {"end"}},
      {"no payload", "00 01 00 00 00 0A 81 00 00 05 00 C8 00 00 00 00 00 00", {"5/200/", "end"}},
      {"negative id and status",
       "00 01 00 00 00 0B 81 00 FF FE FF FD 00 00 00 00 00 00 41",
       {"-2/-3/A", "end"}},
      {"encoding n",
       "00 01 00 00 00 0D 81 00 00 05 00 C8 00 01 6E 00 00 00 00 41 42",
       {"5/200/AB", "end"}},
      {"unknown types are skipped",
       "00 01 00 00 00 02 81 01 FF FF 00 00 00 00 00 00"
       "00 00 00 0B 81 00 00 05 00 C8 00 00 00 00 00 00 41 00 00 00 01 01 00 00",
       {"skipped", "skipped", "5/200/A", "skipped", "end"}},
      {"a negative length ends it",
       "00 01 FF FF FF FF 81 00 00 05 00 C8 00 00 00 00 00 00",
       {"end"}},
      {"the least length ends it", "00 01 80 00 00 00 01 01", {"end"}},
      {"a huge length ends it", "00 01 7F FF FF FF 81 00 00 05 00 C8 00 00 00 00 00 00", {"end"}},
      {"one byte short of its own fields",
       "00 01 00 00 00 09 81 00 00 05 00 C8 00 00 00 00 00 00",
       {"end"}},
      {"no body at all", "00 01 00 00 00 00 81 00 00 05 00 C8 00 00 00 00 00 00", {"end"}},
      {"encodings longer than the body",
       "00 01 00 00 00 0B 81 00 00 05 00 C8 FF FF 00 00 00 00 41",
       {"end"}},
      {"encodings reach into the value behind them",
       "00 01 00 00 00 0B 81 00 00 05 00 C8 00 02 6E 6E 00 00 00 41",
       {"end"}},
      {"unknown encoding ends it, good blocks before it count",
       "00 01 00 00 00 0B 81 00 00 05 00 C8 00 00 00 00 00 00 41"
       "00 00 00 0B 81 00 00 06 00 C8 00 01 78 00 00 00 00"
       "00 00 00 0B 81 00 00 07 00 C8 00 00 00 00 00 00 43",
       {"5/200/A", "end"}},
  };
  for (const Row& row : rows) {
    CAPTURE(row.what);
    const ByteVector bytes = Bytes(row.bytes);
    CHECK(ReadAll(bytes) == row.found);
  }
}

TEST_CASE("a reply that is cut short yields its whole blocks and no more") {
  const ByteVector bytes = Bytes(
      "00 01 00 00 00 0D 81 00 00 05 00 C8 00 01 6E 00 00 00 00 41 42"
      "00 00 00 03 00 01 01 02 03 00 00 00 0B 81 00 00 06 01 94 00 00 00 00 00 00 43");
  const std::vector<std::string> all = {"5/200/AB", "skipped", "6/404/C", "end"};
  CHECK(ReadAll(bytes) == all);
  for (int length = 0; length < bytes.length(); ++length) {
    CAPTURE(length);
    // A buffer of exactly this length, so that reading beyond it is noticed.
    const ByteView cut(common_base::kAllocateAndCopy, bytes.data(), length);
    const std::vector<std::string> found = ReadAll(cut);
    if (length < 2) {
      CHECK(found == std::vector<std::string>{"version 0"});
      continue;
    }
    const std::size_t whole = length < 21 ? 0 : length < 30 ? 1 : 2;
    std::vector<std::string> expected(all.begin(), all.begin() + static_cast<int>(whole));
    expected.push_back("end");
    CHECK(found == expected);
  }
}

TEST_CASE("a reader that was not initialised reads nothing") {
  const ByteVector bytes = Bytes("00 00 00 00 00 01");
  const ByteView view(bytes);
  DataInputStream stream(&view);
  ProtocolReader reader(&stream);
  bool ok = true;
  reader.AssertIsInitialized(&ok);
  CHECK_FALSE(ok);
  ok = true;
  CHECK(reader.ReadResponse(&ok) == nullptr);
  CHECK_FALSE(ok);
  CHECK(stream.position() == 0);
}

TEST_CASE("encodings are undone from the last to the first") {
  const std::string buffer(4096, 'z');
  struct Row {
    std::string encodings;
    std::string payload;
    bool ok;
    std::string decoded;
  };
  const Row rows[] = {
      {"", "AB", true, "AB"},
      {"n", "AB", true, "AB"},
      {"n", "", true, ""},
      {"n,n,n", "AB", true, "AB"},
      {"g", GzipOfOneBuffer(), true, buffer},
      {"g,n", GzipOfOneBuffer(), true, buffer},
      {"n,g", GzipOfOneBuffer(), true, buffer},
      // Ends within one call of the decoder, which then yields nothing, deliberately.
      {"g", GzipOfHi(), true, ""},
      {"g,g", GzipOfHi(), true, ""},
      {"g", "no gzip at all", false, ""},
      {"g,g", GzipOfOneBuffer(), false, ""},
      {",", "AB", false, ""},
      {"n,", "AB", false, ""},
      {",n", "AB", false, ""},
      {"n,,n", "AB", false, ""},
      {"x", "AB", false, ""},
      {"x,n", "AB", false, ""},
      {"N", "AB", false, ""},
      {"nn", "AB", false, ""},
      {" n", "AB", false, ""},
      {"\xFF", "AB", false, ""},
      {"\xF0\x9F\x8C\x8D,n", "AB", false, ""},
  };
  for (const Row& row : rows) {
    CAPTURE(row.encodings);
    const DecodedBlock block = Decode(row.encodings, row.payload);
    CHECK(block.ok == row.ok);
    CHECK(block.response->IsInitialized() == row.ok);
    if (!row.ok) continue;
    CHECK(TextOf(block.response->payload()) == row.decoded);
    CHECK(block.response->ComputePayloadLength() == static_cast<int>(row.decoded.size()));
    CHECK(TextOf(block.response->raw_payload()) == row.payload);
    CHECK(TextOf(block.response->encodings()) == row.encodings);
    CHECK(block.response->value_after_encodings() == -2);
    CHECK(block.response->body_length() == block.view.length());
    CHECK(block.response->id() == 7);
    CHECK(block.response->status_code() == 200);
  }
  CHECK_FALSE(Decode(std::string("n\0", 2), "AB").ok);
}

TEST_CASE("without encodings, and through any number of n, the payload is not copied") {
  std::string chain = "n";
  while (chain.size() < 65535) chain += ",n";
  REQUIRE(chain.size() == 65535);
  for (const std::string& encodings : {std::string(), chain}) {
    const DecodedBlock block = Decode(encodings, std::string(20000, 'p'));
    REQUIRE(block.ok);
    CHECK(block.response->payload().data() == block.response->raw_payload().data());
    CHECK(block.response->payload().length() == 20000);
  }
}

TEST_CASE("one decoding pass appends") {
  struct Row {
    const char* encoding;
    bool ok;
    const char* output;
  };
  for (const Row& row : {Row{"n", true, "01 41"}, Row{"x", false, "01"}, Row{"", false, "01"}}) {
    ByteVector output = Bytes("01");
    bool ok = !row.ok;
    NonMultipartResponse::DoSingleDecodingPass(kesu_test::ViewOf("A"), row.encoding, &output, &ok);
    CHECK(ok == row.ok);
    CHECK(ToHex(output) == row.output);
  }
}

TEST_CASE("debug lines tell the size of a decoded payload") {
  struct Row {
    std::string encodings;
    std::string payload;
    const char* line;
  };
  const Row rows[] = {
      {"", "", "  D: There is no kesu response payload"},
      {"g", GzipOfHi(), "  D: There is no kesu response payload"},
      {"", std::string(1024, 'p'), "  D: response body size is: [1024], the body follows"},
      {"", std::string(1025, 'p'),
       "  D: response body size is: [1025], which is large so only the first [1024] follow"},
      {"g", GzipOfOneBuffer(),
       "  D: response body size is: [4096], which is large so only the first [1024] follow"},
  };
  for (const Row& row : rows) {
    const kesu_test::LogCapture log(common_base::kLogDebug);
    CHECK(Decode(row.encodings, row.payload).ok);
    CHECK(log.lines() == std::vector<std::string>{row.line});
  }
  const kesu_test::LogCapture log(common_base::kLogDebug);
  CHECK_FALSE(Decode("x", "AB").ok);
  CHECK(log.lines().empty());
}

TEST_CASE("an error response has a status and nothing else") {
  const common_kesu::ErrorResponse response(70000, -3);
  CHECK(response.is_error());
  CHECK(response.id() == 4464);
  CHECK(response.status_code() == -3);
  CHECK(response.GetInputStream() == nullptr);
  CHECK(response.ComputePayloadLength() == 0);
  CHECK(response.http_request() == nullptr);
}
