#ifndef KESU_COMMON_BASE_LOGGING_H_
#define KESU_COMMON_BASE_LOGGING_H_

#include <cstdarg>

#include "kesu/common/base/gstring.h"
#include "kesu/common/base/vector.h"

/// The one log channel of the library. Nothing is written anywhere by the library itself: a line
/// goes to the callback that the application installs. Logging is off, assertion reports included,
/// until SetLogLevel(). Formats are those of GStringBuffer::AppendFormattedText.
namespace common_base {

/// 0 nothing, 1 errors, 2 warnings too, 3 information too, 4 debug too. Debug lines may hold
/// payloads; lines of the other levels never do.
using LogLevel = int;

inline constexpr LogLevel kLogNothing = 0;
inline constexpr LogLevel kLogErrors = 1;
inline constexpr LogLevel kLogWarnings = 2;
inline constexpr LogLevel kLogInformation = 3;
inline constexpr LogLevel kLogDebug = 4;

/// Receives one line, without a newline at its end.
using LogCallback = void (*)(const GString& line, void* closure);

/// The current level. Set it with SetLogLevel().
extern LogLevel notify_level;

void SetLogLevel(LogLevel level);
/// Installs the sink of the application, or with null removes it.
void SetLogCallback(LogCallback callback, void* closure);

inline bool LogEnabled(LogLevel level) {
  return level <= notify_level;
}
inline bool DebugDiagnosticsEnabled() {
  return notify_level > kLogInformation;
}

void LogDebug(const char* format, ...);
void LogInfo(const char* format, ...);
void LogWarn(const char* format, ...);

/// The same without a test of the level, for callers that have made it already. They return true.
bool LogDebugInternal(const char* format, ...);
bool LogInfoInternal(const char* format, ...);
bool LogWarnInternal(const char* format, ...);
bool LogErrorInternal(const char* format, ...);

void VPrefixLog(const char* prefix, const char* format, std::va_list args);

/// The sink of the platform, which sees every line before the callback does. The library's does
/// nothing; a program may define its own.
void LogInternal(const GString& line);

/// At debug level, dumps bytes in hexadecimal and as text, sixteen to a line, to LogInternal()
/// only: the callback does not see them, deliberately.
void LogDebugByteBuffer(const GVectorRef<const unsigned char>& bytes);

/// Report a failed GWASSERT or GWEXPECT (see assertions.h) at error level.
void GWAssertLogFailed(const char* file, int line, const char* expression);
void GWExpectLogFailed(const char* file, int line, const char* expression);

}  // namespace common_base

#endif  // KESU_COMMON_BASE_LOGGING_H_
