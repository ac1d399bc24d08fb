#include "server/inspect/body_json.h"

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <doctest/doctest.h>
#include <nlohmann/json.hpp>

#include "support/bytes.h"

namespace {

using Json = nlohmann::json;

Json Show(const std::string& bytes, bool is_post) {
  return Json::parse(kesu_server::BodyJson({bytes, bytes.size(), "application/binary"}, is_post),
                     nullptr, false);
}

/// Yields how many nodes there are, each within the one that it is inside.
std::size_t CheckRanges(const Json& nodes, std::size_t from, std::size_t to) {
  std::size_t count = 0;
  for (const Json& node : nodes) {
    const auto node_from = node["from"].get<std::size_t>();
    const auto node_to = node["to"].get<std::size_t>();
    CHECK(from <= node_from);
    CHECK(node_from <= node_to);
    CHECK(node_to <= to);
    count += 1 + CheckRanges(node["children"], node_from, node_to);
  }
  return count;
}

TEST_CASE("the bytes of each node are among those of the node around it, wherever they are cut") {
  int bodies = 0;
  for (const auto& entry : std::filesystem::directory_iterator(KESU_DECODE)) {
    if (entry.path().extension() != ".txt") continue;
    std::ifstream file(entry.path());
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    const auto bytes = kesu_test::Bytes(text.substr(0, text.find("\n\n")));
    const std::string body(bytes.begin(), bytes.end());
    // Not the captures.
    if (!body.starts_with(std::string{0, 1})) continue;
    ++bodies;
    for (std::size_t length = 0; length <= body.size(); ++length) {
      for (const bool is_post : {true, false}) {
        const Json json = Show(body.substr(0, length), is_post);
        REQUIRE(json.is_object());
        CheckRanges(json["tree"], 0, length);
      }
    }
  }
  CHECK(bodies > 3);
}

TEST_CASE("what a node says, of a text that is none too") {
  // A header block, and request 7 to g:loc/ql: a platform profile whose version is FF 3C.
  const auto bytes = kesu_test::Bytes(
      "00 01  00 00 00 0D 00 01  00 01 61  00 00 00 00 00 00 00 00  00 00"
      "  00 00 00 18 01 00  00 07  00 08 67 3A 6C 6F 63 2F 71 6C  00 01"
      "  00 00 00 06  0A 04 0A 02 FF 3C");
  const Json tree = Show({bytes.begin(), bytes.end()}, true)["tree"];
  REQUIRE(tree.size() == 3);
  CHECK(tree[2] == Json::parse(R"({
    "name": "request block", "value": null, "from": 21, "to": 51, "children": [
      {"name": "id", "value": "7", "from": 27, "to": 29, "children": []},
      {"name": "service", "value": "g:loc/ql", "from": 29, "to": 39, "children": []},
      {"name": "service version", "value": "1", "from": 39, "to": 41, "children": []},
      {"name": "payload", "message": "GLocRequest", "value": null, "from": 45, "to": 51,
       "children": [
        {"name": "platformprofile", "number": 1, "message": "GPlatformProfile", "value": null,
         "from": 45, "to": 51, "children": [
          {"name": "version", "number": 1, "value": "\ufffd<", "from": 47, "to": 51,
           "children": []}]}]}]})"));
}

TEST_CASE("a body of a great many fields is shown in part, and says so") {
  std::string body = {0, 1};
  // A reply of 200,000 statuses: a block of 10 bytes and 2 for each.
  const std::size_t fields = 200'000;
  body += std::string("\0\x06\x1A\x8A\x81\0\0\7\0\xC8\0\0\0\0\0\0", 16);
  for (std::size_t i = 0; i < fields; ++i) body += "\x08\x01";
  const Json json = Show(body, false);
  CHECK(CheckRanges(json["tree"], 0, body.size()) == 20'000);
  CHECK(json["error"] == "only the first 20000 fields are shown");
}

}  // namespace
