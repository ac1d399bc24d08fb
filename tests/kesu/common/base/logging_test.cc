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
  struct {
    LogLevel level;
    Lines lines;
  } const kCases[] = {
      {INT_MIN, {}},
      {0, {}},
      {1, {}},
      {2, {"**W: x=5"}},
      {3, {"* I: x=5", "**W: x=5"}},
      {4, {"  D: x=5", "* I: x=5", "**W: x=5"}},
      {INT_MAX, {"  D: x=5", "* I: x=5", "**W: x=5"}},
  };
  for (const auto& c : kCases) {
    CAPTURE(c.level);
    const LogCapture log(c.level);
    PlatformLines().clear();
    LogDebug("x=%d", 5);
    LogInfo("x=%d", 5);
    LogWarn("x=%d", 5);
    CHECK(log.lines() == c.lines);
    CHECK(PlatformLines() == c.lines);
    CHECK(LogEnabled(kLogWarnings) == (c.level >= 2));
    CHECK(DebugDiagnosticsEnabled() == (c.level > 3));
  }
}

TEST_CASE("the forms without a test of the level") {
  const LogCapture log(0);
  CHECK(LogDebugInternal("%s", "a"));
  CHECK(LogInfoInternal("%s", "b"));
  CHECK(LogWarnInternal("%s", "c"));
  CHECK(LogErrorInternal("%s\n", "d"));
  CHECK(log.lines() == Lines{"  D: a", "* I: b", "**W: c", "!!E: d\r\n"});
}

TEST_CASE("the callback gets its closure, and can be removed") {
  int calls = 0;
  const LogLevel level = notify_level;
  SetLogLevel(kLogWarnings);
  SetLogCallback([](const GString&, void* closure) { ++*static_cast<int*>(closure); }, &calls);
  LogWarn("one");
  SetLogCallback(nullptr, &calls);
  LogWarn("two");
  SetLogLevel(level);
  CHECK(calls == 1);
}

TEST_CASE("logging is off at first, assertion reports included") {
  CHECK(notify_level == kLogNothing);
  const LogCapture log(kLogNothing);
  LogWarn("unheard");
  GWASSERT(log.lines().size() == 1);
  CHECK(log.lines().empty());
}

TEST_CASE("assertion lines name the source, the line and the condition as written") {
  const LogCapture log(kLogErrors);
  const std::string here = "!!E: tests/kesu/common/base/logging_test:";
  int evaluated = 0;
  GWASSERT(++evaluated == 1);
  GWEXPECT(++evaluated == 2);
  CHECK(log.lines().empty());
  CHECK(evaluated == 2);
  const int line = __LINE__ + 1;
  GWASSERT(evaluated > INT_MAX - 1);
  GWEXPECT(evaluated == '"');
  GWASSERT_AT(191, evaluated == INT_MAX);
  GWEXPECT_AT(7, !evaluated);
  CHECK(log.lines() ==
        Lines{here + std::to_string(line) + ": GWASSERT failed: evaluated > INT_MAX - 1",
              here + std::to_string(line + 1) + ": GWEXPECT failed: evaluated == '\"'",
              here + "191: GWASSERT failed: evaluated == INT_MAX",
              here + "7: GWEXPECT failed: !evaluated"});
}

TEST_CASE("LogDebugByteBuffer dumps to the platform sink only") {
  const std::string rule(28, '-');
  const auto header = [&rule](int count) {
    return rule + "\r\n(byte buffer, with " + std::to_string(count) + " bytes)\r\n" + rule;
  };
  struct {
    const char* bytes;
    Lines lines;
  } const kCases[] = {
      {"", {header(0)}},
      {"41 00 7F", {header(3), " 41 00 7f | A  "}},
      {"1F 20 7E 80 FF 25 64", {header(7), " 1f 20 7e 80 ff 25 64 |   ~  %d"}},
      {"30 31 32 33 34 35 36 37 38 39 3A 3B 3C 3D 3E 3F",
       {header(16), " 30 31 32 33 34 35 36 37 38 39 3a 3b 3c 3d 3e 3f | 0123456789:;<=>?"}},
      {"30 31 32 33 34 35 36 37 38 39 3A 3B 3C 3D 3E 3F 40",
       {header(17), " 30 31 32 33 34 35 36 37 38 39 3a 3b 3c 3d 3e 3f | 0123456789:;<=>?",
        " 40 | @"}},
  };
  for (const auto& c : kCases) {
    INFO(std::string(c.bytes));
    const LogCapture log(kLogDebug);
    PlatformLines().clear();
    LogDebugByteBuffer(Bytes(c.bytes));
    CHECK(PlatformLines() == c.lines);
    CHECK(log.lines().empty());
  }
  const LogCapture log(kLogInformation);
  PlatformLines().clear();
  LogDebugByteBuffer(Bytes("41"));
  CHECK(PlatformLines().empty());
}
