#include "kesu/common/base/logging.h"

#include <algorithm>
#include <climits>
#include <string>
#include <utility>
#include <vector>

#include <doctest/doctest.h>

#include "kesu/common/base/assertions.h"

#include "support/bytes.h"
#include "support/log_capture.h"

using namespace kesu_test;
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

TEST_CASE("each level lets the lines below it through, to the sink and the callback") {
  CHECK(notify_level == kLogNothing);
  const Lines all = {"  D: x=5", "* I: x=5", "**W: x=5",
                     "!!E: tests/kesu/common/base/logging_test:7: GWASSERT failed: level == 77"};
  for (const LogLevel level : {0, 1, 2, 3, INT_MAX}) {
    CAPTURE(level);
    const LogCapture log(level);
    PlatformLines().clear();
    LogDebug("x=%d", 5);
    LogInfo("x=%d", 5);
    LogWarn("x=%d", 5);
    GWASSERT_AT(7, level == 77);
    const Lines expected(all.end() - std::min(level, 4), all.end());
    CHECK(log.lines() == expected);
    CHECK(PlatformLines() == expected);
  }
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
  const int line = __LINE__ + 1;
  GWASSERT(++evaluated > INT_MAX - 1);
  GWEXPECT_AT(9, ++evaluated == '"');
  const std::string here = "!!E: tests/kesu/common/base/logging_test:";
  CHECK(log.lines() ==
        Lines{here + std::to_string(line) + ": GWASSERT failed: ++evaluated > INT_MAX - 1",
              here + "9: GWEXPECT failed: ++evaluated == '\"'"});
  CHECK(evaluated == 4);
}

TEST_CASE("LogDebugByteBuffer dumps to the platform sink only, and only at the debug level") {
  const std::string rule(28, '-');
  const std::pair<const char*, Lines> kRows[] = {
      {"", {}},
      {"1F 20 7E 80 FF 25 64", {" 1f 20 7e 80 ff 25 64 |   ~  %d"}},
      {"30 31 32 33 34 35 36 37 38 39 3A 3B 3C 3D 3E 3F 40",
       {" 30 31 32 33 34 35 36 37 38 39 3a 3b 3c 3d 3e 3f | 0123456789:;<=>?", " 40 | @"}},
  };
  for (const auto& [hex, rows] : kRows) {
    const LogCapture log(kLogDebug);
    const ByteVector bytes = Bytes(hex);
    Lines expected = {rule + "\r\n(byte buffer, with " + std::to_string(bytes.length()) +
                      " bytes)\r\n" + rule};
    expected.insert(expected.end(), rows.begin(), rows.end());
    PlatformLines().clear();
    LogDebugByteBuffer(bytes);
    SetLogLevel(kLogInformation);
    LogDebugByteBuffer(bytes);
    CHECK(PlatformLines() == expected);
    CHECK(log.lines().empty());
  }
}
