#include "tools/kesu/body_decoder.h"

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>

#include <doctest/doctest.h>
#include <nlohmann/json.hpp>

#include "support/bytes.h"
#include "tools/kesu/json_tree_writer.h"
#include "tools/kesu/text_tree_writer.h"

namespace {

using common_base::ByteVector;
using common_base::ByteView;
using kesu_test::Bytes;
using kesu_tool::BodyDecoder;
using kesu_tool::Fault;
using kesu_tool::JsonTreeWriter;
using kesu_tool::TextTreeWriter;

struct Decoded {
  std::string output;
  std::optional<Fault> fault;
};

template <typename Writer>
Decoded DecodeWith(const ByteView& body) {
  char* text = nullptr;
  std::size_t length = 0;
  std::FILE* const out = open_memstream(&text, &length);
  Writer writer(out);
  Decoded decoded;
  decoded.fault = BodyDecoder(&writer).Decode(body);
  std::fclose(out);
  decoded.output.assign(text, length);
  std::free(text);
  return decoded;
}

/// The two worked examples of docs/protocol.md.
constexpr char kPost[] =
    "00 01 00 00 00 25 00 01 00 19 64 65 6D 6F 2C 31 2E 30 2C 6C 69 6E 75 78 2C 64 6F 63 73 2C "
    "65 6E 5F 55 53 00 00 00 00 00 00 00 00 00 00 "
    "00 00 00 2C 01 00 00 00 00 08 67 3A 6C 6F 63 2F 71 6C 00 01 00 00 00 1A "
    "22 18 0A 16 0A 14 08 01 10 01 18 01 20 E9 07 28 B9 FF FF FF FF FF FF FF FF 01";
constexpr char kReply[] =
    "00 01 00 00 00 24 81 00 00 00 00 C8 00 00 00 00 00 00 "
    "08 00 12 11 12 0F 0A 0A 0D CB B1 13 17 15 2B 5D 8E FA 18 96 01 1A 03 6B 65 79";

constexpr char kPostTree[] = R"(       0  POST, 95 bytes
       0    protocol version: 1
       2    header block, type 0x0001, 37 bytes
       8      client version: "demo,1.0,linux,docs,en_US"
      35      cookie: 0
      43      configuration: ""
      45    request block, type 0x0100, 44 bytes
      51      id: 0
      53      service: "g:loc/ql"
      63      service version: 1
      69      payload, 26 bytes: GLocRequest
      69        4 requestelements, 24 bytes: GLocRequestElement
      71          1 cellularprofile, 22 bytes: GCellularProfile
      73            1 primarycell, 20 bytes: GCell
      75              1 mcc: 1
      77              2 mnc: 1
      79              3 area_code: 1
      81              4 cell_id: 1001
      84              5 signal_strength_dbm: -71
)";
constexpr char kReplyJson[] =
    R"({"offset":0,"name":"reply","length":44,"protocol_version":1,"blocks":[)"
    R"({"offset":2,"name":"reply block","type":33024,"length":36,"id":0,"status":200,)"
    R"("encodings":"","value_after_encodings":0,)"
    R"("payload":{"offset":18,"length":26,"message":"GLocReply","fields":[)"
    R"({"offset":18,"number":1,"name":"status","value":0},)"
    R"({"offset":20,"number":2,"name":"replyelements","length":17,"message":"GLocReplyElement",)"
    R"("fields":[{"offset":22,"number":2,"name":"location","length":15,"message":"GLocation",)"
    R"("fields":[{"offset":24,"number":1,"name":"latlng","length":10,"message":"GLatLng",)"
    R"("fields":[{"offset":26,"number":1,"name":"latitude_e7","value":387166667},)"
    R"({"offset":31,"number":2,"name":"longitude_e7","value":-91333333}]},)"
    R"({"offset":36,"number":3,"name":"accuracy_m","value":150}]}]},)"
    R"({"offset":39,"number":3,"name":"platform_key","value":"key"}]}}]})"
    "\n";

TEST_CASE("the worked examples") {
  const Decoded post = DecodeWith<TextTreeWriter>(Bytes(kPost));
  CHECK(post.output == kPostTree);
  CHECK_FALSE(post.fault);
  const Decoded reply = DecodeWith<JsonTreeWriter>(Bytes(kReply));
  CHECK(reply.output == kReplyJson);
  CHECK_FALSE(reply.fault);
}

