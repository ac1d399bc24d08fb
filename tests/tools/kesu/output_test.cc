#include "tools/kesu/output.h"

#include <doctest/doctest.h>

namespace {

using kesu_tool::Command;
using kesu_tool::FormatJson;
using kesu_tool::FormatText;
using kesu_tool::Outcome;
using kesu_tool::Result;

Result Failed(Outcome outcome, int status, int http_status) {
  Result result;
  result.outcome = outcome;
  result.status = status;
  result.http_status = http_status;
  result.point = {1.5, -2};
  return result;
}

Result Located() {
  Result result;
  result.outcome = Outcome::kFound;
  result.point = {-38.7154581, 9.25};
  result.accuracy_m = 16;
  result.platform_key = "key 1";
  return result;
}

Result Named() {
  Result result;
  result.outcome = Outcome::kFound;
  result.point = {38.71, -9.14};
  result.address = "Lisbon, \"Portugal\"";
  result.features = {"Lisbon", "Lisbon, \"Portugal\""};
  return result;
}

TEST_CASE("what locate prints") {
  Result bare = Located();
  bare.accuracy_m.reset();
  bare.platform_key.clear();
  Result nothing;
  nothing.outcome = Outcome::kNothingFound;
  nothing.platform_key = "key 1";
  const struct {
    Result result;
    const char* json = nullptr;
    const char* text = nullptr;
  } cases[] = {
      {Located(),
       R"({"latitude":-38.7154581,"longitude":9.25,"accuracy_m":16,"platform_key":"key 1"})",
       "-38.71546, 9.25000, within 16 m, platform key key 1"},
      {bare, R"({"latitude":-38.7154581,"longitude":9.25,"accuracy_m":null,"platform_key":null})",
       "-38.71546, 9.25000"},
      {nothing, R"({"latitude":null,"longitude":null,"accuracy_m":null,"platform_key":"key 1"})",
       "nothing found"},
      {Failed(Outcome::kTimedOut, 0, 0),
       R"({"error":{"kind":"timeout","status":0,"message":"no answer in time"}})",
       "no answer in time"},
      {Failed(Outcome::kMalformed, 2, 200),
       R"({"error":{"kind":"malformed","status":2,"message":"the reply is malformed"}})",
       "the reply is malformed"},
      {Failed(Outcome::kFailed, 0, 0),
       R"({"error":{"kind":"failure","status":0,"message":"the service cannot be reached"}})",
       "the service cannot be reached"},
      {Failed(Outcome::kFailed, -3, 502),
       R"({"error":{"kind":"failure","status":-3,)"
       R"("message":"the service answered with HTTP status 502"}})",
       "the service answered with HTTP status 502"},
      {Failed(Outcome::kFailed, 400, 200),
       R"({"error":{"kind":"failure","status":400,)"
       R"("message":"the service refused with status 400"}})",
       "the service refused with status 400"},
  };
  for (const auto& [result, json, text] : cases) {
    CHECK(FormatJson(Command::kLocate, result) == json);
    CHECK(FormatText(Command::kLocate, result) == text);
  }
}

TEST_CASE("what reverse prints") {
  Result nothing;
  nothing.outcome = Outcome::kNothingFound;
  nothing.point = {0, -150};
  const struct {
    Result result;
    const char* json = nullptr;
    const char* text = nullptr;
  } cases[] = {
      {Named(),
       R"({"latitude":38.71,"longitude":-9.14,"address":"Lisbon, \"Portugal\"",)"
       R"("features":["Lisbon","Lisbon, \"Portugal\""]})",
       "38.71000, -9.14000: Lisbon, \"Portugal\"\n  Lisbon"},
      {nothing, R"({"latitude":0.0,"longitude":-150.0,"address":null,"features":[]})",
       "0.00000, -150.00000: nothing found"},
      {Failed(Outcome::kTimedOut, 0, 0),
       R"({"latitude":1.5,"longitude":-2.0,)"
       R"("error":{"kind":"timeout","status":0,"message":"no answer in time"}})",
       "1.50000, -2.00000: no answer in time"},
  };
  for (const auto& [result, json, text] : cases) {
    CHECK(FormatJson(Command::kReverse, result) == json);
    CHECK(FormatText(Command::kReverse, result) == text);
  }
}

TEST_CASE("what a server sends stays on its line and leaves the terminal alone") {
  Result result = Named();
  result.address = "a\x1B[2J\nb\xC2\x9Bz\xFF";
  result.features = {};
  CHECK(FormatText(Command::kReverse, result) == "38.71000, -9.14000: a [2J b z\xEF\xBF\xBD");
  CHECK(FormatJson(Command::kReverse, result) ==
        "{\"latitude\":38.71,\"longitude\":-9.14,"
        "\"address\":\"a\\u001b[2J\\nb\xC2\x9Bz\xEF\xBF\xBD\",\"features\":[]}");
}

}  // namespace
