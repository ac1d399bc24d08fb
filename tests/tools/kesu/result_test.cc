#include "tools/kesu/result.h"

#include <vector>

#include <doctest/doctest.h>

#include "tools/kesu/output.h"

namespace {

using kesu_tool::Command;
using kesu_tool::Outcome;
using kesu_tool::Result;

/// The exit status of a run with results of these outcomes.
int ExitStatusOf(const std::vector<Outcome>& outcomes) {
  std::vector<Result> results;
  for (const Outcome outcome : outcomes) results.emplace_back().outcome = outcome;
  return kesu_tool::ExitStatus(results);
}

TEST_CASE("failures, where no server of the tests can bring them about") {
  CHECK(kesu_tool::ClassifyFailure(0, 200) == Outcome::kFailed);
  CHECK(ExitStatusOf({Outcome::kMalformed, Outcome::kTimedOut}) == 4);
  CHECK(ExitStatusOf({Outcome::kTimedOut, Outcome::kFailed}) == 3);
}

TEST_CASE("what is printed") {
  Result located;
  located.outcome = Outcome::kFound;
  located.point = {-38.7154581, 9.25};
  Result with_all = located;
  with_all.accuracy_m = 16;
  with_all.platform_key = "key 1";
  Result nowhere;
  nowhere.outcome = Outcome::kNothingFound;
  nowhere.point = {0, -150};
  // What a server sends stays on its line and leaves the terminal alone.
  Result hostile = located;
  hostile.address = "a\x1B[2J\nb\xC2\x9Bz\xFF \"";
  hostile.features = {"Lisbon", hostile.address};
  const struct {
    Command command;
    Result result;
    const char* json = nullptr;
    const char* text = nullptr;
  } cases[] = {
      {Command::kLocate, with_all,
       R"({"latitude":-38.7154581,"longitude":9.25,"accuracy_m":16,"platform_key":"key 1"})",
       "-38.71546, 9.25000, within 16 m, platform key key 1"},
      {Command::kLocate, located,
       R"({"latitude":-38.7154581,"longitude":9.25,"accuracy_m":null,"platform_key":null})",
       "-38.71546, 9.25000"},
      {Command::kReverse, nowhere,
       R"({"latitude":0.0,"longitude":-150.0,"address":null,"features":[]})",
       "0.00000, -150.00000: nothing found"},
      {Command::kReverse, hostile,
       "{\"latitude\":-38.7154581,\"longitude\":9.25,"
       "\"address\":\"a\\u001b[2J\\nb\xC2\x9Bz\xEF\xBF\xBD \\\"\","
       "\"features\":[\"Lisbon\",\"a\\u001b[2J\\nb\xC2\x9Bz\xEF\xBF\xBD \\\"\"]}",
       "-38.71546, 9.25000: a [2J b z\xEF\xBF\xBD \"\n  Lisbon"},
  };
  for (const auto& [command, result, json, text] : cases) {
    CHECK(FormatJson(command, result) == json);
    CHECK(FormatText(command, result) == text);
  }
}

}  // namespace