TEST_CASE("wherever a body is cut and whatever byte is wrong, the JSON is sound") {
  const struct {
    const char* body;
    /// The one place, besides behind the version and at the end, where a body may end.
    int valid_end;
  } cases[] = {{kPost, 45}, {kReply, 2}};
  constexpr unsigned char kWrongBytes[] = {0, 1, 3, 4, 7, 0x7F, 0x80, 0xFF};
  for (const auto& row : cases) {
    ByteVector body = Bytes(row.body);
    for (int i = 0; i < body.length(); ++i) {
      CAPTURE(i);
      const ByteView cut(common_base::kReferenceExistingBuffer, body.data(), i);
      const bool is_valid = i == 2 || i == row.valid_end;
      CHECK(DecodeWith<TextTreeWriter>(cut).fault.has_value() != is_valid);
      const auto parsed =
          nlohmann::json::parse(DecodeWith<JsonTreeWriter>(cut).output, nullptr, false);
      CHECK(parsed.is_object());
      CHECK(parsed.contains("error") != is_valid);

      const unsigned char right = body[i];
      for (const unsigned char wrong : kWrongBytes) {
        CAPTURE(wrong);
        body[i] = wrong;
        const Decoded decoded = DecodeWith<JsonTreeWriter>(body);
        CHECK(nlohmann::json::accept(decoded.output));
        if (decoded.fault) CHECK(decoded.fault->offset <= static_cast<std::size_t>(body.length()));
      }
      body[i] = right;
    }
  }
}

/// A POST to g:loc/ql with a payload, which begins at 44.
std::string Request(const std::string& payload) {
  const std::size_t length = Bytes(payload).length();
  char start[200];
  std::snprintf(start, sizeof start,
                "00 01 00 00 00 0C 00 01 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 %02zX 01 00 "
                "00 00 00 08 67 3A 6C 6F 63 2F 71 6C 00 01 00 00 00 %02zX ",
                18 + length, length);
  return start + payload;
}

/// A reply with the status 200 and, at 10, the rest of the block; its first two bytes are the
/// length of the encodings.
std::string Reply(const std::string& rest) {
  char start[100];
  std::snprintf(start, sizeof start, "00 01 00 00 00 %02X 81 00 00 00 00 C8 ",
                4 + Bytes(rest).length());
  return start + rest;
}

