// Replies are read: blocks, encodings, and HTTP responses inside them.
#include <memory>
#include <string>
#include <vector>

#include <doctest/doctest.h>

#include "kesu/mux/http_response.h"
#include "kesu/mux/protocol_reader.h"

#include "support/bytes.h"
#include "support/log_capture.h"

using common_base::ByteVector;
using common_base::ByteView;
using common_base::DataInputStream;
using common_kesu::HttpResponse;
using common_kesu::NonMultipartResponse;
using kesu_test::Bytes;
using kesu_test::TextOf;

namespace {

/// "id/status/payload " of each response, "skipped ", and at last "end" where the reader says so.
std::string ReadAll(const ByteView& bytes) {
  DataInputStream stream(&bytes);
  common_kesu::ProtocolReader reader(&stream);
  bool ok = true;
  CHECK(reader.ReadResponse(&ok) == nullptr);
  CHECK_FALSE(ok);
  reader.InitializeInput(&ok);
  if (!ok) return "version " + std::to_string(reader.version());
  std::string found;
  while (true) {
    const std::unique_ptr<common_kesu::Response> response(reader.ReadResponse(&ok));
    if (!ok) return found + (response == nullptr ? "end" : "end with a response");
    if (response == nullptr) {
      found += "skipped ";
      continue;
    }
    const std::unique_ptr<DataInputStream> payload(response->GetInputStream());
    found += std::to_string(response->id()) + "/" + std::to_string(response->status_code()) + "/" +
             TextOf(payload->ReadFully()) + " ";
  }
}

/// A block that is taken apart.
struct Decoded {
  Decoded(const std::string& encodings, const std::string& payload)
      : body(std::string("\0\7\0\xC8", 4) + static_cast<char>(encodings.size() >> 8) +
             static_cast<char>(encodings.size()) + encodings + "\xFF\xFF\xFF\xFE" + payload) {
    DataInputStream stream(&view);
    response.Initialize(&stream, view.length(), &ok);
  }

  std::string body;
  ByteView view = kesu_test::ViewOf(body);
  NonMultipartResponse response;
  bool ok = false;
};

}  // namespace

TEST_CASE("replies, good and malformed") {
  struct Row {
    const char* bytes;
    std::string found;
  };
  const Row rows[] = {
      {"00", "version 0"},
      {"00 02 00 00 00 0A 81 00", "version 2"},
      {"00 01 00 00 00 0B 81 00 FF FE FF FD 00 00 00 00 00 00 41", "-2/-3/A end"},
      // Lengths that lie: -1, the least, the greatest, one byte short, none, and encodings that
      // reach beyond the body or into the value behind them.
      {"00 01 FF FF FF FF 81 00 00 05 00 C8 00 00 00 00 00 00", "end"},
      {"00 01 80 00 00 00 01 01", "end"},
      {"00 01 7F FF FF FF 81 00 00 05 00 C8 00 00 00 00 00 00", "end"},
      {"00 01 00 00 00 09 81 00 00 05 00 C8 00 00 00 00 00 00", "end"},
      {"00 01 00 00 00 00 81 00 00 05 00 C8 00 00 00 00 00 00", "end"},
      {"00 01 00 00 00 0B 81 00 00 05 00 C8 FF FF 00 00 00 00 41", "end"},
      {"00 01 00 00 00 0B 81 00 00 05 00 C8 00 02 6E 6E 00 00 00 41", "end"},
      // An unknown encoding ends it; good blocks before it count.
      {"00 01 00 00 00 0B 81 00 00 05 00 C8 00 00 00 00 00 00 41 "
       "00 00 00 0B 81 00 00 06 00 C8 00 01 78 00 00 00 00 "
       "00 00 00 0B 81 00 00 07 00 C8 00 00 00 00 00 00 43",
       "5/200/A end"},
  };
  for (const Row& row : rows) {
    CAPTURE(row.bytes);
    CHECK(ReadAll(Bytes(row.bytes)) == row.found);
  }
}

TEST_CASE("a reply that is cut short yields its whole blocks and no more") {
  const ByteVector bytes = Bytes(
      "00 01 00 00 00 0D 81 00 00 05 00 C8 00 01 6E 00 00 00 00 41 42 "
      "00 00 00 03 81 01 01 02 03 00 00 00 0B 81 00 00 06 01 94 00 00 00 00 00 00 43");
  CHECK(ReadAll(bytes) == "5/200/AB skipped 6/404/C end");
  for (int length = 2; length < bytes.length(); ++length) {
    CAPTURE(length);
    // A buffer of exactly this length, so that reading beyond it is noticed.
    const ByteView cut(common_base::kAllocateAndCopy, bytes.data(), length);
    CHECK(ReadAll(cut) == (length < 21   ? "end"
                           : length < 30 ? "5/200/AB end"
                                         : "5/200/AB skipped end"));
  }
}

