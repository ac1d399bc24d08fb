#include "kesu/common/base/logging.h"

#include <algorithm>
#include <climits>
#include <string>
#include <vector>

#include <doctest/doctest.h>

#include "kesu/common/base/assertions.h"

#include "support/bytes.h"
#include "support/log_capture.h"

using namespace kesu_test;
using Lines = std::vector<std::string>;

static Lines platform_lines;

namespace common_base {

// The platform sink of this test program, in place of the library's.
void LogInternal(const GString& line) {
  platform_lines.push_back(TextOf(line));
}

}  // namespace common_base

using namespace common_base;

TEST_CASE("each level lets the lines below it through; assertions evaluate once, and say where") {
  CHECK(notify_level == kLogNothing);
  for (const LogLevel level : {0, 1, 2, 3, INT_MAX}) {
    CAPTURE(level);
    const LogCapture log(level);
    platform_lines.clear();
    int evaluated = 0;
    LogDebug("x=%d", 5);
    LogInfo("x=%d", 5);
    LogWarn("x=%d", 5);
    GWEXPECT(++evaluated == 1);
    const std::string line = std::to_string(__LINE__ + 1);
    GWASSERT(++evaluated > INT_MAX - 1);
    GWEXPECT_AT(9, ++evaluated == '"');
    CHECK(evaluated == 3);
    const std::string here = "!!E: tests/kesu/common/base/logging_test:";
    const Lines all = {"  D: x=5", "* I: x=5", "**W: x=5",
                       here + line + ": GWASSERT failed: ++evaluated > INT_MAX - 1",
                       here + "9: GWEXPECT failed: ++evaluated == '\"'"};
    const Lines expected(all.end() - (level == 0 ? 0 : std::min(level, 4) + 1), all.end());
    CHECK(log.lines() == expected);
    CHECK(platform_lines == expected);
  }
  const LogCapture log(0);
  CHECK((LogDebugInternal("%s", "a") && LogInfoInternal("b") && LogWarnInternal("c\n")));
  CHECK(log.lines() == Lines{"  D: a", "* I: b", "**W: c\r\n"});
}

TEST_CASE("LogDebugByteBuffer dumps to the platform sink only, and only at the debug level") {
  const std::string rule(28, '-');
  const LogCapture log(kLogDebug);
  platform_lines.clear();
  LogDebugByteBuffer(ByteVector());
  LogDebugByteBuffer(Bytes("1F 20 7E 80 FF 25 64 37 38 39 3A 3B 3C 3D 3E 3F 40"));
  SetLogLevel(kLogInformation);
  LogDebugByteBuffer(Bytes("41"));
  CHECK(platform_lines ==
        Lines{rule + "\r\n(byte buffer, with 0 bytes)\r\n" + rule,
              rule + "\r\n(byte buffer, with 17 bytes)\r\n" + rule,
              " 1f 20 7e 80 ff 25 64 37 38 39 3a 3b 3c 3d 3e 3f |   ~  %d789:;<=>?", " 40 | @"});
  CHECK(log.lines().empty());
}
