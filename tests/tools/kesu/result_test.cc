#include "tools/kesu/result.h"

#include <string>
#include <vector>

#include <doctest/doctest.h>

#include "tools/kesu/output.h"

namespace {

using kesu_tool::Command;
using kesu_tool::Outcome;
using kesu_tool::Result;

TEST_CASE("failures, where no server of the tests can bring them about") {
  CHECK(kesu_tool::ClassifyFailure(0, 200) == Outcome::kFailed);
  std::vector<Result> results(2);
  results[0].outcome = Outcome::kMalformed;
  results[1].outcome = Outcome::kTimedOut;
  CHECK(kesu_tool::ExitStatus(results) == 4);
  results[0].outcome = Outcome::kFailed;
  CHECK(kesu_tool::ExitStatus(results) == 3);
}

TEST_CASE("what is printed of odd answers") {
  Result bare;
  bare.outcome = Outcome::kFound;
  bare.point = {-38.7154581, 9.25};
  Result nowhere;
  nowhere.outcome = Outcome::kNothingFound;
  nowhere.point = {0, -150};
  // What a server sends stays on its line and leaves the terminal alone.
  Result hostile = bare;
  hostile.address = "a\x1B[2J\nb\xC2\x9Bz\xFF \"";
  hostile.features = {"Lisbon", hostile.address};
  hostile.platform_key = hostile.address;
  const std::string json_text = R"("a\u001b[2J\nb)"
                                "\xC2\x9Bz\xEF\xBF\xBD"
                                R"( \"")";
  const std::string text = "a [2J b z\xEF\xBF\xBD \"";
  const std::string json_point = R"({"latitude":-38.7154581,"longitude":9.25,)";

  CHECK(FormatJson(Command::kLocate, bare) ==
        json_point + R"("accuracy_m":null,"platform_key":null})");
  CHECK(FormatText(Command::kLocate, bare) == "-38.71546, 9.25000");
  CHECK(FormatText(Command::kReverse, nowhere) == "0.00000, -150.00000: nothing found");
  CHECK(FormatJson(Command::kReverse, hostile) ==
        json_point + "\"address\":" + json_text + ",\"features\":[\"Lisbon\"," + json_text + "]}");
  CHECK(FormatText(Command::kReverse, hostile) == "-38.71546, 9.25000: " + text + "\n  Lisbon");
  CHECK(FormatText(Command::kLocate, hostile) == "-38.71546, 9.25000, platform key " + text);
}

}  // namespace
