#include "kesu/common/base/logging.h"

#include <climits>
#include <string>
#include <vector>

#include <doctest/doctest.h>

#include "kesu/common/base/assertions.h"

#include "support/bytes.h"
#include "support/log_capture.h"

using kesu_test::Bytes;
using kesu_test::LogCapture;
using kesu_test::TextOf;
using Lines = std::vector<std::string>;

namespace {

Lines& PlatformLines() {
  static Lines lines;
  return lines;
}

}  // namespace

namespace common_base {

// The platform sink of this test program, in place of the library's.
void LogInternal(const GString& line) {
  PlatformLines().push_back(TextOf(line));
}

}  // namespace common_base

using namespace common_base;

TEST_CASE("each level lets the lines below it through, with their prefixes") {
  CHECK(notify_level == kLogNothing);
  const std::string report =
      "!!E: tests/kesu/common/base/logging_test:7: GWASSERT failed: c.level == 77";
  struct {
    LogLevel level;
    Lines lines;
  } const kCases[] = {
      {0, {}},
      {1, {report}},
      {2, {"**W: x=5", report}},
      {3, {"* I: x=5", "**W: x=5", report}},
      {INT_MAX, {"  D: x=5", "* I: x=5", "**W: x=5", report}},
  };
  for (const auto& c : kCases) {
    CAPTURE(c.level);
    const LogCapture log(c.level);
    PlatformLines().clear();
    LogDebug("x=%d", 5);
    LogInfo("x=%d", 5);
    LogWarn("x=%d", 5);
    GWASSERT_AT(7, c.level == 77);
    CHECK(log.lines() == c.lines);
    CHECK(PlatformLines() == c.lines);
  }
}

TEST_CASE("the forms without a test of the level") {
  const LogCapture log(0);
  CHECK((LogDebugInternal("%s", "a") && LogInfoInternal("b") && LogWarnInternal("c\n")));
  CHECK(log.lines() == Lines{"  D: a", "* I: b", "**W: c\r\n"});
}

TEST_CASE("assertions evaluate once and name the line and the condition as written") {
  const LogCapture log(kLogErrors);
  int evaluated = 0;
  GWASSERT(++evaluated == 1);
  GWEXPECT(++evaluated == 2);
  CHECK(log.lines().empty());
  const std::string here = "!!E: tests/kesu/common/base/logging_test:";
  const int line = __LINE__ + 1;
  GWASSERT(++evaluated > INT_MAX - 1);
  GWEXPECT_AT(9, ++evaluated == '"');
  CHECK(log.lines() ==
        Lines{here + std::to_string(line) + ": GWASSERT failed: ++evaluated > INT_MAX - 1",
              here + "9: GWEXPECT failed: ++evaluated == '\"'"});
  CHECK(evaluated == 4);
}

TEST_CASE("LogDebugByteBuffer dumps to the platform sink only") {
  struct {
    const char *bytes, *count;
    Lines rows;
  } const kCases[] = {
      {"", "0", {}},
      {"41 00 7F", "3", {" 41 00 7f | A  "}},
      {"1F 20 7E 80 FF 25 64", "7", {" 1f 20 7e 80 ff 25 64 |   ~  %d"}},
      {"30 31 32 33 34 35 36 37 38 39 3A 3B 3C 3D 3E 3F 40",
       "17",
       {" 30 31 32 33 34 35 36 37 38 39 3a 3b 3c 3d 3e 3f | 0123456789:;<=>?", " 40 | @"}},
  };
  const std::string rule(28, '-');
  for (const auto& c : kCases) {
    const LogCapture log(kLogDebug);
    PlatformLines().clear();
    LogDebugByteBuffer(Bytes(c.bytes));
    Lines expected = {rule + "\r\n(byte buffer, with " + c.count + " bytes)\r\n" + rule};
    expected.insert(expected.end(), c.rows.begin(), c.rows.end());
    CHECK(PlatformLines() == expected);
    CHECK(log.lines().empty());
    SetLogLevel(kLogInformation);
    PlatformLines().clear();
    LogDebugByteBuffer(Bytes(c.bytes));
    CHECK(PlatformLines().empty());
  }
}
