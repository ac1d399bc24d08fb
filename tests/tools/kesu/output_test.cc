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

TEST_CASE("what is printed") {
  Result bare = Located();
  bare.accuracy_m.reset();
  bare.platform_key.clear();
  Result nothing;
  nothing.outcome = Outcome::kNothingFound;
  nothing.platform_key = "key 1";
  Result nowhere = nothing;
  nowhere.point = {0, -150};
  Result named;
  named.outcome = Outcome::kFound;
  named.point = {38.71, -9.14};
  named.address = "Lisbon, \"Portugal\"";
  named.features = {"Lisbon", "Lisbon, \"Portugal\""};
  // What a server sends stays on its line and leaves the terminal alone.
  Result hostile = named;
  hostile.address = "a\x1B[2J\nb\xC2\x9Bz\xFF";
  hostile.features = {};
  const struct {
    Command command;
    Result result;
    const char* json = nullptr;
    const char* text = nullptr;
  } cases[] = {
      {Command::kLocate, Located(),
       R"({"latitude":-38.7154581,"longitude":9.25,"accuracy_m":16,"platform_key":"key 1"})",
       "-38.71546, 9.25000, within 16 m, platform key key 1"},
      {Command::kLocate, bare,
       R"({"latitude":-38.7154581,"longitude":9.25,"accuracy_m":null,"platform_key":null})",
       "-38.71546, 9.25000"},
      {Command::kLocate, nothing,
       R"({"latitude":null,"longitude":null,"accuracy_m":null,"platform_key":"key 1"})",
       "nothing found"},
      {Command::kLocate, Failed(Outcome::kFailed, -3, 502),
       R"({"error":{"kind":"failure","status":-3,)"
       R"("message":"the service answered with HTTP status 502"}})",
       "the service answered with HTTP status 502"},
      {Command::kReverse, named,
       R"({"latitude":38.71,"longitude":-9.14,"address":"Lisbon, \"Portugal\"",)"
       R"("features":["Lisbon","Lisbon, \"Portugal\""]})",
       "38.71000, -9.14000: Lisbon, \"Portugal\"\n  Lisbon"},
      {Command::kReverse, nowhere,
       R"({"latitude":0.0,"longitude":-150.0,"address":null,"features":[]})",
       "0.00000, -150.00000: nothing found"},
      {Command::kReverse, Failed(Outcome::kTimedOut, 0, 0),
       R"({"latitude":1.5,"longitude":-2.0,)"
       R"("error":{"kind":"timeout","status":0,"message":"no answer in time"}})",
       "1.50000, -2.00000: no answer in time"},
      {Command::kReverse, hostile,
       "{\"latitude\":38.71,\"longitude\":-9.14,"
       "\"address\":\"a\\u001b[2J\\nb\xC2\x9Bz\xEF\xBF\xBD\",\"features\":[]}",
       "38.71000, -9.14000: a [2J b z\xEF\xBF\xBD"},
  };
  for (const auto& [command, result, json, text] : cases) {
    CHECK(FormatJson(command, result) == json);
    CHECK(FormatText(command, result) == text);
  }
}

}  // namespace
