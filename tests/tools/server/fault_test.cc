#include "tools/kesu-server/fault.h"

#include <optional>
#include <string>

#include <doctest/doctest.h>

#include "support/bytes.h"
#include "tools/kesu-server/fault_effects.h"

namespace {

using kesu_server::Delivery;
using kesu_server::Fault;
using kesu_server::FaultKind;
using kesu_server::FaultPlan;
using kesu_server::ParseFault;
using kesu_server::Reply;
using kesu_server::ReplyContent;
using kesu_test::Bytes;
using kesu_test::ToHex;
using kesu_test::ViewOf;

Fault Parsed(const char* words) {
  std::string error;
  const std::optional<Fault> fault = ParseFault(words, &error);
  REQUIRE_MESSAGE(fault, words, ": ", error);
  return *fault;
}

TEST_CASE("faults as they are asked for") {
  struct Case {
    const char* words;
    FaultKind kind;
    std::optional<int> uses;
    int number;
    const char* text;
  };
  constexpr Case kCases[] = {
      {"status=502", FaultKind::kStatus, std::nullopt, 502, ""},
      {"status=502:2", FaultKind::kStatus, 2, 502, ""},
      {"delay=0", FaultKind::kDelay, std::nullopt, 0, ""},
      {"drop", FaultKind::kDrop, std::nullopt, 0, ""},
      {"drop:1", FaultKind::kDrop, 1, 0, ""},
      {"cut=2147483647", FaultKind::kCut, std::nullopt, 2147483647, ""},
      {"chunked:3", FaultKind::kChunked, 3, 0, ""},
      {"content-type=a=b:c", FaultKind::kContentType, std::nullopt, 0, "a=b:c"},
      {"content-type=a:1", FaultKind::kContentType, 1, 0, "a"},
      {"version=65535", FaultKind::kVersion, std::nullopt, 65535, ""},
      {"garbage", FaultKind::kGarbage, std::nullopt, 0, ""},
      {"omit=1", FaultKind::kOmit, std::nullopt, 1, ""},
      {"encoding=g,n", FaultKind::kEncoding, std::nullopt, 0, "g,n"},
      {"redirect=http://127.0.0.1:8642/", FaultKind::kRedirect, std::nullopt, 0,
       "http://127.0.0.1:8642/"},
      {"redirect=https://[::1]:1/x?a=b:4", FaultKind::kRedirect, 4, 0, "https://[::1]:1/x?a=b"},
  };
  for (const Case& c : kCases) {
    CAPTURE(c.words);
    const Fault fault = Parsed(c.words);
    CHECK(fault.kind == c.kind);
    CHECK(fault.uses_left == c.uses);
    CHECK(fault.number == c.number);
    CHECK(fault.text == c.text);
    CHECK(fault.words == c.words);
  }
}

TEST_CASE("faults that nobody can ask for") {
  constexpr const char* kCases[] = {
      "",
      "=",
      ":",
      "Drop",
      "slow=1",
      "drop ",
      "drop=",
      "drop=1",
      "drop:",
      "drop:0",
      "drop:-1",
      "drop:1x",
      "drop:2147483648",
      "drop:1:2",
      "status",
      "status=",
      "status:1",
      "status=199",
      "status=600",
      "status=5e2",
      "status:2=502",
      "delay=-1",
      "delay=3600001",
      "cut= 1",
      "version=65536",
      "omit=0",
      "content-type",
      "content-type=",
      "content-type=a\nb",
      "encoding=\xC3\xA4",
      "redirect",
      "redirect=/path",
      "redirect=http://127.0.0.1:8642",
      "redirect=ftp://host/",
      "redirect=http:",
      "redirect=http://",
      "redirect=http://host/a b",
  };
  for (const char* words : kCases) {
    CAPTURE(words);
    std::string error;
    CHECK_FALSE(ParseFault(words, &error));
    CHECK_FALSE(error.empty());
  }
  std::string error;
  CHECK_FALSE(ParseFault(std::string("encoding=").append(65536, 'x'), &error));
}

TEST_CASE("each POST uses up the first fault that has uses left") {
  FaultPlan plan;
  CHECK(plan.Next() == nullptr);
  for (const char* words : {"drop:2", "status=500:1", "garbage", "chunked:1"}) {
    plan.Add(Parsed(words));
  }
  // The third never runs out, so that the fourth never has its turn.
  for (const char* words : {"drop:2", "drop:2", "status=500:1", "garbage", "garbage"}) {
    const Fault* const fault = plan.Next();
    REQUIRE(fault != nullptr);
    CHECK(fault->words == words);
  }
  FaultPlan finite;
  finite.Add(Parsed("drop:1"));
  CHECK(finite.Next() != nullptr);
  CHECK(finite.Next() == nullptr);
}

TEST_CASE("what faults do to the answers") {
  struct Case {
    const char* words;
    const char* body;
  };
  // Version 1; per block its length, 81 00, the id, status 200, the encodings, four zeros, "P".
  constexpr Case kCases[] = {
      {"drop",
       "00 01 00 00 00 0B 81 00 00 01 00 C8 00 00 00 00 00 00 50"
       "      00 00 00 0B 81 00 00 02 00 C8 00 00 00 00 00 00 50"
       "      00 00 00 0B 81 00 00 03 00 C8 00 00 00 00 00 00 50"},
      {"version=513",
       "02 01 00 00 00 0B 81 00 00 01 00 C8 00 00 00 00 00 00 50"
       "      00 00 00 0B 81 00 00 02 00 C8 00 00 00 00 00 00 50"
       "      00 00 00 0B 81 00 00 03 00 C8 00 00 00 00 00 00 50"},
      {"omit=2",
       "00 01 00 00 00 0B 81 00 00 01 00 C8 00 00 00 00 00 00 50"
       "      00 00 00 0B 81 00 00 03 00 C8 00 00 00 00 00 00 50"},
      {"omit=1", "00 01"},
      {"encoding=,n",
       "00 01 00 00 00 0D 81 00 00 01 00 C8 00 02 2C 6E 00 00 00 00 50"
       "      00 00 00 0D 81 00 00 02 00 C8 00 02 2C 6E 00 00 00 00 50"
       "      00 00 00 0D 81 00 00 03 00 C8 00 02 2C 6E 00 00 00 00 50"},
  };
  for (const Case& c : kCases) {
    CAPTURE(c.words);
    ReplyContent content{1, {{1, 200, "P"}, {2, 200, "P"}, {3, 200, "P"}}};
    kesu_server::SpoilContent(Parsed(c.words), &content);
    CHECK(ToHex(ViewOf(kesu_server::WriteReplyBody(content))) == ToHex(Bytes(c.body)));
  }
}

TEST_CASE("the encoding g is gzip, once for each time that it is listed") {
  ReplyContent content{1, {{1, 200, std::string(1000, 'P')}}};
  kesu_server::SpoilContent(Parsed("encoding=g,x"), &content);
  const std::string once = content.blocks[0].payload;
  CHECK(once.size() < 100);
  CHECK(once.substr(0, 3) == "\x1F\x8B\x08");
  // The last four bytes are the length of what was compressed, least significant byte first.
  CHECK(once.substr(once.size() - 4) == std::string("\xE8\x03\0\0", 4));
  CHECK(content.blocks[0].encodings == "g,x");

  content = {1, {{1, 200, once}}};
  kesu_server::SpoilContent(Parsed("encoding=g"), &content);
  const std::string twice = content.blocks[0].payload;
  content = {1, {{1, 200, std::string(1000, 'P')}}};
  kesu_server::SpoilContent(Parsed("encoding=g,n,g"), &content);
  CHECK(content.blocks[0].payload == twice);
}

TEST_CASE("what faults do to the reply") {
  const auto spoiled = [](const char* words) {
    Reply reply = kesu_server::MakeReply(200, "application/binary", "12345678");
    kesu_server::SpoilReply(Parsed(words), &reply);
    CHECK(reply.fault == words);
    return reply;
  };
  CHECK(spoiled("version=2").body == "12345678");
  CHECK(spoiled("status=404").status == 404);
  CHECK(spoiled("status=204").body.empty());
  CHECK(spoiled("delay=7").delay_ms == 7);
  CHECK(spoiled("drop").delivery == Delivery::kNone);
  CHECK(spoiled("cut=3").delivery == Delivery::kCut);
  CHECK(spoiled("cut=3").sent_body_bytes == 3);
  CHECK(spoiled("cut=3").body.size() == 8);
  CHECK(spoiled("chunked").delivery == Delivery::kChunked);
  CHECK(spoiled("chunked").headers ==
        kesu_server::HttpHeaders{{"Content-Type", "application/binary"}});
  CHECK(spoiled("content-type=a/b").headers ==
        kesu_server::HttpHeaders{{"Content-Length", "8"}, {"Content-Type", "a/b"}});
  const Reply garbage = spoiled("garbage");
  CHECK(garbage.body.size() == 8);
  CHECK(garbage.body != "12345678");
  CHECK(garbage.body == spoiled("garbage").body);
  const Reply redirect = spoiled("redirect=http://h/");
  CHECK(redirect.status == 302);
  CHECK(redirect.headers.back() == std::pair<std::string, std::string>("Location", "http://h/"));
}

}  // namespace