TEST_CASE("encodings are undone from the last to the first") {
  // gzip (RFC 1952) in stored blocks (RFC 1951). The decoder takes one buffer of 4096 bytes and no
  // more; what ends within one call of it yields nothing. Both are deliberate.
  const std::string header("\x1F\x8B\x08\0\0\0\0\0\0\xFF\x01", 11);
  const std::string gzip_of_5000 = header + "\x88\x13\x77\xEC" + std::string(5000, 'z');
  const std::string gzip_of_hi =
      header + std::string("\2\0\xFD\xFFhi\xAC\x2A\x93\xD8\x02\0\0\0", 14);
  const std::string buffer(4096, 'z');
  struct Row {
    std::string encodings;
    std::string payload;
    bool ok;
    std::string decoded;
  };
  const Row rows[] = {
      {"", "AB", true, "AB"},
      {"n,n,n", "AB", true, "AB"},
      {"g", gzip_of_5000, true, buffer},
      {"g,n", gzip_of_5000, true, buffer},
      {"n,g", gzip_of_5000, true, buffer},
      {"g", gzip_of_hi, true, ""},
      {"g", "no gzip at all", false, ""},
      {"g,g", gzip_of_5000, false, ""},
      {"n,", "AB", false, ""},
      {",n", "AB", false, ""},
      {"x,n", "AB", false, ""},
      {"N", "AB", false, ""},
      {"\xFF", "AB", false, ""},
      {std::string("n\0", 2), "AB", false, ""},
  };
  for (const Row& row : rows) {
    CAPTURE(row.encodings);
    const Decoded block(row.encodings, row.payload);
    CHECK(block.ok == row.ok);
    CHECK(block.response.IsInitialized() == row.ok);
    if (!row.ok) continue;
    CHECK(TextOf(block.response.payload()) == row.decoded);
    CHECK(block.response.ComputePayloadLength() == static_cast<int>(row.decoded.size()));
    CHECK(block.response.value_after_encodings() == -2);
  }
  std::string chain = "n";
  while (chain.size() < 65535) chain += ",n";
  const kesu_test::LogCapture log(common_base::kLogDebug);
  const Decoded long_chain(chain, std::string(1025, 'p'));
  // Not copied, let alone once for each.
  CHECK(long_chain.response.payload().data() == long_chain.response.raw_payload().data());
  CHECK(Decoded("", std::string(1024, 'p')).ok);
  CHECK(log.lines() ==
        std::vector<std::string>{
            "  D: response body size is: [1025], which is large so only the first [1024] follow",
            "  D: response body size is: [1024], the body follows"});
}

TEST_CASE("an HTTP response is read, or refused") {
  struct Row {
    const char* payload;
    bool ok;
    std::string headers;
    std::string body;
  };
  const Row rows[] = {
      {"00", true, "", ""},
      {"00 68 69", true, "", "hi"},
      {"03 00 01 61 00 01 31 00 01 61 00 01 32 00 01 65 00 00 68", true, "a=1;a=2;e=;", "h"},
      {"", false, "", ""},
      {"02 00 01 61 00 01 62", false, "", ""},
      {"01 00 05 61", false, "", ""},
      // Longer in bytes than in characters.
      {"01 00 02 C3 A9 00 00 68 69", false, "", ""},
  };
  for (const Row& row : rows) {
    CAPTURE(row.payload);
    Decoded block("", TextOf(Bytes(row.payload)));
    const std::unique_ptr<HttpResponse> response(
        HttpResponse::NewHttpResponseFrom(&block.response));
    CHECK((response != nullptr) == row.ok);
    if (response == nullptr) continue;
    const std::unique_ptr<DataInputStream> stream(response->GetInputStream());
    CHECK(TextOf(stream->ReadFully()) == row.body);
    CHECK(response->ComputePayloadLength() == static_cast<int>(row.body.size()));
    CHECK(response->id() == 7);
    CHECK(response->status_code() == 200);
    const std::unique_ptr<HeaderFieldIteratorInterface> header(response->NewHeaderFieldIterator());
    std::string headers;
    for (; !header->AtEnd(); header->Next()) {
      headers += TextOf(header->FieldName()) + "=" + TextOf(header->FieldValue()) + ";";
    }
    CHECK(headers == row.headers);
    // The first of the name counts, exactly as it is written; an empty value is as none.
    CHECK(TextOf(response->ValueOfHeader("a")) == (headers.empty() ? "" : "1"));
    CHECK(response->HasHeader("a") == !headers.empty());
    CHECK_FALSE(response->HasHeader("A"));
    CHECK_FALSE(response->HasHeader("e"));
  }
}
