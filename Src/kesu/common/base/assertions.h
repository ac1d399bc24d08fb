#ifndef KESU_COMMON_BASE_ASSERTIONS_H_
#define KESU_COMMON_BASE_ASSERTIONS_H_

#include <cstddef>

#include "kesu/common/base/logging.h"

namespace common_base {

/// The path of a source file as reports name it: without its extension, and without the "../" by
/// which a compiler cache may have led the compiler to it.
template <std::size_t kSize>
struct SourcePath {
  consteval SourcePath(const char (&file)[kSize]) {
    std::size_t begin = 0;
    while (kSize - begin > 3 && file[begin] == '.' && file[begin + 1] == '.') begin += 3;
    std::size_t end = kSize - 1;
    for (std::size_t i = begin; i < kSize; ++i) {
      if (file[i] == '.') end = i;
    }
    for (std::size_t i = begin; i < end; ++i) text[i - begin] = file[i];
  }

  char text[kSize] = {};
};

}  // namespace common_base

/// The path of the current source file, relative to the repository, without its extension.
#define KESU_SOURCE_PATH                                        \
  ([]() -> const char* {                                        \
    static constexpr ::common_base::SourcePath kPath(__FILE__); \
    return kPath.text;                                          \
  }())

/// Report a broken contract of the caller, or of the library itself, as an error line in the log.
/// The program goes on as if the condition held. The two kinds differ only in their words.
#define GWASSERT(condition) KESU_CHECK(GWAssertLogFailed, __LINE__, condition, #condition)
#define GWEXPECT(condition) KESU_CHECK(GWExpectLogFailed, __LINE__, condition, #condition)

/// The same with a line number of their own, for reports that people and scripts know by it.
#define GWASSERT_AT(line, condition) KESU_CHECK(GWAssertLogFailed, line, condition, #condition)
#define GWEXPECT_AT(line, condition) KESU_CHECK(GWExpectLogFailed, line, condition, #condition)

/// `text` is the condition as it was written, before macros in it were expanded.
#define KESU_CHECK(report, line, condition, text) \
  ((condition) ? void() : ::common_base::report(KESU_SOURCE_PATH, line, text))

#endif  // KESU_COMMON_BASE_ASSERTIONS_H_
