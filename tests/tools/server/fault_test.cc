#include "tools/kesu-server/fault.h"

#include <string>
#include <vector>

#include <doctest/doctest.h>

namespace {

using kesu_server::ParseFault;

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
    std::string error;
    const std::optional<kesu_server::Fault> fault = ParseFault(row.words, &error);
    REQUIRE_MESSAGE(fault, error);
    CHECK(fault->words == row.words);
    CHECK(fault->uses_left == row.uses);
    CHECK(fault->number == row.number);
    CHECK(fault->text == row.text);
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

}  // namespace
