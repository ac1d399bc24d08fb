#include "tools/kesu-server/fault.h"

#include <string>
#include <vector>

#include <doctest/doctest.h>

#include "tools/kesu-server/fault_effects.h"

namespace {

using kesu_server::Fault;
using kesu_server::ParseFault;
using kesu_server::ReplyContent;

Fault Parsed(const std::string& words) {
  std::string error;
  const std::optional<Fault> fault = ParseFault(words, &error);
  REQUIRE_MESSAGE(fault, words, ": ", error);
  CHECK(fault->words == words);
  return *fault;
}

TEST_CASE("faults as they are asked for") {
  const struct {
    std::string words;
    std::optional<int> uses;
    int number;
    const char* text;
  } cases[] = {
      {"status=502:2", 2, 502, ""},
      {"delay=3600000", {}, 3600000, ""},
      {"drop:1", 1, 0, ""},
      {"cut=2147483647", {}, 2147483647, ""},
      {"content-type=a=b:c", {}, 0, "a=b:c"},
      {"content-type=a:1", 1, 0, "a"},
      {"version=65535", {}, 65535, ""},
      {"redirect=http://127.0.0.1:8642/", {}, 0, "http://127.0.0.1:8642/"},
      {"redirect=https://[::1]:1/x?a=b:4", 4, 0, "https://[::1]:1/x?a=b"},
  };
  for (const auto& row : cases) {
    CAPTURE(row.words);
    const Fault fault = Parsed(row.words);
    CHECK(fault.uses_left == row.uses);
    CHECK(fault.number == row.number);
    CHECK(fault.text == row.text);
  }
}

TEST_CASE("faults that nobody can ask for") {
  const std::vector<std::string> cases = {
      "", "=", ":", "Drop", "slow=1",
      // A count that is none.
      "drop:", "drop:0", "drop:-1", "drop:1x", "drop:2147483648", "drop:1:2", "status:2=502",
      // A value where none is taken, and the other way round.
      "drop ", "drop=", "drop=1", "status", "status=", "status:1", "content-type", "redirect",
      // A number out of bounds, or none.
      "status=199", "status=600", "status=5e2", "delay=-1", "delay=3600001", "cut= 1",
      "version=65536", "omit=0",
      // A text that does not fit a header.
      "content-type=", "content-type=a\nb", "encoding=\xC3\xA4",
      "encoding=" + std::string(65536, 'x'),
      // No URL with a host and a path.
      "redirect=/path", "redirect=http://127.0.0.1:8642", "redirect=ftp://host/",
      "redirect=http:", "redirect=http:///", "redirect=http://host/a b"};
  for (const std::string& words : cases) {
    CAPTURE(words);
    std::string error;
    CHECK_FALSE(ParseFault(words, &error));
    CHECK_FALSE(error.empty());
  }
}

TEST_CASE("each POST uses up the first fault that has uses left") {
  kesu_server::FaultPlan plan;
  CHECK(plan.Next() == nullptr);
  for (const char* words : {"drop:2", "status=500:1"}) plan.Add(Parsed(words));
  for (const char* words : {"drop:2", "drop:2", "status=500:1"}) {
    const Fault* const fault = plan.Next();
    REQUIRE(fault != nullptr);
    CHECK(fault->words == words);
  }
  CHECK(plan.Next() == nullptr);
}

ReplyContent Spoiled(const char* words, ReplyContent content) {
  kesu_server::SpoilContent(Parsed(words), &content);
  return content;
}

TEST_CASE("every second answer is omitted") {
  const ReplyContent content =
      Spoiled("omit=2", {1, {{11, 200, ""}, {12, 200, ""}, {13, 200, ""}, {14, 200, ""}}});
  REQUIRE(content.blocks.size() == 2);
  CHECK(content.blocks[0].id == 11);
  CHECK(content.blocks[1].id == 13);
}

TEST_CASE("the encoding g is gzip, once for each time that it is listed") {
  const ReplyContent content = {1, {{1, 200, std::string(1000, 'P')}}};
  const ReplyContent once = Spoiled("encoding=g,x", content);
  CHECK(once.blocks[0].encodings == "g,x");
  const std::string& payload = once.blocks[0].payload;
  CHECK(payload.size() < 100);
  CHECK(payload.starts_with("\x1F\x8B\x08"));
  // The last four bytes are the length of what was compressed, least significant byte first.
  CHECK(payload.ends_with(std::string("\xE8\x03\0\0", 4)));
  CHECK(Spoiled("encoding=g,n,g", content).blocks[0].payload ==
        Spoiled("encoding=g", once).blocks[0].payload);
}

}  // namespace
