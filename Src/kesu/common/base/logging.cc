#include "kesu/common/base/logging.h"

#include <algorithm>

#include "kesu/common/base/string_buffer.h"

namespace common_base {

LogLevel notify_level = kLogNothing;

namespace {

constexpr char kDebugPrefix[] = "  D: ";
constexpr char kInformationPrefix[] = "* I: ";
constexpr char kWarningPrefix[] = "**W: ";
constexpr char kErrorPrefix[] = "!!E: ";

constexpr int kDumpedBytesPerLine = 16;

LogCallback log_callback = nullptr;
void* log_closure = nullptr;

bool IsPrintableAscii(unsigned char byte) {
  return byte >= 0x20 && byte <= 0x7E;
}

GString DumpLine(const unsigned char* begin, const unsigned char* end) {
  GStringBuffer hex;
  GStringBuffer text;
  for (const unsigned char* byte = begin; byte != end; ++byte) {
    hex.AppendCodePoint(' ');
    hex.AppendUintAsHex(*byte, 2);
    text.AppendCodePoint(IsPrintableAscii(*byte) ? *byte : ' ');
  }
  hex.AppendUtf8String(" | ");
  hex.AppendGString(text);
  return hex.ToString();
}

}  // namespace

void SetLogLevel(LogLevel level) {
  notify_level = level;
}

void SetLogCallback(LogCallback callback, void* closure) {
  log_callback = callback;
  log_closure = closure;
}

void VPrefixLog(const char* prefix, const char* format, std::va_list args) {
  GStringBuffer buffer;
  buffer.AppendUtf8String(prefix);
  buffer.VAppendFormattedText(format, args);
  const GString line = buffer.ToString();
  LogInternal(line);
  if (log_callback != nullptr) log_callback(line, log_closure);
}

void LogDebug(const char* format, ...) {
  if (!LogEnabled(kLogDebug)) return;
  std::va_list args;
  va_start(args, format);
  VPrefixLog(kDebugPrefix, format, args);
  va_end(args);
}

void LogInfo(const char* format, ...) {
  if (!LogEnabled(kLogInformation)) return;
  std::va_list args;
  va_start(args, format);
  VPrefixLog(kInformationPrefix, format, args);
  va_end(args);
}

void LogWarn(const char* format, ...) {
  if (!LogEnabled(kLogWarnings)) return;
  std::va_list args;
  va_start(args, format);
  VPrefixLog(kWarningPrefix, format, args);
  va_end(args);
}

bool LogDebugInternal(const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  VPrefixLog(kDebugPrefix, format, args);
  va_end(args);
  return true;
}

bool LogInfoInternal(const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  VPrefixLog(kInformationPrefix, format, args);
  va_end(args);
  return true;
}

bool LogWarnInternal(const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  VPrefixLog(kWarningPrefix, format, args);
  va_end(args);
  return true;
}

bool LogErrorInternal(const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  VPrefixLog(kErrorPrefix, format, args);
  va_end(args);
  return true;
}

void GWAssertLogFailed(const char* file, int line, const char* expression) {
  if (LogEnabled(kLogErrors)) {
    LogErrorInternal("%s:%d: GWASSERT failed: %s", file, line, expression);
  }
}

void GWExpectLogFailed(const char* file, int line, const char* expression) {
  if (LogEnabled(kLogErrors)) {
    LogErrorInternal("%s:%d: GWEXPECT failed: %s", file, line, expression);
  }
}

void LogDebugByteBuffer(const GVectorRef<const unsigned char>& bytes) {
  if (!LogEnabled(kLogDebug)) return;
  GStringBuffer header;
  header.AppendFormattedText(
      "----------------------------"
      "\n(byte buffer, with %d bytes)"
      "\n----------------------------",
      bytes.length());
  LogInternal(header.ToString());
  const unsigned char* line = bytes.begin();
  while (line != bytes.end()) {
    const unsigned char* line_end =
        line + std::min<std::ptrdiff_t>(kDumpedBytesPerLine, bytes.end() - line);
    LogInternal(DumpLine(line, line_end));
    line = line_end;
  }
}

}  // namespace common_base