TEST_CASE("bodies and what their tree says") {
  const std::string version_and_header =
      "00 01 00 00 00 0C 00 01 00 00 00 00 00 00 00 00 00 00 00 00 ";
  const struct {
    std::string what;
    std::string body;
    const char* said;
    /// The start of "OFFSET: REASON"; empty for none.
    const char* fault;
  } cases[] = {
      {"unknown fields", Request("48 96 01 4D FF FF FF FF 49 01 00 00 00 00 00 00 00 4A 01 AB"),
       "      44        9 unknown, wire type 0: 150\n"
       "      47        9 unknown, wire type 5: -1\n"
       "      52        9 unknown, wire type 1: 1\n"
       "      61        9 unknown, wire type 2, 1 bytes\n"
       "      63          AB\n",
       ""},
      {"an unknown group with another inside", Request("4B 53 08 01 54 4C 22 00"),
       "      44        9 unknown, wire type 3, 5 bytes\n"
       "      45          53 08 01 54 4C\n"
       "      50        4 requestelements, 0 bytes: GLocRequestElement\n",
       ""},
      {"a known field of another wire type is read as declared", Request("20 00"),
       "44        4 requestelements, wire type 0, 0 bytes: GLocRequestElement\n", ""},
      {"an end of a group ends the message", Request("4C 01 02"),
       "      44        9 end of group, 2 bytes (these bytes are ignored)\n"
       "      45          01 02\n",
       ""},
      {"a field number of more than 16 bits is cut", Request("A0 80 A0 80 02 01"),
       "4 requestelements, wire type 0, 1 bytes:", "44: field 4 requestelements: the length is 1"},
      {"a wire type that means nothing", Request("48 01 4E"), "9 unknown, wire type 0: 1\n",
       "46: field 9 has the wire type 6"},
      {"a varint without its end", Request("48 80"), "", "44: field 9 is cut short"},
      {"a negative length", Request("4A FF FF FF FF FF FF FF FF FF 01"),
       "9 unknown, wire type 2, -1 bytes\n", "44: field 9: the length is -1"},
      {"a nested message past its end", Request("22 02 0A 7F 48 01"),
       "46          1 cellularprofile, 127 bytes: GCellularProfile\n",
       "46: field 1 cellularprofile: the length is 127"},
      {"half a number inside an unknown group", Request("4B 4D 01"),
       "9 unknown, wire type 3, 2 bytes\n      45          4D 01\n", "44: field 9 is cut short"},
      {"another version", "00 02 00 00", "protocol version: 2", "0: the protocol version is 2"},
      {"an unknown block in a reply", "00 01 00 00 00 02 82 00 AA BB",
       "unknown block, type 0x8200, 2 bytes\n       8      AA BB\n", ""},
      {"a block of negative length", "00 01 FF FF FF FF 81 00", "-1 bytes",
       "2: reply block: the length is -1"},
      {"a block too short for its fields", Reply(""), "status: 200",
       "12: encodings: 2 bytes wanted, 0 left"},
      {"a header block with more than its fields",
       "00 01 00 00 00 0D 00 01 00 00 00 00 00 00 00 00 00 00 00 00 FF", "cookie: 0",
       "20: header block: 1 bytes more"},
      {"a request of another service",
       version_and_header + "00 00 00 0C 01 00 00 07 00 01 78 00 01 00 00 00 01 08",
       "payload, 1 bytes\n      37        08\n", ""},
      {"a reply that is no location reply", Reply("00 00 00 00 00 00 73 08 01"),
       "(no GLocReply: at 18, field 14 has no end)", ""},
      {"a location reply with a group that has one", Reply("00 00 00 00 00 00 73 08 01 74"),
       "payload, 4 bytes: GLocReply\n", ""},
      // "hello" in a window of 256 bytes; what the inflater's last call yields is dropped.
      {"a deflated payload", Reply("00 01 67 00 00 00 00 08 1D CB 48 CD C9 C9 07 00 06 2C 02 15"),
       "payload, 13 bytes, decoded to 0 bytes: GLocReply", ""},
      {"a deflated payload with a window that the library does not take",
       Reply("00 01 67 00 00 00 00 78 9C CB 48 CD C9 C9 07 00 06 2C 02 15"), "payload, 13 bytes\n",
       "14: the encodings cannot be undone"},
      {"a payload passed through", Reply("00 03 6E 2C 6E 00 00 00 00 08 01"),
       "payload, 2 bytes, decoded to 2 bytes: GLocReply (offsets inside are those of the decoded "
       "bytes)\n       0        1 status: 1\n",
       ""},
      {"text that would move the cursor, end a string or is no UTF-8",
       "00 01 00 00 00 12 00 01 00 06 1B 22 C2 9B FF 5C 00 00 00 00 00 00 00 00 00 00",
       R"("\u{1B}\"\u{9B}�\\")", ""},
  };
  for (const auto& row : cases) {
    CAPTURE(row.what);
    const Decoded decoded = DecodeWith<TextTreeWriter>(Bytes(row.body));
    CHECK_MESSAGE(decoded.output.find(row.said) != std::string::npos, decoded.output);
    const std::string fault =
        decoded.fault ? std::to_string(decoded.fault->offset) + ": " + decoded.fault->reason : "";
    CHECK_MESSAGE(fault.starts_with(row.fault), fault);
    CHECK(decoded.fault.has_value() == !std::string(row.fault).empty());
    CHECK(nlohmann::json::accept(DecodeWith<JsonTreeWriter>(Bytes(row.body)).output));
  }
}

TEST_CASE("a megabyte of starts of groups") {
  constexpr int kCount = 1 << 20;
  ByteVector body = Bytes(
      "00 01 00 00 00 0C 00 01 00 00 00 00 00 00 00 00 00 00 00 00 "
      "00 10 00 12 01 00 00 00 00 08 67 3A 6C 6F 63 2F 71 6C 00 01 00 10 00 00");
  for (int i = 0; i < kCount; ++i) body.Append(0x4B);
  const Decoded decoded = DecodeWith<JsonTreeWriter>(body);
  CHECK_FALSE(decoded.fault);
  CHECK(decoded.output.find("\"wire_type\":3,\"length\":1048575") != std::string::npos);
}

}  // namespace
